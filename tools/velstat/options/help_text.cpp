// Breaks the lines that the option parser leaves long. Descriptions keep their column.
#include "velstat/options/help_text.h"

#include <velstat/text/output.h>
#include <velstat/text/wrap.h>

#include <CLI/CLI.hpp>

#include <algorithm>

namespace vel::stat {

namespace {

constexpr std::size_t descriptionColumn = 26;

// The name, and two blanks at least or a line break before the description.
std::string optionLine(const std::string& name, const std::string& description) {
  std::string line = "  " + name;
  if (line.size() + 2 > descriptionColumn) {
    line += '\n';
    line.append(descriptionColumn, ' ');
  } else {
    line.resize(descriptionColumn, ' ');
  }
  return line + description + '\n';
}

class HelpFormatter final : public CLI::Formatter {
public:
  std::string make_option(const CLI::Option* option, bool positional) const override {
    return optionLine(make_option_name(option, positional) + make_option_opts(option), make_option_desc(option));
  }
  std::string make_subcommand(const CLI::App* command) const override {
    return optionLine(command->get_name(), command->get_description());
  }
};

} // namespace

std::shared_ptr<CLI::Formatter> helpFormatter() {
  return std::make_shared<HelpFormatter>();
}

std::string helpText(std::string_view text) {
  constexpr std::size_t widest = 80;
  constexpr std::size_t hanging = 0;
  std::string single; // the formatter leaves two empty lines between groups
  for (const char c : text) {
    if (c != '\n' || !single.ends_with("\n\n")) {
      single += c;
    }
  }
  const std::size_t width = outputWidth();
  StringSink fitted;
  WrappedLines lines(fitted, width == 0 ? widest : std::min(width, widest), hanging);
  lines += single;
  return fitted.take();
}

} // namespace vel::stat
