// All flows except those of the button.
#include "synthetic/flows.h"

#include <algorithm>
#include <array>
#include <iterator>

namespace vel::synthetic {

namespace {

constexpr std::string_view allSensors[] = {"accel", "gyro", "compass", "pressure", "boreal", "als", "temperature"};
constexpr std::string_view functions[] = {"main", "scan", "filter", "dispatch", "report_all_axes_"};

template <std::size_t Count>
std::string_view pick(Random& random, const std::string_view (&names)[Count]) {
  return names[random.below(Count)];
}

// Small ids that have no names, as digits.
constexpr std::string_view digits[] = {"0", "1", "2", "3", "4", "5", "6", "7", "8", "9"};

// A packet that may be longer than a record holds: one record per slice.
void slices(Recorder& recorder, const Kind& kind, std::uint32_t size) {
  constexpr std::uint32_t room = 24;
  Random& random = recorder.random();
  const std::uint32_t subtype = random.below(32);
  for (std::uint32_t offset = 0; offset < size; offset += room) {
    recorder.add(kind)
        .bytes("raw-data", random)
        .number("subtype", subtype)
        .number("packet-size", size)
        .number("data-length", std::min(room, size - offset))
        .number("data-offset", offset);
    recorder.wait(4, 30);
  }
}

void contextSwitch(Recorder& recorder, std::uint32_t from, std::uint32_t to) {
  recorder.add({"execution", "scheduler", "context-switch", "event"})
      .number("arg1", from)
      .number("arg2", to)
      .number("arg3", recorder.random().below(4));
  recorder.wait(1, 6);
}

} // namespace

void interrupt(Recorder& recorder) {
  Random& random = recorder.random();
  recorder.add({"interrupt", "gpio", "latency", "event"})
      .number("arg1", random.below(96))
      .number("arg2", random.between(2, 40))
      .number("arg3", random.next() >> 40);
  recorder.wait(3, 25);
}

std::span<const std::string_view> sensors() {
  return allSensors;
}

namespace {

void setUp(Recorder& recorder, std::string_view sensor) {
  if (recorder.isSilent(sensor)) {
    return;
  }
  Random& random = recorder.random();
  const std::uint64_t interval = std::uint64_t{1000} << random.below(7);
  const bool isGyro = sensor == "gyro";
  recorder.add({"sensors", sensor, "sensor-info", "sensorinfo"})
      .text("name", sensor)
      .number("report-interval", interval)
      .number("batch-interval", interval * random.between(1, 50))
      .number("threshold", random.below(100))
      .number("time-limit", 0)
      .number("connected", 1)
      .number("decimation", random.below(4))
      .number("gyroPowerMode", isGyro ? 2 : 0);
  recorder.wait(20, 60);
  const std::uint64_t next = recorder.clock() + interval;
  recorder.add({"sensors", sensor, "update", "decimationinfo"})
      .text("name", sensor)
      .number("sample-interval", interval / 2)
      .number("report-interval", interval)
      .number("batch-interval", interval * 10)
      .number("next-dispatch", next);
  recorder.wait(40, 150);
  recorder.add({"sensors", sensor, "regwrite", "short-data"}).bytes("raw-data", random).number("subtype", 3);
  recorder.wait(100, 400);
}

} // namespace

void sensorSetUp(Recorder& recorder) {
  setUp(recorder, pick(recorder.random(), allSensors));
}

void start(Recorder& recorder) {
  for (const std::string_view step : {"ResetBegin", "ResetEnd", "ResetComplete", "SystemStatus", "EnableZorb"}) {
    recorder.add({"zorb", "zorb", "trace", "event"}).action(step).number("thread", 1);
    recorder.wait(200, 4000);
  }
  for (const std::string_view sensor : allSensors) {
    setUp(recorder, sensor);
  }
}

void sensorBatch(Recorder& recorder) {
  Random& random = recorder.random();
  const std::string_view sensor = pick(random, allSensors);
  if (recorder.isSilent(sensor)) {
    return;
  }
  recorder.add({"sensors", sensor, "trigger-latency", "trigger"}).number("thread-id", random.between(10, 14));
  recorder.wait(5, 20);
  for (std::uint32_t sample = random.between(4, 24); sample > 0; --sample) {
    recorder.add({"sensors", sensor, "rawdata", "short-data"}).bytes("raw-data", random).number("subtype", sample);
    recorder.wait(2, 12);
  }
  recorder.add({"sensors", sensor, "latency", "event"})
      .number("arg1", random.between(100, 3000))
      .number("arg2", random.below(50));
  recorder.wait(5, 20);
  slices(recorder, {"sensors", sensor, "data", "long-data"}, random.between(12, 120));
  if (random.oneIn(8)) {
    recorder.add({"sensors", sensor, "annotation", "annotation"})
        .number("global-id", random.next())
        .text("entry", random.oneIn(2) ? "batchEnd" : "flush")
        .number("arg1", random.below(1000))
        .number("arg2", random.below(1000));
  }
  recorder.wait(300, 2500);
}

void functionTimings(Recorder& recorder) {
  Random& random = recorder.random();
  const std::uint32_t thread = random.between(2, 20);
  contextSwitch(recorder, 1, thread);
  const std::uint32_t depth = random.between(1, 5);
  std::uint32_t duration = random.between(1, 30);
  for (std::uint32_t level = depth; level > 0; --level) { // the innermost function ends first
    recorder.add({"execution", "function", "function", "function"})
        .number("function-id", random.below(400))
        .number("extra-id", random.below(8))
        .number("thread-id", thread)
        .number("duration", duration)
        .number("depth", level - 1)
        .number("thread_duration", duration - duration / 8);
    recorder.wait(1, 9);
    duration += random.between(1, 200);
  }
  if (random.oneIn(3)) {
    recorder.add({"execution", "extfunction", "extfunction", "extfunction"})
        .text("function", pick(random, functions))
        .number("arg", random.below(65536))
        .number("task", random.below(12))
        .number("thread", thread)
        .number("duration", duration);
  }
  recorder.add({"execution", "workloop", random.oneIn(2) ? "action" : "signal", "event"}).number("arg1", thread);
  contextSwitch(recorder, thread, 1);
  recorder.wait(50, 900);
}

void uartPacket(Recorder& recorder) {
  constexpr std::string_view lines[] = {"uart0", "uart1", "uart2"};
  constexpr std::string_view events[] = {"packet", "baseband", "transport"};
  Random& random = recorder.random();
  const std::string_view line = pick(random, lines);
  recorder.add({"uart", line, "preamble", "event"}).number("arg1", random.below(256));
  recorder.wait(20, 70);
  const std::string_view event = pick(random, events);
  slices(recorder, {"uart", line, event, "long-data"}, random.between(1, 260));
  recorder.wait(100, 1200);
}

void busTransfer(Recorder& recorder) {
  constexpr std::string_view buses[] = {"spi0", "smb0", "smb1", "i2cm0", "i2c_ctrl0", "i2c_ctrl1"};
  Random& random = recorder.random();
  const std::string_view bus = pick(random, buses);
  recorder.add({"scm", bus, pick(random, digits), "event"})
      .number("arg1", random.below(128))
      .number("arg2", random.below(4096))
      .number("arg3", random.between(1, 32));
  recorder.wait(10, 50);
  recorder.add({"scm", bus, pick(random, digits), "short-data"}).bytes("raw-data", random).number("subtype", 1);
  recorder.wait(30, 200);
}

void housekeeping(Recorder& recorder) {
  constexpr std::string_view commands[] = {"start", "finalize", "receive", "timeout", "live-report", "hist-report"};
  constexpr std::string_view traces[] = {"remoteq", "endpoint", "systick", "interrupt"};
  Random& random = recorder.random();
  recorder.add({"trace", pick(random, traces), pick(random, digits), "trigger"}).number("thread-id", random.below(20));
  recorder.wait(10, 40);
  recorder.add({"lantor", "lantor", random.oneIn(3) ? "monitor" : "latency", "event"})
      .number("arg1", random.between(1, 5000))
      .number("arg2", random.below(2));
  recorder.wait(10, 40);
  const std::string_view command = pick(random, commands);
  slices(recorder, {"execution", "command", command, "long-data"}, random.between(4, 64));
  if (random.oneIn(50)) {
    recorder.add({"control", "0", pick(random, digits), "stop"});
  }
  recorder.wait(100, 3000);
}

} // namespace vel::synthetic
