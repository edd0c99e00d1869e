// velstat report: the command line.

#include <formats/new_file.h>
#include <velstat/commands.h>
#include <velstat/options/number_option.h>
#include <velstat/options/own_files.h>
#include <velstat/report/page.h>
#include <velstat/text/error.h>
#include <velstat/text/escape.h>
#include <velstat/text/output.h>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <memory>
#include <string>
#include <vector>

namespace vel::stat {

namespace {

struct ReportOptions {
  std::vector<std::string> inputs;
  std::vector<std::string> reference;
  std::string page;
  unsigned timeout = 60;
};

int runReport(const ReportOptions& line) {
  for (const auto* const names : {&line.inputs, &line.reference}) {
    if (std::find(names->begin(), names->end(), "-") != names->end()) {
      throw Error("standard input: a report reads its inputs several times; put this one into a file");
    }
  }
  std::vector<std::string> read = line.inputs;
  read.insert(read.end(), line.reference.begin(), line.reference.end());
  const WrittenFile written[] = {{line.page, "the page", "--output"}};
  requireOwnFiles(written, filesOf(read));
  formats::NewFile file(line.page); // before the inputs are read, which may take long
  const ReportPage page = makeReportPage(line.inputs, line.reference, {.time = std::chrono::seconds(line.timeout)});
  if (page.isEmpty && !page.isSound) {
    return 1; // the cause has been reported
  }
  if (page.isEmpty) {
    throw Error("nothing to show: the inputs have no records and no reports");
  }
  for (const std::string& piece : page.pieces) {
    file.write(piece);
  }
  file.keep();
  writeStandardOutput(fmt::format("{}: {}\n", escape(line.page), page.summary));
  return page.isSound ? 0 : 1;
}

} // namespace

void addReport(CLI::App& app, int& status) {
  auto line = std::make_shared<ReportOptions>();
  CLI::App* const command = app.add_subcommand("report", "Write a page for a browser: findings, charts, records");
  command->add_option("INPUT", line->inputs, "What velstat decode reads")->type_name("")->required();
  command->add_option("-o,--output", line->page, "The page; it needs no other file and no network")
      ->type_name("FILE")
      ->required();
  command->add_option("--against", line->reference, "Compare with a capture of a good device")
      ->type_name("GOOD")
      ->allow_extra_args(false);
  command->add_option("--timeout", line->timeout, "Seconds for each rule and table; 0: no limit")
      ->type_name("N")
      ->transform(decimal(0U, longestTimeout))
      ->capture_default_str();
  command->footer("Examples:\n"
                  "  velstat report snapshot -o report.html\n"
                  "  velstat report bad --against good -o report.html");
  command->callback([line, &status] { status = runReport(*line); });
}

} // namespace vel::stat
