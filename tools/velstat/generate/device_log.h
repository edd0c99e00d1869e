// The profile logs of one device of a synthetic fleet, and what happened in them.
#pragma once

#include <profile/VelProfileReport.h>
#include <synthetic/population.h>

#include <cstdint>
#include <vector>

namespace vel::stat {

// The checkpoints of one press of the button, in microseconds of the co-processor's clock; 0: it did not happen.
struct PressTimes {
  struct Click {
    std::uint64_t down = 0;
    std::uint64_t downAsset = 0;
    std::uint64_t up = 0;
    std::uint64_t upAsset = 0;
  };
  std::uint64_t fingerOn = 0;
  std::uint64_t fingerOff = 0;
  std::uint64_t startHaptic = 0;
  std::vector<Click> clicks;
};

struct DeviceLog {
  using Batches = std::vector<std::vector<_VelProfileReport>>;
  static constexpr std::uint32_t batchSize = 32;
  // A log of `step` records has 5 batches of the firmware, 2 of errors and 1 of the driver; the plug-in reads at most 8
  // of the driver.
  static constexpr std::uint32_t step = 8 * batchSize;
  static constexpr std::uint32_t least = 2 * step; // so that there is room for every fault
  static constexpr std::uint32_t most = 8 * step;

  Batches firmware;
  Batches errors;
  Batches driver;
  std::uint64_t now = 0;              // the co-processor's clock when it is captured
  std::uint64_t sinceBoot = 0;        // what the clock would show without restarts and jumps
  std::vector<PressTimes> presses;    // those that have ended since the last restart
  std::uint64_t actuatorTimeouts = 0; // in the logs of firmware and errors, like the next
  std::uint64_t amplifierTimeouts = 0;
  std::uint64_t restarts = 0;
};

// `records`: a multiple of `step`, from `least` to `most`.
DeviceLog makeLog(const synthetic::Member& member, const synthetic::HapticDelay& delay, std::uint32_t records);

} // namespace vel::stat
