// velstat show: prints untrusted captures, state records and property lists.

#include <sources/source.h>
#include <velstat/commands.h>
#include <velstat/options/output_options.h>
#include <velstat/show/result.h>
#include <velstat/text/capture_values.h>
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
  std::vector<std::string> inputs;
  std::string format = "tree";
  std::vector<std::string> paths;
};

// Writes the inputs one by one, so that only one is in memory.
class Output {
public:
  Output(const ShowOptions& options, std::span<const PathPattern> patterns)
      : isJson_(options.format == "json"), isArray_(isJson_ && options.inputs.size() > 1), patterns_(patterns),
        found_(patterns.size()) {
    if (isArray_) {
      json_.beginArray();
    }
  }

  void add(const sources::InputInfo& input) {
    if (input.kind == sources::Kind::capture) {
      addCapture(input);
    } else if (input.capture.reports.empty()) {
      refuse(fmt::format("{}: {}, which 'velstat decode' shows; this command shows captures, state records and "
                         "property lists",
                         input.name, kindName(input.kind)));
    } else {
      const sources::Report& report = input.capture.reports.front();
      addReport({.name = input.name, .value = report.value, .report = &report});
    }
    out_.flush();
  }

  void end() {
    if (isArray_) {
      json_.endArray();
    }
    if (isArray_ || (isJson_ && begun_)) {
      out_ += '\n';
    }
    out_.flush();
    for (std::size_t i = 0; i < patterns_.size(); ++i) {
      if (!found_[i]) {
        refuse(fmt::format("--path '{}': nothing matches", patterns_[i].text()));
      }
    }
  }

  void refuse(std::string_view message) {
    complain(message);
    sound_ = false;
  }
  bool isSound() const { return sound_; }

private:
  void addCapture(const sources::InputInfo& input) {
    const formats::Value about = captureValues(input.capture);
    const ShownPart rest{.name = input.name, .value = about};
    note(rest);
    if (!isJson_) {
      addText(rest);
      eachReport(input, [&](const ShownPart& part) { addReport(part); });
      return;
    }
    begun_ = true;
    json_.beginObject();
    json_.member("file", input.name);
    json_.member("kind", "capture");
    if (!patterns_.empty()) {
      json_.key("matches");
      json_.beginArray();
      showMatches(json_, rest, patterns_);
      eachReport(input, [&](const ShownPart& part) {
        if (isShort(part)) {
          showMatches(json_, part, patterns_);
        }
      });
    } else {
      for (const formats::Member& member : *about.as<formats::Dictionary>()) {
        json_.key(member.key);
        json_.value(member.value);
      }
      json_.key("reports");
      json_.beginArray();
      eachReport(input, [&](const ShownPart& part) { addReport(part); });
    }
    json_.endArray();
    json_.endObject();
  }

  template <class Take>
  static void eachReport(const sources::InputInfo& input, Take take) {
    for (const sources::Report& report : input.capture.reports) {
      take(ShownPart{.name = input.name, .value = report.value, .report = &report, .key = report.title});
    }
  }

  void addReport(const ShownPart& part) {
    if (!isShort(part)) {
      return;
    }
    if (isJson_) {
      begun_ = true;
      showJson(json_, part, patterns_);
    } else {
      addText(part);
    }
  }

  void addText(const ShownPart& part) {
    if (!patterns_.empty() && !note(part)) {
      return;
    }
    out_ += begun_ ? "\n" : "";
    begun_ = showText(out_, part, patterns_, style_) || begun_;
  }

  // Records which patterns match something in this part; returns whether any does.
  bool note(const ShownPart& part) {
    const std::vector<bool> here = findPaths(
        part.value, patterns_, [](auto&&...) {}, part.key);
    std::transform(found_.begin(), found_.end(), here.begin(), found_.begin(), std::logical_or());
    return std::find(here.begin(), here.end(), true) != here.end();
  }

  // Whether the output for a report is short enough; complains if it is not.
  bool isShort(const ShownPart& part) {
    note(part);
    const sources::Report& report = *part.report;
    Measure length(mostExpansion * (report.size + report.file.size()));
    JsonWriter json(length);
    try {
      if (!isJson_) {
        showText(length, part, patterns_, style_);
        return true;
      }
      for (int depth = (isArray_ ? 1 : 0) + (part.key ? 2 : 0); depth != 0;
           --depth) { // as deep as the real output will be
        json.beginArray();
      }
      showJson(json, part, patterns_);
      return true;
    } catch (const TooLong&) {
      refuse(fmt::format("{}: {} would take more than {} times the file's {} bytes; --path shows a part", report.file,
                         patterns_.empty() ? "to show all of it" : "to show what matches", mostExpansion, report.size));
      return false;
    }
  }

  const bool isJson_;
  const bool isArray_;
  const std::span<const PathPattern> patterns_;
  const Style style_ = Style::ofStandardOutput();
  StandardOutput out_;
  JsonWriter json_{out_};
  std::vector<bool> found_; // by pattern
  bool begun_ = false;
  bool sound_ = true;
};

int run(const ShowOptions& options) {
  const std::vector<PathPattern> patterns(options.paths.begin(), options.paths.end());
  Output output(options, patterns);
  bool sound = true;
  for (const std::string& name : options.inputs) {
    const sources::Sources sources(
        {name}, {.anyList = true, .noRaw = true, .complain = [](std::string_view line) { complain(line); }});
    sound = sound && sources.isSound();
    const sources::InputInfo& input = sources.inputs().front();
    if (input.kind != sources::Kind::unknown) {
      output.add(input);
    }
  }
  output.end();
  return sound && output.isSound() ? 0 : 1;
}

} // namespace

void addShow(CLI::App& app, int& status) {
  auto options = std::make_shared<ShowOptions>();
  CLI::App* const command =
      app.add_subcommand("show", "Show captures, state records and property lists, whole or in part");
  command->add_option("INPUT", options->inputs, "Folders and files; - for standard input")->type_name("")->required();
  command->add_option("--format", options->format, "How to show them")
      ->check(CLI::IsMember({"tree", "json"}))
      ->capture_default_str();
  command->add_option("--path", options->paths, "Show only the values at this path")
      ->type_name("PATH")
      ->allow_extra_args(false)
      ->check(checkPath);
  addOutputOptions(*command);
  command->footer("A path is keys and array positions with / between. The globs *, ? and [...] match\n"
                  "in a key, ** any number of keys; \\ takes their meaning away. In a capture, a\n"
                  "report's title comes first.\n\n"
                  "Examples:\n"
                  "  velstat show --path 'last button press/click 1/*' snapshot/001-*.state\n"
                  "  velstat show --path '*/sensorType' --path services snapshot\n\n"
                  "Exit status: 0 all was shown, 1 an input cannot be read or a path matches\n"
                  "nothing, 2 wrong usage.");
  command->callback([options, &status] { status = run(*options); });
}

} // namespace vel::stat
