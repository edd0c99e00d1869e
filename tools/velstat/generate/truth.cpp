// Writes what was planted as one JSON document: rates by build and lot, latencies by build, and the faults of each
// device.
#include "velstat/generate/truth.h"

#include <velstat/text/json_writer.h>

namespace vel::stat {

using synthetic::Population;

Truth::Truth(const Population& population)
    : population_(population), cells_(std::size_t{population.builds()} * population.lots()) {}

void Truth::add(const std::string& device, const synthetic::Member& member) {
  devices_.push_back({device, member});
  Cell& cell = cells_[member.build * population_.lots() + member.lot];
  ++cell.devices;
  for (std::size_t i = 0; i < synthetic::faultCount; ++i) {
    cell.planted[i] += member.faults[i] ? 1 : 0;
  }
}

// `rate` is the probability with which the fault was drawn, `planted` the number of devices that have it.
void Truth::writeFaults(JsonWriter& json) const {
  constexpr double whole = 1000;
  json.beginArray();
  for (const synthetic::FaultRow& row : synthetic::faultRows()) {
    for (std::uint32_t build = 0; build < population_.builds(); ++build) {
      for (std::uint32_t lot = 0; lot < population_.lots(); ++lot) {
        const Cell& cell = cells_[build * population_.lots() + lot];
        json.beginObject();
        json.members("fault", row.name, "build", Population::buildName(build), "lot", Population::lotName(lot));
        json.key("rate");
        json.real(population_.rate(row, build, lot) / whole);
        json.members("devices", cell.devices, "planted", cell.planted[static_cast<std::size_t>(row.fault)]);
        json.endObject();
      }
    }
  }
  json.endArray();
}

// How much later haptics come than in a healthy build, in microseconds.
void Truth::writeLatencies(JsonWriter& json) const {
  json.beginArray();
  for (std::uint32_t build = 0; build < population_.builds(); ++build) {
    const synthetic::HapticDelay delay = population_.hapticDelay(build);
    json.beginObject();
    json.members("build", Population::buildName(build), "later", delay.always, "stalls one in", delay.stallOneIn,
                 "stall", delay.stall);
    json.endObject();
  }
  json.endArray();
}

void Truth::write(Sink& out, const FleetOptions& options) const {
  JsonWriter json(out);
  json.beginObject();
  json.members("seed", options.seed, "devices", options.devices, "records", options.records);
  json.key("faults");
  writeFaults(json);
  json.key("latencies");
  writeLatencies(json);
  json.key("faults by device");
  json.beginObject();
  for (const Device& device : devices_) {
    json.key(device.name);
    json.beginArray();
    for (const synthetic::FaultRow& row : synthetic::faultRows()) {
      if (device.member.has(row.fault)) {
        json.string(row.name);
      }
    }
    json.endArray();
  }
  json.endObject();
  json.endObject();
  out += '\n';
}

} // namespace vel::stat
