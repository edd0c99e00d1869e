// What a co-processor does, as the records that it writes. Each function records one occurrence and lets the
// recorder's clock go on. An expression draws one random number at most, as the order within one is the compiler's.
#pragma once

#include <synthetic/recorder.h>

namespace vel::synthetic {

struct Press {
  unsigned clicks = 1; // 2 is a double click
  bool isLong = false;
  bool actuatorTimesOut = false; // instead of playing the haptic asset
};

// A finger on the solid-state button, from the first touch to the amplifiers' turning off.
void press(Recorder& recorder, const Press& press);

// A sensor is set up.
void sensorSetUp(Recorder& recorder);
// A batch of one sensor's samples.
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
// What is seen now and then: commands, ticks, monitors, the end of a recording.
void housekeeping(Recorder& recorder);

} // namespace vel::synthetic
