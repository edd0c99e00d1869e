// velstat capture: hosts a plug-in on a device model and shows what it registers and reports.

#include <sources/source.h>
#include <velstat/capture/hosted_capture.h>
#include <velstat/commands.h>
#include <velstat/options/hosted.h>
#include <velstat/options/number_option.h>
#include <velstat/options/output_options.h>

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

// Runs the rules. If a rule takes too long on hostile data, the capture must not be lost.
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
  // A bad folder is refused before the capture begins. Nothing is written until the capture is over, so that nothing is
  // left behind if a signal or a crash of the plug-in ends the process.
  std::optional<OutputFolder> folder;
  if (!options.out.empty()) {
    folder.emplace(options.out);
  }
  const host::DeviceModel model = readModel(options.model);
  CaptureResult result = captureModel(model, loadBundle(options.plugIn), options.api);
  result.model = modelName(options.model);
  result.folder = options.out;
  result.findings = examine(result); // needs the most memory, so it runs before anything is written
  if (folder) {
    folder->write(captureFiles(result, PropertyLists::written));
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
  command->add_option("--plugin", options->plugIn, "The plug-in bundle")
      ->type_name("BUNDLE")
      ->default_str("the one beside this command");
  command
      ->add_option("--model", options->model,
                   "The device model: a file, - for standard input, or the name of a shipped one")
      ->type_name("MODEL")
      ->default_str("the one that is built in");
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
