// velstat capture: hosts a plug-in on a device model and shows what it registers and reports.

#include <sources/source.h>
#include <velstat/capture/result.h>
#include <velstat/commands.h>
#include <velstat/options/hosted.h>
#include <velstat/options/number_option.h>
#include <velstat/options/open_tally.h>
#include <velstat/options/output_options.h>
#include <velstat/text/number_text.h>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <chrono>
#include <memory>
#include <optional>
#include <utility>

namespace vel::stat {

namespace {

struct CaptureOptions {
  std::string plugIn;
  std::string model;
  std::uint32_t api = 3;
  std::string format = "text";
  std::string out;
  bool all = false;
};

// Moves the lines that were written since the last call; how many they are.
std::size_t moveLines(CapturedLog& log) {
  const std::size_t before = log.size();
  for (control::LogLine& line : control::takeLogLines()) {
    log.add(std::move(line));
  }
  return log.size() - before;
}

CapturedService registerService(host::Session& session, const host::MachineService& service, CapturedLog& log) {
  moveLines(log);
  CapturedService captured{.name = service.name, .usages = service.usages};
  captured.registration = session.registerService(service);
  const host::References held = service.device->references();
  captured.opened = held.drivers + held.devices > 0;
  captured.logLines = moveLines(log);
  return captured;
}

// A batch at a time, as each entry writes a line.
void deliverAnalytics(host::Session& session, const host::MachineService& service, CapturedLog& log) {
  std::size_t dropped = 0;
  for (const formats::Bytes& batch : service.device->analytics()) {
    dropped += session.deliverAnalytics(service, batch) ? 0 : 1;
    session.drain();
    moveLines(log);
  }
  if (dropped > 0) {
    complain(fmt::format("service '{}': {} of analytics dropped: the plug-in takes none from it", service.name,
                         countText(dropped, "batch", "batches")));
  }
}

CaptureResult capture(const CaptureOptions& options, const host::DeviceModel& model, host::Bundle bundle) {
  CaptureResult result{.folder = options.out, .api = options.api};
  result.device = model.name;
  result.model = modelName(options.model);
  result.version = VELSTAT_VERSION;
  result.plugIn = bundle.identifier();
  result.path = bundle.path().string();

  control::clearLog();
  const OpenTally tally;
  host::Machine machine(model);
  host::Session session(std::move(bundle), machine);
  session.open();
  session.schedule();
  for (const host::MachineService& service : machine.services()) {
    result.services.push_back(registerService(session, service, result.log));
  }
  for (const host::MachineService& service : machine.services()) {
    deliverAnalytics(session, service, result.log);
  }
  result.records = session.capture(options.api, "velstat");
  result.runs = session.handlerRuns();
  result.handlers = session.stateHandlers();
  session.close();
  moveLines(result.log);
  result.metrics = tally.rows();
  result.tally = tally.image();
  return result;
}

// What the rules find. A rule that does not end in time on a hostile device must not cost the capture.
std::vector<rules::Finding> examine(const CaptureResult& result) {
  constexpr std::chrono::seconds patience{10};
  try {
    sources::Sources source(result.folder.empty() ? "DIR" : result.folder, asSource(result), {.tellFindings = false});
    return rules::triage(source, nullptr, rules::shippedRules(), {.time = patience},
                         [](const rules::Error& error) { complain(error); });
  } catch (const formats::Error& error) {
    complain(fmt::format("the capture was not examined: {}", error.what()));
    return {};
  }
}

int run(const CaptureOptions& options) {
  // Refused before anything is waited for. Nothing is written before the capture is over, so that a signal, or a
  // plug-in that crashes, leaves nothing.
  std::optional<OutputFolder> folder;
  if (!options.out.empty()) {
    folder.emplace(options.out);
  }
  const host::DeviceModel model = readModel(options.model);
  CaptureResult result = capture(options, model, loadBundle(options.plugIn));
  result.findings = examine(result); // which takes the most memory: before anything is written
  if (folder) {
    writeCapture(result, *folder);
  }
  StandardOutput out;
  if (options.format == "json") {
    captureJson(out, result);
  } else {
    captureText(out, result, options.all ? Detail::all : Detail::folded, Style::ofStandardOutput());
  }
  out.flush();
  return 0;
}

} // namespace

void addCapture(CLI::App& app, int& status) {
  auto options = std::make_shared<CaptureOptions>();
  CLI::App* const command =
      app.add_subcommand("capture", "Register a modelled device's services with the plug-in and capture its state");
  command->add_option("--plugin", options->plugIn, "The plug-in bundle (default: the one beside this command)")
      ->type_name("BUNDLE");
  command->add_option("--model", options->model, "The device model, - for standard input (default: built in)")
      ->type_name("FILE");
  command
      ->add_option("--api", options->api,
                   "Why the capture is asked for: 1 error, 2 fault, 3 request; other numbers reach the plug-in too")
      ->type_name("N")
      ->transform(decimal<std::uint32_t>())
      ->capture_default_str();
  command->add_option("--format", options->format, "How to show it")
      ->check(CLI::IsMember({"text", "json"}))
      ->capture_default_str();
  command->add_option("--out", options->out, "Also write records, log, metrics and a manifest into this new folder")
      ->type_name("DIR");
  command->add_flag("--all", options->all, "Show every value, line and message, however many");
  addOutputOptions(*command);
  command->footer("Example:\n  velstat capture --model models/default.json --api 3 --out snapshot");
  command->callback([options, &status] { status = run(*options); });
}

} // namespace vel::stat
