// velstat triage: the command line.

#include <formats/nearest_name.h>
#include <rules/self_test.h>
#include <rules/triage.h>
#include <sources/input.h>
#include <velstat/commands.h>
#include <velstat/options/number_option.h>
#include <velstat/options/output_options.h>
#include <velstat/text/escape.h>
#include <velstat/text/number_text.h>
#include <velstat/text/output.h>
#include <velstat/text/wrap.h>
#include <velstat/triage/output.h>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <thread>
#include <unistd.h>
#include <utility>
#include <vector>

namespace vel::stat {

namespace {

enum Status { clean = 0, found = 1, wrongUsage = 2, unreadable = 3 }; // unreadable: also if a rule does not end

struct TriageOptions {
  std::vector<std::string> inputs;
  std::string reference;
  std::string folder;             // of rules
  std::vector<std::string> names; // of rules; empty: all
  std::string format = "text";
  std::string failOn = "note";
  unsigned timeout = 60;
  bool list = false;
  bool selfTest = false;
};

// The rules that --rule names, or all if it is not used. Throws CLI::ValidationError for an unknown name.
std::vector<rules::Rule> chosen(const TriageOptions& line, std::vector<rules::Rule> all) {
  for (const std::string& name : line.names) {
    std::vector<std::string_view> known;
    for (const rules::Rule& rule : all) {
      known.push_back(rule.name);
    }
    if (std::find(known.begin(), known.end(), name) == known.end()) {
      const auto nearest = formats::nearestName(name, known);
      throw CLI::ValidationError("--rule", fmt::format("there is no rule '{}'{}", name,
                                                       nearest ? fmt::format("; did you mean '{}'?", *nearest) : ""));
    }
  }
  if (!line.names.empty()) {
    std::erase_if(all, [&](const rules::Rule& rule) {
      return std::find(line.names.begin(), line.names.end(), rule.name) == line.names.end();
    });
  }
  return all;
}

std::vector<rules::Rule> rulesFor(const TriageOptions& line) {
  std::vector<rules::Rule> all = rules::shippedRules();
  if (!line.folder.empty()) {
    rules::addRules(all, rules::readRules(line.folder));
  }
  return chosen(line, std::move(all));
}

void writeList(const std::vector<rules::Rule>& all) {
  StandardOutput plain;
  const Style style = Style::ofStandardOutput();
  WrappedLines out(plain, style.width());
  std::size_t nameWidth = 0;
  for (const rules::Rule& rule : all) {
    nameWidth = std::max(nameWidth, columns(escape(rule.name)));
  }
  for (const rules::Rule& rule : all) {
    const std::string name = escape(rule.name);
    out += fmt::format("{:7}  {}", rules::severityName(rule.severity), style.bold(name));
    out.blanks(nameWidth - columns(name) + 2);
    out += escape(rule.title) + '\n';
  }
  plain.flush();
}

sources::Options sourceOptions() {
  return {.tellFindings = false,
          .copies = true,
          .jobs = std::clamp(std::thread::hardware_concurrency(), 1U, 64U),
          .watchedOutput = STDOUT_FILENO,
          .complain = [](std::string_view text) { complain(text); }};
}

void write(const TriageOptions& line, const std::vector<rules::Finding>& findings, std::size_t ruleCount,
           bool isWhole) {
  StandardOutput out;
  if (line.format == "json") {
    JsonWriter json(out);
    json.beginObject();
    json.key("findings");
    writeFindings(json, findings);
    json.endObject();
    out += '\n';
  } else {
    out += fmt::format("{}{} ({})\n", countsText(findings), isWhole ? "" : " in what could be examined",
                       countText(ruleCount, "rule"));
    writeFindings(out, findings, textWidth(), Style::ofStandardOutput());
  }
  out.flush();
}

query::Limits limitsOf(const TriageOptions& line) {
  return {.time = std::chrono::seconds(line.timeout),
          .overdue = [](const std::string& late) { endNow(late, unreadable); }};
}

int testRules(const TriageOptions& line) {
  const query::Limits limits = limitsOf(line);
  const rules::ShippedSamples samples;
  std::size_t count = rules::shippedRules().size();
  std::vector<std::string> failures = rules::failedSamples(rules::shippedRules(), samples.folder(), limits);
  if (!line.folder.empty()) {
    const std::vector<rules::Rule> own = rules::readRules(line.folder);
    count += own.size();
    for (std::string& failure : rules::failedSamples(own, line.folder, limits)) {
      failures.push_back(std::move(failure));
    }
  }
  for (const std::string& failure : failures) {
    complain(failure);
  }
  if (failures.empty()) {
    writeStandardOutput(
        fmt::format("{}: each is triggered by its sample, and not by its clean one\n", countText(count, "rule")));
  }
  return failures.empty() ? clean : found;
}

// Each folder is a capture of one device; all other inputs together are the log of one more device.
std::vector<std::vector<std::string>> devicesOf(const std::vector<std::string>& inputs) {
  std::vector<std::vector<std::string>> devices;
  std::vector<std::string> others;
  for (const std::string& input : inputs) {
    std::error_code error; // what cannot be read is reported when it is read
    if (std::filesystem::is_directory(input, error)) {
      devices.push_back({input});
    } else {
      others.push_back(input);
    }
  }
  if (!others.empty()) {
    devices.push_back(std::move(others));
  }
  return devices;
}

int triageInputs(const TriageOptions& line) {
  if (line.selfTest) {
    return testRules(line);
  }
  if (line.list) {
    writeList(rulesFor(line));
    return clean;
  }
  if (line.inputs.empty()) {
    throw CLI::ValidationError("triage", "an input is required");
  }
  const std::vector<rules::Rule> all = rulesFor(line);
  std::optional<sources::Sources> reference;
  if (!line.reference.empty()) {
    reference.emplace(std::vector{line.reference}, sourceOptions());
  }
  bool isWhole = true; // everything was read, and every rule has ended
  bool isAnyRead = false;
  std::vector<rules::Finding> findings;
  for (const std::vector<std::string>& device : devicesOf(line.inputs)) {
    sources::Sources sources(device, sourceOptions());
    isAnyRead = isAnyRead || std::any_of(sources.inputs().begin(), sources.inputs().end(),
                                         [](const auto& input) { return input.kind != sources::Kind::unknown; });
    const std::vector<rules::Finding> seen =
        rules::triage(sources, reference ? &*reference : nullptr, all, limitsOf(line), [&](const rules::Error& error) {
          complain(error);
          isWhole = false;
        });
    findings.insert(findings.end(), seen.begin(), seen.end());
    isWhole = isWhole && sources.isSound();
  }
  if (!isAnyRead) { // the lines about the inputs have said why
    return unreadable;
  }
  rules::sortWorstFirst(findings);
  isWhole = isWhole && (!reference || reference->isSound());
  write(line, findings, all.size(), isWhole);
  if (!isWhole) {
    return unreadable;
  }
  const rules::Severity least = *rules::severityNamed(line.failOn);
  return std::any_of(findings.begin(), findings.end(), [&](const auto& each) { return each.severity >= least; })
             ? found
             : clean;
}

// Status 1 means findings here, so failures have other statuses.
int runTriage(const TriageOptions& line) {
  try {
    return triageInputs(line);
  } catch (const sources::OutputClosed&) {
    throw ReaderGone();
  } catch (const rules::Error& error) {
    complain(error);
    return wrongUsage;
  } catch (const CLI::Error&) {
    throw;
  } catch (const ReaderGone&) {
    throw;
  } catch (const std::exception& error) {
    complain(error);
    return unreadable;
  }
}

} // namespace

void addTriage(CLI::App& app, int& status) {
  auto line = std::make_shared<TriageOptions>();
  CLI::App* const command = app.add_subcommand("triage", "Say what is wrong with a device, worst first");
  command->add_option("INPUT", line->inputs, "What velstat decode reads")->type_name("");
  command->add_option("--against", line->reference, "Compare with a capture of a good device")->type_name("GOOD");
  command->add_option("--rules", line->folder, "Also use the rules (*.sql) in this folder")->type_name("FOLDER");
  command->add_option("--rule", line->names, "Only this rule")->type_name("RULE")->allow_extra_args(false);
  command->add_flag("--list", line->list, "Show the rules, a line each, and read nothing");
  command->add_flag("--self-test", line->selfTest, "Try each rule on its samples instead")
      ->excludes(command->get_option("--rule"));
  command->add_option("--fail-on", line->failOn, "Exit with 1 for findings from this severity on")
      ->check(CLI::IsMember({"note", "warning", "error"}))
      ->capture_default_str();
  command->add_option("--format", line->format, "How to show it")
      ->check(CLI::IsMember({"text", "json"}))
      ->capture_default_str();
  command->add_option("--timeout", line->timeout, "Seconds for each rule; 0: no limit")
      ->type_name("N")
      ->transform(decimal(0U, longestTimeout))
      ->capture_default_str();
  addOutputOptions(*command);
  command->footer("Examples:\n"
                  "  velstat triage snapshot\n"
                  "  velstat triage bad --against good --fail-on warning\n"
                  "Exit status: 0 nothing found, 1 findings (--fail-on), 2 wrong usage or a\n"
                  "wrong rule, 3 an input cannot be read or a rule does not end.");
  command->callback([line, &status] { status = runTriage(*line); });
}

} // namespace vel::stat
