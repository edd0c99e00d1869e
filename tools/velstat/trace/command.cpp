// velstat trace: the command line.

#include <formats/new_file.h>
#include <rules/triage.h>
#include <sources/input.h>
#include <sources/record.h>
#include <velstat/commands.h>
#include <velstat/options/number_option.h>
#include <velstat/options/own_files.h>
#include <velstat/text/error.h>
#include <velstat/text/number_text.h>
#include <velstat/text/output.h>
#include <velstat/trace/timeline.h>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <algorithm>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <unistd.h>
#include <vector>

namespace vel::stat {

namespace {

struct TraceOptions {
  std::vector<std::string> inputs;
  std::string output;
  unsigned timeout = 60;
  bool noFindings = false;
};

FindingMarks findMarks(const TraceOptions& line, sources::Sources& sources) {
  if (line.noFindings) {
    return {};
  }
  for (const sources::InputInfo& input : sources.inputs()) {
    if (input.kind == sources::Kind::waiting || input.path == "-") {
      throw Error(fmt::format("{}: can be read only once, but findings have to be looked for first: save it to a file, "
                              "or use --no-findings",
                              input.name));
    }
  }
  return FindingMarks(
      rules::triage(sources, nullptr, rules::shippedRules(), {.time = std::chrono::seconds(line.timeout)}),
      sources.inputs());
}

// Says why there is no event.
std::string emptiness(const Timeline& timeline) {
  if (timeline.records() == 0) {
    return "the inputs hold no records";
  }
  std::string text = fmt::format("of {}, none has an event", countText(timeline.records(), "record"));
  if (timeline.beyond() != 0) {
    text += fmt::format(", and the times of {} are beyond 285 years", timeline.beyond());
  }
  return text;
}

// Returns false if no input could be read, which has been reported.
bool writeTrace(sources::Sources& sources, FindingMarks marks, EventWriter& events) {
  constexpr std::size_t capacity = 4096;
  Timeline timeline(sources.inputs(), std::move(marks), events);
  const auto records = sources.records();
  const auto room = std::make_unique_for_overwrite<unsigned char[]>(capacity * sources::recordSize);
  std::vector<sources::Details> details(capacity);
  while (const std::size_t count = records->read({room.get(), capacity * sources::recordSize}, details)) {
    for (std::size_t i = 0; i < count; ++i) {
      timeline.add(room.get() + i * sources::recordSize, details[i], records->runs());
    }
  }
  timeline.finish();
  if (!events.hasEvents() && (timeline.records() != 0 || sources.isSound())) {
    throw Error(fmt::format("nothing to show: {}", emptiness(timeline)));
  }
  return events.hasEvents();
}

int runTrace(const TraceOptions& line) {
  const bool toStandardOutput = line.output == "-";
  if (toStandardOutput && isatty(STDOUT_FILENO) != 0) {
    throw CLI::ValidationError("-o", "a trace is for a viewer, not for a terminal: name a file, or use a pipe");
  }
  std::optional<formats::NewFile> file;
  if (!toStandardOutput) {
    const WrittenFile written[] = {{line.output, "the trace", "-o"}};
    requireOwnFiles(written, filesOf(line.inputs));
    file.emplace(line.output);
  }
  sources::Sources sources(line.inputs, {.jobs = std::clamp(std::thread::hardware_concurrency(), 1U, 64U),
                                         .watchedOutput = toStandardOutput ? STDOUT_FILENO : -1,
                                         .complain = [](std::string_view text) { complain(text); }});
  EventWriter events([&](std::string_view block) {
    if (file) {
      file->write(block);
    } else {
      writeStandardOutput(block);
    }
  });
  try {
    if (!writeTrace(sources, findMarks(line, sources), events)) {
      return 1;
    }
  } catch (const sources::OutputClosed&) {
    throw ReaderGone();
  }
  if (file) {
    file->keep();
  }
  return sources.isSound() ? 0 : 1;
}

} // namespace

void addTrace(CLI::App& app, int& status) {
  auto line = std::make_shared<TraceOptions>();
  CLI::App* const command = app.add_subcommand("trace", "Write a timeline for trace viewers");
  command->add_option("INPUT", line->inputs, "What velstat decode reads")->type_name("")->required();
  command->add_option("-o,--output", line->output, "The trace (JSON); - for standard output")
      ->type_name("FILE")
      ->required();
  command->add_flag("--no-findings", line->noFindings, "Do not look for what velstat triage finds");
  command->add_option("--timeout", line->timeout, "Seconds for each rule of triage; 0: no limit")
      ->type_name("N")
      ->transform(decimal(0U, longestTimeout))
      ->capture_default_str();
  command->footer("Examples:\n"
                  "  velstat trace snapshot -o trace.json\n"
                  "  velstat generate records | velstat trace --no-findings - -o trace.json\n"
                  "Open trace.json in a viewer of the Trace Event Format, such as speedscope.");
  command->callback([line, &status] { status = runTrace(*line); });
}

} // namespace vel::stat
