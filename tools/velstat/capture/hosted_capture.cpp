// Runs one session from the registration of the services to its end.
#include "velstat/capture/hosted_capture.h"

#include <velstat/options/open_tally.h>
#include <velstat/text/number_text.h>

#include <fmt/format.h>

#include <utility>

namespace vel::stat {

namespace {

// Moves the lines written since the last call into `log` and returns their number.
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

// Moves the log lines after each batch, because each entry writes one.
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

} // namespace

CaptureResult captureModel(const host::DeviceModel& model, host::Bundle bundle, std::uint32_t api) {
  CaptureResult result{.api = api};
  result.device = model.name;
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
  result.records = session.capture(api, "velstat");
  result.runs = session.handlerRuns();
  result.handlers = session.stateHandlers();
  session.close();
  moveLines(result.log);
  result.metrics = tally.rows();
  result.tally = tally.image();
  return result;
}

} // namespace vel::stat
