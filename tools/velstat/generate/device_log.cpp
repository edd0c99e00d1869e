// Records the scenes of a device's logs. A fault changes what the button does, or breaks the log in the middle.
#include "velstat/generate/device_log.h"

#include <profile/layout.h>
#include <profile/names.h>
#include <synthetic/record_stream.h>

#include <algorithm>
#include <iterator>
#include <string_view>
#include <utility>

namespace vel::stat {

namespace {

using synthetic::Fault;
using synthetic::Recorder;

constexpr std::uint64_t second = 1'000'000; // of the clock
constexpr std::uint64_t firstClock = 1'500'000;

std::uint32_t component(std::string_view name) {
  static const auto category = profile::id_of(profile::category_names(), "zorb");
  return profile::id_of(profile::component_names(*category), name).value_or(0);
}

// What the button's component did; empty for other records.
std::string_view actionOf(const _VelProfileReport& record, std::uint32_t wanted) {
  static const std::uint32_t zorb = *profile::id_of(profile::category_names(), "zorb");
  if (record.category != zorb || record.component != wanted) {
    return {};
  }
  for (const profile::Layout* const layout : profile::shown_layouts(&record)) {
    for (const profile::Row& row : layout->rows) {
      if (row.kind == profile::FieldKind::subtype_name) {
        const unsigned char* const at = reinterpret_cast<const unsigned char*>(&record) + row.offset;
        std::uint32_t id = 0;
        for (unsigned i = 0; i < row.size; ++i) {
          id |= std::uint32_t{at[i]} << (8 * i);
        }
        profile::DecimalText digits;
        const std::string_view name = profile::name_of(profile::subtype_names(zorb, wanted), id, digits);
        return name.data() == digits.digits ? std::string_view() : name;
      }
    }
  }
  return {};
}

DeviceLog::Batches batchesOf(const std::vector<_VelProfileReport>& records) {
  DeviceLog::Batches batches;
  for (auto at = records.begin(); at != records.end(); at += DeviceLog::batchSize) {
    batches.emplace_back(at, at + DeviceLog::batchSize);
  }
  return batches;
}

std::vector<_VelProfileReport> recorded(Recorder recorder, std::string_view scene, std::uint32_t count) {
  synthetic::FlowStream stream(std::move(recorder), *synthetic::findScene(scene), {});
  std::vector<_VelProfileReport> records(count);
  stream.fill(records);
  return records;
}

std::string_view sceneOf(const synthetic::Member& member, synthetic::Random& random) {
  constexpr std::string_view usual[] = {"click", "double-click", "double-click", "long-press"};
  const std::string_view chosen = usual[random.below(std::size(usual))];
  return member.has(Fault::amplifierTimeout)  ? "amplifier-timeout"
         : member.has(Fault::actuatorTimeout) ? "actuator-timeout"
                                              : chosen;
}

// The firmware's log: one part, or several where it restarted or its clock was set back.
std::vector<_VelProfileReport> firmwareLog(const synthetic::Member& member, const synthetic::HapticDelay& delay,
                                           std::uint64_t clock, std::uint32_t count, synthetic::Random& random) {
  const std::string_view scene = sceneOf(member, random);
  const std::uint32_t breaks = (member.has(Fault::firmwareRestart) ? 1 : 0) + (member.has(Fault::clockJump) ? 1 : 0);
  std::vector<_VelProfileReport> log;
  const auto append = [&](std::uint64_t from, std::uint32_t sequence, std::uint32_t size) {
    Recorder recorder(random.next(), from);
    recorder.set(from, sequence);
    recorder.delayHaptics(delay);
    if (member.has(Fault::failingSensor)) {
      recorder.silence("gyro");
    }
    const auto part = recorded(std::move(recorder), scene, size);
    log.insert(log.end(), part.begin(), part.end());
  };
  // A part must not end with a batch, where a clock that is set back looks like a restart.
  constexpr std::uint32_t lessThanPart = 11;
  const std::uint32_t part = count / (breaks + 1) - lessThanPart;
  append(clock, 0, count - breaks * part);
  if (member.has(Fault::clockJump)) {
    append(log.back().timestamp - 1800 * second, log.back().sequence_num + 1, part);
  }
  if (member.has(Fault::firmwareRestart)) {
    append(firstClock, 0, part);
  }
  return log;
}

// Reads the checkpoints of the presses. A restart clears the presses before it.
void readPresses(const std::vector<_VelProfileReport>& records, DeviceLog& log) {
  static const std::uint32_t latency = component("latency");
  PressTimes press;
  const _VelProfileReport* before = nullptr;
  for (const _VelProfileReport& record : records) {
    if (before != nullptr && record.sequence_num < before->sequence_num) {
      log.presses.clear();
      press = {};
    }
    before = &record;
    const std::string_view action = actionOf(record, latency);
    const std::uint64_t time = record.timestamp;
    const bool has = !press.clicks.empty();
    if (action == "ckp_ZORBFingerON") {
      press = {.fingerOn = time, .fingerOff = 0, .startHaptic = 0, .clicks = {}};
    } else if (action == "ckp_ZORBButtonDown") {
      press.clicks.push_back({.down = time});
    } else if (action == "ckp_HaldenStartHaptics" && press.startHaptic == 0) {
      press.startHaptic = time;
    } else if (action == "ckp_ZORBButtonUp" && has) {
      press.clicks.back().up = time;
    } else if (action == "ckp_HaldenPlayAsset" && has) {
      (press.clicks.back().up == 0 ? press.clicks.back().downAsset : press.clicks.back().upAsset) = time;
    } else if (action == "ckp_ZORBFingerOFF" && press.fingerOn != 0) {
      press.fingerOff = time;
      log.presses.push_back(std::exchange(press, {}));
    }
  }
}

std::uint64_t count(const std::vector<_VelProfileReport>& records, std::string_view componentName,
                    std::string_view action) {
  const std::uint32_t wanted = component(componentName);
  return static_cast<std::uint64_t>(std::count_if(
      records.begin(), records.end(), [&](const auto& record) { return actionOf(record, wanted) == action; }));
}

// Changes one record and removes another, as if bytes were changed or lost on the way to the host. The button's records
// are left alone, as their loss would look like another fault.
void damage(DeviceLog::Batches& batches, synthetic::Random& random) {
  constexpr std::uint8_t noCategory = 0xE5;
  static const std::uint32_t zorb = *profile::id_of(profile::category_names(), "zorb");
  std::vector<std::pair<std::size_t, std::size_t>> spared; // batch and record of those that may be damaged
  for (std::size_t batch = 0; batch < batches.size(); ++batch) {
    for (std::size_t i = 1; i + 1 < batches[batch].size(); ++i) {
      if (batches[batch][i].category != zorb) {
        spared.emplace_back(batch, i);
      }
    }
  }
  const std::size_t changed = random.below(static_cast<std::uint32_t>(spared.size()));
  batches[spared[changed].first][spared[changed].second].category = noCategory;
  const std::size_t lost = (changed + 1 + random.below(static_cast<std::uint32_t>(spared.size() - 1))) % spared.size();
  auto& batch = batches[spared[lost].first];
  batch.erase(batch.begin() + static_cast<std::ptrdiff_t>(spared[lost].second));
}

} // namespace

DeviceLog makeLog(const synthetic::Member& member, const synthetic::HapticDelay& delay, std::uint32_t records) {
  synthetic::Random random(member.seed);
  DeviceLog log;
  const std::uint32_t steps = records / DeviceLog::step * DeviceLog::batchSize;
  const std::uint64_t start = random.between(20'000, 80'000) * second + random.below(second);
  const auto firmware = firmwareLog(member, delay, start, 5 * steps, random);
  // The log of errors ends before the firmware's log begins, so that no timeout is in both.
  const auto errors = recorded(Recorder(random.next(), start - 2 * steps * 7 * second), "retries", 2 * steps);
  log.now = firmware.back().timestamp + random.between(1, 3) * second;
  const auto driver = recorded(Recorder(random.next(), std::max(firstClock, log.now - second)), "driver", steps);
  log.now = std::max(log.now, driver.back().timestamp + 1000);
  log.sinceBoot = start + firmware.size() * 50'000;
  log.restarts = member.has(Fault::firmwareRestart) ? 1 : 0;
  readPresses(firmware, log);
  for (const auto* const part : {&firmware, &errors}) {
    log.actuatorTimeouts += count(*part, "halden", "HaldenCLTimeOut");
    log.amplifierTimeouts += count(*part, "amp", "PreWarmToDisabled");
  }
  log.firmware = batchesOf(firmware);
  log.errors = batchesOf(errors);
  log.driver = batchesOf(driver);
  if (member.has(Fault::damagedLog)) {
    damage(log.firmware, random);
  }
  return log;
}

} // namespace vel::stat
