// velstat diff: what is different between two captures, logs, files of records or lists.

#include <sources/record.h>
#include <sources/report_lines.h>
#include <velstat/commands.h>
#include <velstat/diff/result.h>
#include <velstat/options/output_options.h>
#include <velstat/text/error.h>
#include <velstat/text/output.h>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <algorithm>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <tuple>
#include <utility>
#include <vector>

namespace vel::stat {

namespace {

// The exit statuses of diff(1), where a difference is not a failure.
enum DiffStatus { same = 0, different = 1, trouble = 2 };

struct DiffOptions {
  std::string before;
  std::string after;
  std::string format = "text";
  std::vector<std::string> only;
  std::vector<std::string> ignored;
  bool all = false;
};

class OpenSide {
public:
  explicit OpenSide(const std::string& name)
      : sources_({name}, {.anyList = true,
                          .jobs = std::clamp(std::thread::hardware_concurrency(), 1U, 64U),
                          .complain = [](std::string_view line) { complain(line); }}) {
    constexpr std::size_t some = 1024;
    std::vector<unsigned char> room(some * sources::recordSize);
    const auto stream = sources_.records();
    while (const std::size_t count = stream->read(room)) {
      for (std::size_t i = 0; i < count; ++i) {
        side_.records.add(room.data() + i * sources::recordSize);
      }
    }
  }

  const Side& side() const { return side_; }
  sources::Sources& sources() { return sources_; }
  // Whether rules can examine this input: a capture, a report of the plug-in, or a file of records that is not too
  // large. Rules read records several times, and may compare each with many others.
  bool isForRules() const {
    constexpr std::uint64_t most = std::uint64_t{64} << 20;
    const std::vector<sources::Report>& reports = side_.input.capture.reports;
    if (side_.input.kind == sources::Kind::capture) {
      return true;
    }
    return reports.empty() ? side_.input.size != 0 && side_.input.size <= most && side_.input.path != "-"
                           : sources::isReport(reports.front().value);
  }
  bool isReadable() const { return side_.input.kind != sources::Kind::unknown; }
  bool isSound() const { return sources_.isSound(); }

private:
  sources::Sources sources_;
  Side side_{sources_.inputs().front(), {}};
};

std::size_t sizeOf(const sources::InputInfo& input) {
  std::size_t size = input.size + input.name.size();
  for (const sources::Report& report : input.capture.reports) {
    size += input.kind == sources::Kind::capture ? report.size : 0;
  }
  return size;
}

void sortDifferences(Differences& differences) {
  std::sort(differences.begin(), differences.end(), [](const Difference& a, const Difference& b) {
    return std::tuple(a.section, b.notable, b.weight, std::string_view(a.path)) <
           std::tuple(b.section, a.notable, a.weight, std::string_view(b.path));
  });
}

// False, with a complaint, if a rule is wrong or takes too long.
bool triageSides(OpenSide& before, OpenSide& after, Differences& out) {
  if (!before.isForRules() || !after.isForRules()) {
    return true;
  }
  try {
    const std::vector<rules::Rule> shipped = rules::shippedRules();
    // The old side is the good device that the new side is compared with.
    compareFindings(rules::triage(before.sources(), nullptr, shipped),
                    rules::triage(after.sources(), &before.sources(), shipped), out);
    return true;
  } catch (const rules::Error& error) {
    complain(fmt::format("findings are not compared: {}", error.what()));
    return false;
  }
}

Result compareSides(const Side& before, const Side& after, Differences findings, const PathFilter& filter) {
  Result result{.before = before, .after = after, .differences = std::move(findings)};
  const auto& old = before.input.capture;
  const auto& current = after.input.capture;
  compareKinds(before.records, after.records, result.differences);
  if (before.input.kind == sources::Kind::capture && after.input.kind == sources::Kind::capture) {
    compareMetrics(old.metrics, current.metrics, result.differences);
  }
  std::erase_if(result.differences, [&](const Difference& difference) { return !filter.takes(difference.path); });
  sortDifferences(result.differences);
  // Files of records and logs have no reports that could be missing.
  const bool hasReports = !old.reports.empty() && !current.reports.empty();
  result.eachReportValue = [&before, &after, &filter, hasReports](const TakeReportValue& take) {
    if (hasReports) {
      compareReports(before.input, after.input,
                     [&](std::string_view path, const formats::Value* was, const formats::Value* is) {
                       if (filter.takes(path)) {
                         take(path, was, is);
                       }
                     });
    }
  };
  return result;
}

class Report {
public:
  Report(const Result& result, const DiffOptions& options)
      : result_(result), options_(options), counts_(countsOf(result)) {}

  // Throws Error if it would be too long.
  void write() const {
    const bool bounded = options_.format == "text" && !options_.all;
    if (!bounded && counts_[static_cast<std::size_t>(Section::values)].all != 0) {
      const std::size_t size = sizeOf(result_.before.input) + sizeOf(result_.after.input);
      Measure length(mostExpansion * size);
      try {
        render(length);
      } catch (const TooLong&) {
        throw Error(fmt::format("{} and {}: to show the differences would take more than {} times the {} bytes of the "
                                "inputs; --path and --ignore choose a part",
                                result_.before.input.name, result_.after.input.name, mostExpansion, size));
      }
    }
    StandardOutput out;
    render(out);
    out.flush();
  }

  bool isEqual() const {
    return std::all_of(counts_.begin(), counts_.end(), [](const SectionCount& count) { return count.all == 0; });
  }

private:
  void render(Sink& out) const {
    if (options_.format == "json") {
      JsonWriter json(out);
      diffJson(json, result_, counts_);
      out += '\n';
    } else if (options_.all) {
      diffText(out, result_, counts_, style_);
    } else {
      constexpr std::size_t usual = 80;
      const std::size_t width = outputWidth();
      diffSummary(out, result_, counts_, width == 0 ? usual : width, style_);
    }
  }

  const Result& result_;
  const DiffOptions& options_;
  const SectionCounts counts_;
  const Style style_ = Style::ofStandardOutput();
};

DiffStatus compare(const DiffOptions& options) {
  if (options.before == "-" && options.after == "-") {
    throw Error("standard input can be only one of the two");
  }
  OpenSide before(options.before);
  OpenSide after(options.after);
  if (!before.isReadable() || !after.isReadable()) {
    return trouble;
  }
  const PathFilter filter{{options.only.begin(), options.only.end()}, {options.ignored.begin(), options.ignored.end()}};
  Differences findings;
  const bool triaged = triageSides(before, after, findings);
  Result result = compareSides(before.side(), after.side(), std::move(findings), filter);
  result.complete = triaged && before.isSound() && after.isSound();
  const Report report(result, options);
  report.write();
  return !result.complete ? trouble : report.isEqual() ? same : different;
}

DiffStatus run(const DiffOptions& options) {
  try {
    return compare(options);
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
  CLI::App* const command = app.add_subcommand("diff", "Find what is different between two captures, logs or lists");
  command->add_option("old", options->before, "What decode reads, or a list; - for standard input")
      ->type_name("OLD")
      ->required();
  command->add_option("new", options->after, "What to compare it with")->type_name("NEW")->required();
  command->add_flag("--all", options->all, "Every difference, not only a screen of them");
  const auto addPaths = [&](const char* name, std::vector<std::string>& paths, const char* about) {
    command->add_option(name, paths, about)->type_name("GLOB")->allow_extra_args(false)->check(checkPath);
  };
  addPaths("--path", options->only, "Compare only what is at or in this path");
  addPaths("--ignore", options->ignored, "Do not compare what is at or in this path");
  command->add_option("--format", options->format, "JSON has every difference")
      ->check(CLI::IsMember({"text", "json"}))
      ->capture_default_str();
  addOutputOptions(*command);
  command->footer("Time stamps, sequence numbers and calendar times make no difference. Each line\n"
                  "shows its path; globs are those of velstat show.\n\n"
                  "Examples:\n"
                  "  velstat diff yesterday today\n"
                  "  velstat diff --ignore 'sensors/**' --all good.log bad.log\n\n"
                  "Exit status, as of diff(1): 0 no differences, 1 differences, 2 wrong usage or\n"
                  "an input that cannot be read.");
  command->callback([options, &status] { status = run(*options); });
}

} // namespace vel::stat
