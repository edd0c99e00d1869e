// A fleet of devices with known faults: which build, hardware lot and faults each device has, drawn from a seed at
// rates that depend on build and lot. The answers to questions about the fleet can be compared with them.
#pragma once

#include <synthetic/recorder.h>

#include <bitset>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace vel::synthetic {

enum class Fault {
  actuatorTimeout,
  amplifierTimeout,
  failingSensor,
  droppedEvents,
  firmwareRestart,
  clockJump,
  damagedLog,
  unbatchedClient,
};
constexpr std::size_t faultCount = 8;

// How often a fault occurs, in devices per 1000. Builds and lots are selected by quarters of their number, so that a
// row applies to any number of them.
struct FaultRow {
  Fault fault;
  std::string_view name;
  std::uint32_t everywhere = 0;
  std::uint32_t moreInBuilds = 0; // in builds from firstQuarter up to, not including, lastQuarter; in order of release
  std::uint32_t firstQuarter = 0;
  std::uint32_t lastQuarter = 0;
  std::uint32_t moreInLot = 0; // in the lots of lotQuarter
  std::uint32_t lotQuarter = 0;
};
// In the order of the enumeration. [any thread]
std::span<const FaultRow> faultRows();

struct Member {
  std::uint64_t seed; // for everything else about the device
  std::uint32_t build;
  std::uint32_t lot;
  std::bitset<faultCount> faults;

  bool has(Fault fault) const { return faults[static_cast<std::size_t>(fault)]; }
};

// Devices are spread over builds and lots as evenly as possible. A device does not change when the fleet gets larger.
// [any thread]
class Population {
public:
  // There is at least one build and one lot.
  Population(std::uint64_t seed, std::uint32_t builds, std::uint32_t lots)
      : seed_(seed), builds_(builds), lots_(lots) {}

  std::uint32_t builds() const { return builds_; }
  std::uint32_t lots() const { return lots_; }
  // `build` counts in the order of release. Like version numbers, the names do not sort in that order.
  static std::string buildName(std::uint32_t build);
  static std::string lotName(std::uint32_t lot);
  static std::string deviceName(std::uint32_t device);

  Member member(std::uint32_t device) const;
  std::uint32_t rate(const FaultRow& row, std::uint32_t build, std::uint32_t lot) const; // per 1000
  // Haptics come later in the last build, some of them much later. There is no delay if there is only one build, since
  // no other build could be compared with it.
  HapticDelay hapticDelay(std::uint32_t build) const;

private:
  std::uint64_t seed_;
  std::uint32_t builds_;
  std::uint32_t lots_;
};

} // namespace vel::synthetic
