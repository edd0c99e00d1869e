// The table of scenes, each a sequence of flows.
#include "synthetic/scenes.h"

#include <synthetic/flows.h>

#include <algorithm>
#include <iterator>

namespace vel::synthetic {

namespace {

void mix(Recorder& recorder) {
  Random& random = recorder.random();
  const std::uint32_t choice = random.below(100);
  if (choice < 35) {
    functionTimings(recorder);
  } else if (choice < 60) {
    sensorBatch(recorder);
  } else if (choice < 75) {
    interrupt(recorder);
  } else if (choice < 83) {
    busTransfer(recorder);
  } else if (choice < 90) {
    uartPacket(recorder);
  } else if (choice < 94) {
    const unsigned clicks = random.between(1, 3);
    const bool isLong = random.oneIn(6);
    press(recorder, {.clicks = clicks, .isLong = isLong});
  } else if (choice < 98) {
    housekeeping(recorder);
  } else {
    sensorSetUp(recorder);
  }
}

// An untouched device.
void idle(Recorder& recorder) {
  const std::uint32_t choice = recorder.random().below(100);
  if (choice < 45) {
    sensorBatch(recorder);
  } else if (choice < 75) {
    functionTimings(recorder);
  } else if (choice < 90) {
    interrupt(recorder);
  } else {
    housekeeping(recorder);
  }
}

void restBetweenPresses(Recorder& recorder) {
  for (std::uint32_t rounds = recorder.random().between(3, 8); rounds > 0; --rounds) {
    idle(recorder);
  }
  recorder.wait(300000, 1500000); // until the finger comes back
}

template <unsigned Clicks, bool IsLong, Haptics Played>
void pressed(Recorder& recorder) {
  press(recorder, {.clicks = Clicks, .isLong = IsLong, .haptics = Played});
  restBetweenPresses(recorder);
}

// The finger seems to leave for a moment between the two clicks, so that each is a press of its own.
void splitDoubleClick(Recorder& recorder) {
  press(recorder, {});
  recorder.wait(20000, 50000);
  press(recorder, {});
  restBetweenPresses(recorder);
}

// What the kernel driver sees of the co-processor.
void driver(Recorder& recorder) {
  const std::uint32_t choice = recorder.random().below(100);
  if (choice < 45) {
    uartPacket(recorder);
  } else if (choice < 70) {
    busTransfer(recorder);
  } else if (choice < 85) {
    interrupt(recorder);
  } else {
    housekeeping(recorder);
  }
}

constexpr Scene all[] = {
    {"mix", mix},
    {"idle", idle},
    {"click", pressed<1, false, Haptics::played>},
    {"double-click", pressed<2, false, Haptics::played>},
    {"split-double-click", splitDoubleClick},
    {"long-press", pressed<1, true, Haptics::played>},
    {"actuator-timeout", pressed<1, false, Haptics::actuatorTimesOut>},
    {"amplifier-timeout", pressed<1, false, Haptics::amplifierTimesOut>},
    {"start", start},
    {"driver", driver},
    {"retries", retry},
    {"errors", trouble},
    {"amplifier-errors", amplifierTrouble},
};

} // namespace

std::span<const Scene> scenes() {
  return all;
}

const Scene* findScene(std::string_view name) {
  const Scene* const found =
      std::find_if(std::begin(all), std::end(all), [&](const Scene& scene) { return scene.name == name; });
  return found == std::end(all) ? nullptr : found;
}

const Scene& usualMix() {
  return all[0];
}

} // namespace vel::synthetic
