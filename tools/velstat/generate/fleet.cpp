// Captures one modelled device after another through the plug-in, and records which faults were planted in it.
#include "velstat/generate/fleet.h"

#include <control/tally.h>
#include <synthetic/population.h>
#include <velstat/capture/hosted_capture.h>
#include <velstat/capture/output_folder.h>
#include <velstat/generate/device_log.h>
#include <velstat/generate/device_model.h>
#include <velstat/generate/truth.h>
#include <velstat/options/hosted.h>
#include <velstat/text/error.h>
#include <velstat/text/json_writer.h>

#include <fmt/format.h>

#include <optional>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

namespace vel::stat {

namespace {

namespace fs = std::filesystem;

// Estimates: the size of a record's line in a capture, and of the rest of a capture.
constexpr std::uint64_t bytesPerRecord = 850;
constexpr std::uint64_t bytesPerCapture = 90'000;

void requireSpace(const FleetOptions& options) {
  const std::uint64_t needed = options.devices * (options.records * bytesPerRecord + bytesPerCapture);
  const fs::path parent = options.out.has_parent_path() ? options.out.parent_path() : fs::path(".");
  std::error_code error;
  const fs::space_info space = fs::space(parent, error);
  if (!error && space.available < needed) {
    throw Error(
        fmt::format("{}: the fleet takes about {} MB, of which {} are free: ask for fewer --devices or --records",
                    options.out.string(), needed / 1'000'000, space.available / 1'000'000));
  }
}

// A capture with the device's present time, in microseconds since 1970, in its log lines and metrics. Otherwise a
// capture of a model has the times of this machine's clock there.
CaptureResult captureAt(std::int64_t present, const host::DeviceModel& model) {
  control::setTallyTime(present);
  CaptureResult result = captureModel(model, loadBundle({}), 3);
  control::setTallyTime(std::nullopt);
  CapturedLog log;
  result.log.each([&](control::LogLine line) {
    line.time = present;
    log.add(std::move(line));
  });
  result.log = std::move(log);
  result.model = "(synthetic fleet)";
  return result;
}

std::string listLine(const std::string& path, const std::string& device, const synthetic::Member& member) {
  StringSink out;
  JsonWriter json(out, JsonWriter::Form::oneLine);
  json.beginObject();
  json.members("path", path, "device", device, "build", synthetic::Population::buildName(member.build), "lot",
               synthetic::Population::lotName(member.lot));
  json.endObject();
  out += '\n';
  return out.take();
}

} // namespace

void writeFleet(const FleetOptions& options) {
  const OutputFolder folder(options.out);
  requireSpace(options);
  const synthetic::Population population(options.seed, options.builds, options.lots);
  folder.write([&](const OutputFolder::Add& add) {
    Truth truth(population);
    std::string list;
    for (std::uint32_t i = 0; i < options.devices; ++i) {
      const synthetic::Member member = population.member(i);
      const std::string name = synthetic::Population::deviceName(i);
      const DeviceLog log = makeLog(member, population.hapticDelay(member.build), options.records);
      const host::DeviceModel model = deviceModel(name, member, log);
      const CaptureResult result = captureAt(model.timeSync->calendar / 1000, model);
      const std::string path = "captures/" + name;
      for (const OutputFile& file : captureFiles(result, PropertyLists::leftOut)) {
        add({fmt::format("{}/{}", path, file.name), file.write});
      }
      list += listLine(path, name, member);
      truth.add(name, member);
    }
    add({"captures.jsonl", [&](Sink& out) { out += list; }});
    add({"truth.json", [&](Sink& out) { truth.write(out, options); }});
  });
}

} // namespace vel::stat
