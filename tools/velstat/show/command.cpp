// velstat show: prints untrusted state records and property lists.

#include <velstat/commands.h>
#include <velstat/show/result.h>
#include <velstat/text/error.h>
#include <velstat/text/output.h>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <algorithm>
#include <functional>
#include <memory>
#include <span>
#include <stdexcept>

namespace vel::stat {

namespace {

struct ShowOptions {
  std::vector<std::string> files;
  std::string format = "tree";
  std::vector<std::string> paths;
};

// The error in a path, for the command line parser; empty if there is none.
std::string checkPath(const std::string& text) {
  try {
    const PathPattern pattern(text);
  } catch (const std::invalid_argument& error) {
    return fmt::format("'{}' has {}", text, error.what());
  }
  return {};
}

// Writes the files one by one, so that only one is in memory.
class Output {
public:
  Output(const ShowOptions& options, std::span<const PathPattern> patterns)
      : isJson_(options.format == "json"), isArray_(isJson_ && options.files.size() > 1), patterns_(patterns) {
    if (isArray_) {
      json_.beginArray();
    }
  }
  // The length of the text of a file. Throws Error if it would be too long.
  std::size_t measure(const ValueFile& file) const {
    Measure length(mostExpansion * (file.size + file.name.size()));
    JsonWriter json(length);
    if (isArray_) {
      json.beginArray();
    }
    try {
      render(length, json, file);
    } catch (const TooLong&) {
      throw Error(fmt::format("{}: {} would take more than {} times the file's {} bytes; --path shows a part",
                              file.name, patterns_.empty() ? "to show all of it" : "to show what matches",
                              mostExpansion, file.size));
    }
    return length.length();
  }
  void add(const ValueFile& file) {
    if (!isJson_ && begun_) {
      out_ += '\n';
    }
    render(out_, json_, file);
    out_.flush();
    begun_ = true;
  }
  void end() {
    if (isArray_) {
      json_.endArray();
    }
    if (isArray_ || (isJson_ && begun_)) {
      out_ += '\n';
    }
    out_.flush();
  }

private:
  void render(Sink& out, JsonWriter& json, const ValueFile& file) const {
    if (isJson_) {
      showJson(json, file, patterns_);
    } else {
      showText(out, file, patterns_, style_);
    }
  }

  const bool isJson_;
  const bool isArray_;
  const std::span<const PathPattern> patterns_;
  const Style style_ = Style::ofStandardOutput();
  StandardOutput out_;
  JsonWriter json_{out_};
  bool begun_ = false;
};

int run(const ShowOptions& options) {
  const std::vector<PathPattern> patterns(options.paths.begin(), options.paths.end());
  std::vector<bool> found(patterns.size());
  Output output(options, patterns);
  int status = 0;
  for (const std::string& name : options.files) {
    ValueFile file;
    std::size_t length = 0;
    try {
      file = readValueFile(name);
      const std::vector<bool> foundHere = findPaths(file.value, patterns, [](auto&&...) {});
      std::transform(found.begin(), found.end(), foundHere.begin(), found.begin(), std::logical_or());
      length = output.measure(file);
    } catch (const formats::Error& error) {
      complain(error.what());
      status = 1;
      continue;
    }
    if (length != 0) {
      output.add(file);
    }
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
