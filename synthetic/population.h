// A fleet of devices with known faults: which build, hardware lot and faults each device has, drawn from a seed at
// rates that depend on build and lot. What a question about the fleet finds can be compared with them.
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

// How often a fault occurs, in devices of 1000. What differs between builds and lots is said in quarters of the fleet,
// so that it holds for any number of them.
struct FaultRow {
  Fault fault;
  std::string_view name;
  std::uint32_t everywhere = 0;
  std::uint32_t moreInBuilds = 0; // from the first to before the last quarter of builds, in the order of release
  std::uint32_t firstQuarter = 0;
  std::uint32_t lastQuarter = 0;
  std::uint32_t moreInLot = 0; // in the lots of one quarter
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

// Builds and lots have the same number of devices each, as near as can be. A device does not change when the fleet gets
// larger. [any thread]
class Population {
public:
  // There is at least one build and one lot.
  Population(std::uint64_t seed, std::uint32_t builds, std::uint32_t lots)
      : seed_(seed), builds_(builds), lots_(lots) {}

  std::uint32_t builds() const { return builds_; }
  std::uint32_t lots() const { return lots_; }
  // In the order of release; the names' own order is another one, as that of version numbers is.
  static std::string buildName(std::uint32_t build);
  static std::string lotName(std::uint32_t lot);
  static std::string deviceName(std::uint32_t device);

  Member member(std::uint32_t device) const;
  std::uint32_t rate(const FaultRow& row, std::uint32_t build, std::uint32_t lot) const; // of 1000
  // In the last build haptics come later, some of them much later. A fleet of one build has nothing to compare with.
  HapticDelay hapticDelay(std::uint32_t build) const;

private:
  std::uint64_t seed_;
  std::uint32_t builds_;
  std::uint32_t lots_;
};

} // namespace vel::synthetic
