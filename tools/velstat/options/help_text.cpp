// Breaks the lines that the option parser does not break. Descriptions stay in their column.
#include "velstat/options/help_text.h"

#include <velstat/options/definition.h>
#include <velstat/text/output.h>
#include <velstat/text/wrap.h>

#include <CLI/CLI.hpp>
#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <vector>

namespace vel::stat {

namespace {

constexpr std::size_t descriptionColumn = 26;

// The name, then at least two blanks or a line break, then the description.
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

// Names and value, such as "-o, --output FILE" or "--stats[=text|json]".
std::string shape(const OptionDefinition& option) {
  std::string shape = fmt::format("{}", fmt::join(option.names, ", "));
  if (option.isValueOptional) {
    return shape + "[=" + option.value + ']';
  }
  return option.value.empty() ? shape : shape + ' ' + option.value;
}

// What the option parser knows in addition to the description.
std::string remarks(const OptionDefinition& option) {
  std::vector<std::string> remarks;
  if (option.isRequired) {
    remarks.emplace_back("required");
  }
  if (!option.fallback.empty()) {
    remarks.push_back("default: " + option.fallback);
  }
  if (option.isRepeatable) {
    remarks.emplace_back("may be repeated");
  }
  if (!option.needs.empty()) {
    remarks.push_back(fmt::format("only with {}", fmt::join(option.needs, ", ")));
  }
  if (!option.excludes.empty()) {
    remarks.push_back(fmt::format("not with {}", fmt::join(option.excludes, ", ")));
  }
  return remarks.empty() ? "" : fmt::format(" ({})", fmt::join(remarks, "; "));
}

class HelpFormatter final : public CLI::Formatter {
public:
  std::string make_option(const CLI::Option* option, bool positional) const override {
    OptionDefinition definition = definitionOf(*option);
    if (positional) { // the usage line shows whether it is required, and may be repeated
      return optionLine(definition.value, definition.description);
    }
    return optionLine(shape(definition), definition.description + remarks(definition));
  }
  std::string make_option_usage(const CLI::Option* option) const override {
    const OptionDefinition definition = definitionOf(*option);
    const std::string name = definition.value + (definition.isRepeatable ? "..." : "");
    return definition.isRequired ? name : '[' + name + ']';
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
