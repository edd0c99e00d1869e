// What a co-processor does, as the records that it writes. Each function records one occurrence and advances the
// recorder's clock. No two random numbers are drawn in an expression whose order of evaluation the compiler may choose,
// since the records must not depend on the compiler.
#pragma once

#include <synthetic/recorder.h>

#include <span>
#include <string_view>

namespace vel::synthetic {

enum class Haptics {
  played,
  actuatorTimesOut,  // its closed loop does not settle, so it is reset
  amplifierTimesOut, // it does not power up, so the actuator is never started
};

struct Press {
  unsigned clicks = 1; // 2 is a double click
  bool isLong = false;
  Haptics haptics = Haptics::played;
};

// A finger on the solid-state button, from the first touch until the amplifiers turn off.
void press(Recorder& recorder, const Press& press);

// The sensors that are recorded, by name. [any thread]
std::span<const std::string_view> sensors();
// Sets up one sensor; records nothing if it is silent.
void sensorSetUp(Recorder& recorder);
// A batch of one sensor's samples; records nothing if the sensor is silent.
void sensorBatch(Recorder& recorder);
// Functions call each other, with the thread switches around them.
void functionTimings(Recorder& recorder);
void interrupt(Recorder& recorder);
// A packet over a serial line, cut into slices.
void uartPacket(Recorder& recorder);
// A transfer on a bus to a peripheral.
void busTransfer(Recorder& recorder);
// A failure that also occurs on a healthy device, which retries at once: mostly a handshake, rarely a command.
void retry(Recorder& recorder);
// A failure from which the device recovers: of a command, a handshake, an amplifier or, less often, the actuator.
void trouble(Recorder& recorder);
// The same on a device on which only requests to the amplifier time out.
void amplifierTrouble(Recorder& recorder);
// The firmware starts: the button is reset, every sensor is set up.
void start(Recorder& recorder);
// Occasional records: commands, ticks, monitors, the end of a recording.
void housekeeping(Recorder& recorder);

} // namespace vel::synthetic
