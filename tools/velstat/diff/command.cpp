// velstat diff: compares two records or property lists, or two captures, by value.

#include <formats/files.h>
#include <velstat/commands.h>
#include <velstat/diff/result.h>
#include <velstat/text/error.h>
#include <velstat/text/output.h>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <memory>
#include <system_error>
#include <utility>
#include <vector>

namespace vel::stat {

namespace {

// Those of diff(1), so that "different" is not a failure.
enum DiffStatus { same = 0, different = 1, trouble = 2 };

struct DiffOptions {
  std::string before;
  std::string after;
  std::string format = "text";
};

bool isFolder(const std::string& name) {
  std::error_code ignored; // a path that cannot be examined counts as a file; reading it reports the cause
  return name != "-" && std::filesystem::is_directory(name, ignored);
}

class Comparison {
public:
  explicit Comparison(const DiffOptions& options) : options_(options) {}

  // Equal pairs are dropped. Throws Error for a pair that can no longer be read, or whose differences would be too
  // long.
  void add(RecordPair pair) {
    if (!pair.before || !pair.after) {
      different_.push_back(std::move(pair));
      return;
    }
    const auto before = pair.before->read();
    const auto after = pair.after->read();
    if (!isDifferent(*before, *after)) {
      return;
    }
    const std::size_t size = before->size + after->size;
    Measure length(mostExpansion * (size + before->name.size() + after->name.size()));
    JsonWriter json(length);
    try {
      begin(json, true); // so that the pair is indented as it will be
      render(length, json, pair, before.get(), after.get());
    } catch (const TooLong&) {
      throw Error(fmt::format("{} and {}: to show the differences would take more than {} times the {} bytes of the "
                              "files{}",
                              before->name, after->name, mostExpansion, size,
                              isJson() ? "; --format text cuts long paths" : ""));
    }
    different_.push_back(std::move(pair));
  }

  // `complete`: whether both sides could be read whole; otherwise they are not reported as equal.
  DiffStatus report(bool complete) const {
    StandardOutput out;
    JsonWriter json(out);
    begin(json, complete);
    for (const RecordPair& pair : different_) {
      const bool both = pair.before && pair.after;
      const auto before = both ? pair.before->read() : nullptr;
      const auto after = both ? pair.after->read() : nullptr;
      render(out, json, pair, before.get(), after.get());
    }
    if (isJson()) {
      json.endArray();
      json.endObject();
      out += '\n';
    }
    out.flush();
    return !complete ? trouble : different_.empty() ? same : different;
  }

private:
  bool isJson() const { return options_.format == "json"; }
  void begin(JsonWriter& json, bool complete) const {
    if (isJson()) {
      json.beginObject();
      json.member("old", formats::inputName(options_.before));
      json.member("new", formats::inputName(options_.after));
      json.key("complete");
      json.boolean(complete);
      json.key("equal");
      json.boolean(complete && different_.empty());
      json.key("records");
      json.beginArray();
    }
  }
  void render(Sink& out, JsonWriter& json, const RecordPair& pair, const ValueFile* before,
              const ValueFile* after) const {
    if (isJson()) {
      diffJson(json, pair, before, after);
    } else {
      diffText(out, pair, before, after, style_);
    }
  }

  const DiffOptions& options_;
  const Style style_ = Style::ofStandardOutput();
  std::vector<RecordPair> different_;
};

DiffStatus diffFolders(const DiffOptions& options) {
  const CaptureFolder before = readCaptureFolder(options.before);
  const CaptureFolder after = readCaptureFolder(options.after);
  bool complete = true;
  const auto report = [&](const std::string& line) {
    complain(line);
    complete = false;
  };
  for (const CaptureFolder* folder : {&before, &after}) {
    std::for_each(folder->troubles.begin(), folder->troubles.end(), report);
  }
  Comparison comparison(options);
  for (RecordPair& pair : pairsOf(before, after)) {
    try {
      comparison.add(std::move(pair));
    } catch (const formats::Error& error) {
      report(error.what());
    }
  }
  return comparison.report(complete);
}

DiffStatus diffFiles(const DiffOptions& options) {
  if (options.before == "-" && options.after == "-") {
    throw Error("standard input can be only one of the two");
  }
  ValueFile before = readValueFile(options.before);
  Comparison comparison(options);
  comparison.add(pairOf(std::move(before), readValueFile(options.after)));
  return comparison.report(true);
}

DiffStatus run(const DiffOptions& options) {
  try {
    const bool folders = isFolder(options.before);
    if (folders != isFolder(options.after)) {
      throw Error(fmt::format("{}: a folder, to be compared with another, not with {}",
                              folders ? options.before : options.after,
                              formats::inputName(folders ? options.after : options.before)));
    }
    return folders ? diffFolders(options) : diffFiles(options);
  } catch (const ReaderGone&) {
    return different; // only differences, or the requested JSON, are written
  } catch (const std::exception& error) {
    complain(error);
    return trouble;
  }
}

} // namespace

void addDiff(CLI::App& app, int& status) {
  auto options = std::make_shared<DiffOptions>();
  CLI::App* const command =
      app.add_subcommand("diff", "Compare two state records or property lists, or two captures, by value");
  command->add_option("old", options->before, "A file (- for standard input), or a folder of 'velstat capture --out'")
      ->type_name("A")
      ->required();
  command->add_option("new", options->after, "What to compare it with, of the same sort")->type_name("B")->required();
  command->add_option("--format", options->format, "How to show the differences")
      ->check(CLI::IsMember({"text", "json"}))
      ->capture_default_str();
  command->footer(
      "The records of captures are matched by title, those of the same title in their order; the log is not "
      "compared.\n\nExample:\n  velstat diff yesterday today\n\n"
      "Exit status, as of diff(1): 0 no differences, 1 differences, 2 wrong usage or an input that cannot "
      "be read.");
  command->callback([options, &status] { status = run(*options); });
}

} // namespace vel::stat
