// velstat show: prints state records and binary property lists from anywhere.

#include <velstat/commands.h>
#include <velstat/show/result.h>
#include <velstat/text/error.h>
#include <velstat/text/output.h>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <algorithm>
#include <memory>
#include <stdexcept>

namespace vel::stat {

namespace {

struct ShowOptions {
  std::vector<std::string> files;
  std::string format = "tree";
  std::vector<std::string> paths;
};

// What is wrong with a path, for the parser of the command line: empty for nothing.
std::string checkPath(const std::string& text) {
  try {
    const PathPattern pattern(text);
  } catch (const std::invalid_argument& error) {
    return fmt::format("'{}' has {}", text, error.what());
  }
  return {};
}

// Writes the files one by one, so that no more than one need be in memory.
class Output {
public:
  Output(const ShowOptions& options, bool searched)
      : isJson_(options.format == "json"), isArray_(isJson_ && options.files.size() > 1), searched_(searched) {
    if (isArray_) {
      json_.beginArray();
    }
  }
  void add(const ShownFile& shown) {
    if (isJson_) {
      showJson(json_, shown, searched_);
    } else if (const std::string text = showText(shown, searched_, style_); !text.empty()) {
      out_ += begun_ ? "\n" : "";
      out_ += text;
    }
    write();
  }
  void end() {
    if (isArray_) {
      json_.endArray();
    }
    if (isJson_ && (isArray_ || begun_)) {
      out_ += '\n';
    }
    write();
  }

private:
  void write() {
    begun_ = begun_ || !out_.empty();
    writeStandardOutput(out_);
    out_.clear();
  }

  const bool isJson_;
  const bool isArray_;
  const bool searched_;
  const Style style_ = Style::ofStandardOutput();
  std::string out_; // not written yet
  JsonWriter json_{out_};
  bool begun_ = false;
};

int run(const ShowOptions& options) {
  const std::vector<PathPattern> patterns(options.paths.begin(), options.paths.end());
  std::vector<bool> found(patterns.size());
  Output output(options, !patterns.empty());
  int status = 0;
  for (const std::string& name : options.files) {
    ShownFile shown;
    try {
      shown.file = readValueFile(name);
    } catch (const formats::Error& error) {
      complain(error.what());
      status = 1;
      continue;
    }
    PathMatches result = findPaths(shown.file.value, patterns); // they point into the value
    shown.matches = std::move(result.matches);
    std::transform(found.begin(), found.end(), result.found.begin(), found.begin(), std::logical_or());
    output.add(shown);
  }
  output.end();
  for (std::size_t i = 0; i < patterns.size(); ++i) {
    if (!found[i]) {
      complain(fmt::format("--path '{}': nothing matches", patterns[i].text()));
      status = 1;
    }
  }
  return status;
}

} // namespace

void addShow(CLI::App& app, int& status) {
  auto options = std::make_shared<ShowOptions>();
  CLI::App* const command =
      app.add_subcommand("show", "Show state records and binary property lists from anywhere, whole or in part");
  command->add_option("files", options->files, "The files, told by their content; - for standard input")
      ->type_name("FILE")
      ->required();
  command->add_option("--format", options->format, "How to show them")
      ->check(CLI::IsMember({"tree", "json"}))
      ->capture_default_str();
  command
      ->add_option("--path", options->paths,
                   "Show only the values at this path: keys and array positions with / between, with the globs *, ? "
                   "and [...] in each, ** for any number of them, \\ before a character that means itself")
      ->type_name("PATH")
      ->allow_extra_args(false)
      ->check(checkPath);
  command->footer("Example:\n  velstat show --path 'last button press/click 1/*' snapshot/001-*.state\n\n"
                  "Exit status: 0 all was shown, 1 a file cannot be read or a path matches nothing, 2 wrong usage.");
  command->callback([options, &status] { status = run(*options); });
}

} // namespace vel::stat
