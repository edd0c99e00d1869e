// velstat diff: compares two records or property lists, or two captures, by value.

#include <formats/files.h>
#include <velstat/commands.h>
#include <velstat/diff/result.h>
#include <velstat/text/error.h>
#include <velstat/text/output.h>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <filesystem>
#include <memory>
#include <system_error>

namespace vel::stat {

namespace {

// Those of diff(1), so that "different" is no failure.
enum DiffStatus { same = 0, different = 1, trouble = 2 };

struct DiffOptions {
  std::string before;
  std::string after;
  std::string format = "text";
};

bool isFolder(const std::string& name) {
  std::error_code ignored; // what cannot be looked at is a file, and says so when it is read
  return name != "-" && std::filesystem::is_directory(name, ignored);
}

DiffStatus report(const DiffOptions& options, const std::vector<RecordDifference>& differences, bool complete) {
  writeStandardOutput(
      options.format == "json"
          ? diffJson({formats::inputName(options.before), formats::inputName(options.after)}, differences, complete)
          : diffText(differences, Style::ofStandardOutput()));
  return !complete ? trouble : differences.empty() ? same : different;
}

DiffStatus diffFolders(const DiffOptions& options) {
  const CaptureFolder before = readCaptureFolder(options.before);
  const CaptureFolder after = readCaptureFolder(options.after);
  for (const CaptureFolder* folder : {&before, &after}) {
    for (const std::string& line : folder->troubles) {
      complain(line);
    }
  }
  return report(options, compareFolders(before, after), before.troubles.empty() && after.troubles.empty());
}

DiffStatus diffFiles(const DiffOptions& options) {
  if (options.before == "-" && options.after == "-") {
    throw Error("standard input can be only one of the two");
  }
  const ValueFile before = readValueFile(options.before);
  const ValueFile after = readValueFile(options.after);
  return report(options, compareFiles(before, after), true);
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
    return different; // only differences, or the JSON that was asked for, are written at all
  } catch (const std::exception& error) {
    complain(error.what());
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
