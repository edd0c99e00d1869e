// Converts a new capture into the form in which captures are read back.
#include <control/log.h>
#include <velstat/capture/result.h>

#include <utility>

namespace vel::stat {

namespace {

sources::Service asService(const CapturedService& captured) {
  sources::Service service;
  service.name = captured.name;
  for (const host::UsageModel& usage : captured.usages) {
    service.usages.emplace_back(usage.page, usage.usage);
  }
  service.opened = captured.opened;
  service.firstHandler = captured.registration.handlers == 0 ? 0 : captured.registration.firstHandler;
  service.handlers = captured.registration.handlers;
  service.logLines = captured.logLines;
  return service;
}

} // namespace

sources::Capture asSource(const CaptureResult& result) {
  sources::Capture source;
  source.version = result.version;
  source.device = result.device;
  source.model = result.model;
  source.plugIn = result.plugIn;
  source.api = result.api;
  for (const CapturedService& service : result.services) {
    source.services.push_back(asService(service));
  }
  for (const host::HandlerRun& run : result.runs) {
    source.handlers.push_back({.number = run.handler,
                               .service = serviceOf(result, run.handler),
                               .answered = run.answered,
                               .result = run.result,
                               .resultText = run.answered ? std::string() : run.resultText});
  }
  for (const host::CapturedRecord& captured : result.records) {
    // Parsed again instead of copied: with this standard library, copying a value crashes when memory runs out.
    source.reports.push_back({.title = captured.record.title,
                              .file = {},
                              .handler = captured.handler,
                              .value = formats::parseStateRecord(captured.bytes).value});
  }
  for (const auto& [type, message, times] : result.log.repeated()) {
    sources::LogEntry entry;
    entry.level = control::logLevelName(type);
    entry.message = *message;
    entry.count = times;
    source.log.push_back(std::move(entry));
  }
  source.metrics = result.metrics;
  return source;
}

} // namespace vel::stat
