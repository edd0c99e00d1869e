// What was planted in a synthetic fleet: the answers that questions about it must give.
#pragma once

#include <synthetic/population.h>
#include <velstat/generate/fleet.h>
#include <velstat/text/json_writer.h>
#include <velstat/text/sink.h>

#include <cstdint>
#include <string>
#include <vector>

namespace vel::stat {

class Truth {
public:
  explicit Truth(const synthetic::Population& population);

  void add(const std::string& device, const synthetic::Member& member);
  void write(Sink& out, const FleetOptions& options) const;

private:
  struct Device {
    std::string name;
    synthetic::Member member;
  };
  struct Cell { // of one build and lot
    std::uint32_t devices = 0;
    std::uint32_t planted[synthetic::faultCount] = {};
  };

  void writeFaults(JsonWriter& json) const;
  void writeLatencies(JsonWriter& json) const;

  const synthetic::Population& population_;
  std::vector<Device> devices_;
  std::vector<Cell> cells_;
};

} // namespace vel::stat
