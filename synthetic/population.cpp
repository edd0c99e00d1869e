// Draws the faults of each device from a generator of its own.
#include "synthetic/population.h"

#include <algorithm>

namespace vel::synthetic {

namespace {

constexpr FaultRow rows[] = {
    // A bad part, mounted in one quarter of the lots.
    {.fault = Fault::actuatorTimeout, .name = "actuator-timeout", .everywhere = 20, .moreInLot = 230, .lotQuarter = 1},
    // A regression of the third quarter of the builds, fixed in the fourth.
    {.fault = Fault::amplifierTimeout,
     .name = "amplifier-timeout",
     .everywhere = 10,
     .moreInBuilds = 220,
     .firstQuarter = 2,
     .lastQuarter = 3},
    {.fault = Fault::failingSensor, .name = "failing-sensor", .everywhere = 30, .moreInLot = 90, .lotQuarter = 2},
    // Introduced in the second half of the builds and not fixed since.
    {.fault = Fault::droppedEvents, .name = "dropped-events", .moreInBuilds = 160, .firstQuarter = 2, .lastQuarter = 4},
    // Fixed after the first half of the builds.
    {.fault = Fault::firmwareRestart,
     .name = "firmware-restart",
     .moreInBuilds = 140,
     .firstQuarter = 0,
     .lastQuarter = 2},
    {.fault = Fault::clockJump, .name = "clock-jump", .everywhere = 40},
    {.fault = Fault::damagedLog, .name = "damaged-log", .everywhere = 10, .moreInLot = 140, .lotQuarter = 0},
    {.fault = Fault::unbatchedClient,
     .name = "unbatched-client",
     .everywhere = 50,
     .moreInBuilds = 350,
     .firstQuarter = 3,
     .lastQuarter = 4},
};

constexpr std::uint32_t quarters = 4;

std::uint32_t quarterOf(std::uint32_t index, std::uint32_t count) {
  return static_cast<std::uint32_t>(std::uint64_t{index} * quarters / count);
}

} // namespace

std::span<const FaultRow> faultRows() {
  return rows;
}

std::string Population::buildName(std::uint32_t build) {
  return "7." + std::to_string(build + 8);
}

std::string Population::lotName(std::uint32_t lot) {
  return "lot-" + std::to_string(lot / 26 + 1) + static_cast<char>('A' + lot % 26);
}

std::string Population::deviceName(std::uint32_t device) {
  constexpr std::size_t width = 6;
  const std::string number = std::to_string(device + 1);
  return "unit-" + std::string(width - std::min(width, number.size()), '0') + number;
}

std::uint32_t Population::rate(const FaultRow& row, std::uint32_t build, std::uint32_t lot) const {
  const std::uint32_t quarter = quarterOf(build, builds_);
  return row.everywhere + (quarter >= row.firstQuarter && quarter < row.lastQuarter ? row.moreInBuilds : 0) +
         (quarterOf(lot, lots_) == row.lotQuarter ? row.moreInLot : 0);
}

HapticDelay Population::hapticDelay(std::uint32_t build) const {
  return builds_ > 1 && build == builds_ - 1 ? HapticDelay{.always = 400, .stallOneIn = 40, .stall = 15000}
                                             : HapticDelay{};
}

Member Population::member(std::uint32_t device) const {
  Random random(seed_ ^ (std::uint64_t{device} + 1) * 0xD1B54A32D192ED03);
  Member member{.seed = random.next(), .build = device % builds_, .lot = device / builds_ % lots_, .faults = {}};
  // An amplifier that does not power up hides what the actuator does, so one draw decides which of the two faults the
  // device has, if any.
  const std::uint32_t haptics = random.below(1000);
  const std::uint32_t actuator = rate(rows[static_cast<std::size_t>(Fault::actuatorTimeout)], member.build, member.lot);
  for (const FaultRow& row : rows) {
    const std::uint32_t often = rate(row, member.build, member.lot);
    member.faults[static_cast<std::size_t>(row.fault)] = row.fault == Fault::actuatorTimeout ? haptics < actuator
                                                         : row.fault == Fault::amplifierTimeout
                                                             ? haptics >= actuator && haptics < actuator + often
                                                             : random.below(1000) < often;
  }
  return member;
}

} // namespace vel::synthetic
