// What a co-processor does, as the records that it writes. Each function records one occurrence and lets the
// recorder's clock go on. An expression draws one random number at most, as the order within one is the compiler's.
#pragma once

#include <synthetic/recorder.h>

#include <span>
#include <string_view>

namespace vel::synthetic {

enum class Haptics {
  played,
  actuatorTimesOut,  // its closed loop does not settle, so that it is reset
  amplifierTimesOut, // it does not power up, so that the actuator is never started
};

struct Press {
  unsigned clicks = 1; // 2 is a double click
  bool isLong = false;
  Haptics haptics = Haptics::played;
};

// A finger on the solid-state button, from the first touch to the amplifiers' turning off.
void press(Recorder& recorder, const Press& press);

// The sensors that are recorded, by name. [any thread]
std::span<const std::string_view> sensors();
// A sensor is set up. Nothing is recorded of one that is silent.
void sensorSetUp(Recorder& recorder);
// A batch of one sensor's samples; nothing of one that is silent.
void sensorBatch(Recorder& recorder);
// Functions call each other, with the thread switches around them.
void functionTimings(Recorder& recorder);
void interrupt(Recorder& recorder);
// A packet over a serial line, cut into slices.
void uartPacket(Recorder& recorder);
// A transfer on a bus to a peripheral.
void busTransfer(Recorder& recorder);
// Something that a healthy device does again at once: a handshake, now and then a command.
void retry(Recorder& recorder);
// Something goes wrong and is set right again: a command, a handshake, an amplifier, now and then the actuator.
void trouble(Recorder& recorder);
// The same where the amplifier is the only thing that fails.
void amplifierTrouble(Recorder& recorder);
// The firmware begins: the button is reset, every sensor is set up.
void start(Recorder& recorder);
// What is seen now and then: commands, ticks, monitors, the end of a recording.
void housekeeping(Recorder& recorder);

} // namespace vel::synthetic
