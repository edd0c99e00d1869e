// velstat decode: the command line.

#include <velstat/commands.h>
#include <velstat/decode/decode.h>
#include <velstat/options/number_option.h>
#include <velstat/options/output_options.h>
#include <velstat/text/error.h>
#include <velstat/text/output.h>
#include <velstat/text/pager.h>

#include <CLI/CLI.hpp>

#include <algorithm>
#include <iterator>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string_view>
#include <thread>
#include <unistd.h>
#include <utility>

namespace vel::stat {

namespace {

struct CommandLine {
  DecodeOptions decode;
  sources::SelectionRequest selection;
  std::string format; // empty: not given
  std::string fields;
  std::string statistics;
  std::string sequence;
  std::string time;
  std::string since;
  std::string until;
  std::string timeSync;
  std::optional<std::uint64_t> boot;
  unsigned jobs = 0; // 0: one per core
  bool framed = false;
  bool raw = false;
  bool escape = false;
};

profile::TimeSync parseTimeSync(std::string_view text) {
  const std::size_t comma = text.find(',');
  if (comma == std::string_view::npos) {
    throw std::invalid_argument("expected VEL,CALENDAR: the two clocks' readings at one moment");
  }
  return {formats::parseNumber<std::int64_t>(text.substr(0, comma)),
          formats::parseNumber<std::int64_t>(text.substr(comma + 1))};
}

// Parses an option's text; a failure is wrong usage.
template <class Read>
auto readOption(const char* option, Read read) {
  try {
    return read();
  } catch (const std::invalid_argument& error) {
    throw CLI::ValidationError(option, error.what());
  }
}

// The format that the options name or imply; without any, brief on a terminal and text elsewhere.
std::string formatName(const CommandLine& line) {
  if (!line.format.empty()) {
    return line.format;
  }
  const bool asksForText = line.framed || line.raw || line.escape;
  const bool asksForBrief = line.decode.differences || (!asksForText && isatty(STDOUT_FILENO) != 0);
  return asksForBrief ? "brief" : "text";
}

DecodeFormat chooseFormat(const CommandLine& line) {
  if (line.format != "text") {
    constexpr std::pair<std::string_view, DecodeFormat> formats[] = {{"brief", DecodeFormat::brief},
                                                                     {"json", DecodeFormat::json},
                                                                     {"csv", DecodeFormat::csv},
                                                                     {"raw", DecodeFormat::raw},
                                                                     {"none", DecodeFormat::none}};
    return std::find_if(std::begin(formats), std::end(formats),
                        [&](const auto& format) { return format.first == line.format; })
        ->second;
  }
  if (line.framed) {
    return DecodeFormat::framedText;
  }
  const bool escapes = line.escape || (!line.raw && isatty(STDOUT_FILENO) != 0);
  return escapes ? DecodeFormat::escapedText : DecodeFormat::text;
}

void refuseWhatDoesNotFit(const CommandLine& line) {
  if (line.framed && line.format != "text") {
    throw CLI::ValidationError("--framed", "only texts are framed; lines of other formats frame themselves");
  }
  if (line.decode.differences && line.format != "brief") {
    throw CLI::ValidationError("--delta", "only brief lines show differences of times");
  }
  if (!line.fields.empty() && line.format != "brief" && line.format != "json" && line.format != "csv") {
    throw CLI::ValidationError("--fields", "only for --format brief, json and csv; the others have all fields");
  }
  if (line.framed && !line.raw && isatty(STDOUT_FILENO) != 0) {
    throw Error("standard output: will not write framed texts to a terminal without --raw");
  }
  if (line.format == "raw" && !line.raw && isatty(STDOUT_FILENO) != 0) {
    throw Error("standard output: will not write raw records to a terminal without --raw");
  }
}

int run(CommandLine& line) {
  line.format = formatName(line);
  refuseWhatDoesNotFit(line);
  line.decode.format = chooseFormat(line);
  line.decode.width = outputWidth();
  if (line.raw) {
    avoidPager(); // a pager would not pass on the exact bytes
  }
  if (!line.fields.empty()) {
    line.decode.fields = readOption("--fields", [&] { return sources::FieldList(line.fields); });
  }
  if (!line.sequence.empty()) {
    line.selection.sequence = readOption("--sequence", [&] { return sources::parseRange(line.sequence); });
  }
  if (!line.time.empty()) {
    readOption("--time", [&] { line.decode.time.narrow(line.time); });
  }
  if (!line.since.empty()) {
    readOption("--since", [&] { line.decode.time.since(line.since); });
  }
  if (!line.until.empty()) {
    readOption("--until", [&] { line.decode.time.until(line.until); });
  }
  profile::TimePolicy times;
  times.boot = line.boot;
  if (!line.timeSync.empty()) {
    times.sync = readOption("--timesync", [&] { return parseTimeSync(line.timeSync); });
  }
  if (times.sync || times.boot) {
    line.decode.times = times;
  }
  if (!line.statistics.empty()) {
    line.decode.statistics = line.statistics == "json" ? StatisticsFormat::json : StatisticsFormat::text;
  }
  if (line.decode.files.empty()) {
    line.decode.files = {"-"};
  }
  line.decode.jobs = line.jobs != 0 ? line.jobs : std::clamp(std::thread::hardware_concurrency(), 1U, 64U);
  sources::Selection selection = readOption("decode", [&] { return sources::Selection(line.selection); });
  return decode(line.decode, std::move(selection)) ? 0 : 1;
}

void addFilters(CLI::App& command, CommandLine& line) {
  const auto add = [&](const char* name, std::vector<std::string>& into, const char* type, const char* description) {
    command.add_option(name, into, description)->type_name(type)->allow_extra_args(false)->group("Filters");
  };
  add("--category", line.selection.categories, "CATEGORY", "Only records of this category, by name or id");
  add("--component", line.selection.components, "COMPONENT", "Only records of this component, by name or id");
  add("--event", line.selection.events, "EVENT", "Only records of this event, by name or id, or of this action");
  add("--type", line.selection.types, "TYPE", "Only records of this datatype, by name or id");
  add("--layout", line.selection.layouts, "LAYOUT", "Only records that show this layout");
  command.add_option("--sequence", line.sequence, "Only these sequence numbers; A.. and ..B leave an end open")
      ->type_name("A..B")
      ->group("Filters");
  const auto addTime = [&](const char* name, std::string& into, const char* type, const char* description) {
    command.add_option(name, into, description)->type_name(type)->group("Filters");
  };
  addTime("--time", line.time, "A..B", "Only this time; 'last 10s' is the log's end");
  addTime("--since", line.since, "TIME", "Only from then: 420.5, +1.5s, 08:15 (see below)");
  addTime("--until", line.until, "TIME", "Only up to then");
  command.add_option("--skip", line.selection.skip, "Leave out the first N records that pass the filters")
      ->type_name("N")
      ->transform(decimal<std::uint64_t>())
      ->group("Filters");
  command.add_option("--limit", line.selection.limit, "Stop after N records")
      ->type_name("N")
      ->transform(decimal<std::uint64_t>())
      ->group("Filters");
}

void addFormats(CLI::App& command, CommandLine& line) {
  command
      .add_option("--format", line.format,
                  "brief: a line for people, text: the exact text, json: an object a line, csv, raw: the 48 bytes, "
                  "none: check and count only")
      ->check(CLI::IsMember({"brief", "text", "json", "csv", "raw", "none"}))
      ->default_str("brief on a terminal, text elsewhere");
  command.add_flag("--delta", line.decode.differences, "Brief lines with times since the line before");
  command.add_option("--fields", line.fields, "Only these fields, in brief lines, JSON or CSV")->type_name("FIELD,...");
  CLI::Option* const framed = command.add_flag("--framed", line.framed,
                                               "Put each text's length before it (32 bits, little-endian), no newline");
  CLI::Option* const raw = command.add_flag("--raw", line.raw, "Write the exact bytes to a terminal too");
  command.add_flag("--escape", line.escape, "Escape what is not printable in files and pipes too")
      ->excludes(framed)
      ->excludes(raw);
  command.add_option("--timesync", line.timeSync, "Show calendar times: both clocks at one moment, in nanoseconds")
      ->type_name("VEL,CALENDAR");
  command
      .add_option_function<std::uint64_t>(
          "--boot", [&line](std::uint64_t boot) { line.boot = boot; },
          "Show this boot time, in microseconds since 1970")
      ->type_name("US")
      ->transform(decimal<std::uint64_t>());
}

} // namespace

void addDecode(CLI::App& app, int& status) {
  auto line = std::make_shared<CommandLine>();
  CLI::App* const command = app.add_subcommand(
      "decode", "Show profile records, of captures, logs or files of their own, as lines, JSON or CSV");
  command
      ->add_option("files", line->decode.files,
                   "Captures, property lists, text, JSON, CSV or 48-byte records; - or none: standard input")
      ->type_name("FILE");
  addFormats(*command, *line);
  addFilters(*command, *line);
  command->add_flag("--all", line->decode.all, "Every occurrence of a record, in the order of the input");
  command->add_flag("--recover", line->decode.recover, "Go on after damage at the next place where records agree");
  command
      ->add_flag("--stats{text}", line->statistics,
                 "End with statistics: on stderr, or as the only output with --format none; --stats=json")
      ->check(CLI::IsMember({"text", "json"}));
  command->add_option("--jobs", line->jobs, "Threads, 1 to 256")
      ->type_name("N")
      ->default_str("one a core")
      ->transform(decimal(1U, 256U));
  addOutputOptions(*command);
  command->footer("Times: 420000000 (us) or 420.5 (s) by the device's clock, +1.5s after the first\n"
                  "record, 'last 10s' before the last one, 08:15:02, 'Nov 21 08:15:02.5' or\n"
                  "2026-11-21T08:15 by the calendar.\n\n"
                  "Examples:\n"
                  "  velstat decode --event AmpTurnOn --delta snapshot\n"
                  "  velstat decode --format raw snapshot > records.bin\n"
                  "  velstat decode --category zorb --event input-packet records.bin\n"
                  "  velstat generate records --count 1000000 | velstat decode --stats > out.txt");
  command->callback([line, &status] { status = run(*line); });
}

} // namespace vel::stat
