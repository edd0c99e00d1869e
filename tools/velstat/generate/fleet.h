// Writes a synthetic fleet: captures of its devices, their list, and the faults that were planted in them.
#pragma once

#include <cstdint>
#include <filesystem>

namespace vel::stat {

struct FleetOptions {
  std::uint64_t seed = 1;
  std::uint32_t devices = 1000;
  std::uint32_t builds = 4;
  std::uint32_t lots = 4;
  std::uint32_t records = 512; // of each device
  std::filesystem::path out;
};

// Writes captures/DEVICE/ for each device, captures.jsonl with device, build and lot of each, and truth.json into the
// new folder `out`, which appears whole or not at all. Throws Error.
void writeFleet(const FleetOptions& options);

} // namespace vel::stat
