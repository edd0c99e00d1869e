#include "sensor_fixture.h"

namespace vel::test {

using formats::Dictionary;
using formats::Value;

Bytes entry(const Client& client) {
  return text(client.name, 12) + le(client.report) + le(client.batch) + le(client.threshold) + le(client.limit) +
         Bytes{client.active, 0xEE, 0xEE};
}

std::map<std::uint32_t, Reply> allReplies() {
  return {
      {0, {words(-10000)}},
      {15, {text("Tavik", 32)}},
      {16, {text("T-1", 32)}},
      {68, {Bytes{'B'} + words(3)}},
      {64, {words(64)}},
      {36, {words(36)}},
      {67, {words(-671, -672, -673, -674, -675)}},
      {10, {words(10)}},
      {13, {words(13)}},
      {61, {words(61)}},
      {45, {words(-45)}},
      {25, {words(25)}},
      {11, {words(65536, 0, -32768, 1, 98304, 0, 0, 0, 131072)}},
      {26, {words(-1, 2, -2147483648)}},
      {24, {{1, 0, 0xFF, 2, 0x80, 0x7F, 3, 4, 5}}},
      {29, {words(16384, 0, 0, 0, 16384, 0, 0, 0, 16384)}},
      {56, {words(2) + Bytes{0x10, 0, 0x01, 0}}},
      {57, {Bytes{2, 'f', 0}}},
      {58, {}},
      {59, {Bytes{0} + words(59) + Bytes{3}}},
      {60, {Bytes{4, 0} + words(60)}},
  };
}

Dictionary reportOfAllReplies() {
  return {
      {"reportInterval", integer(-10000)},
      {"sensorType", string("accelerometer")},
      {"manufacturer", string("Tavik")},
      {"model", string("T-1")},
      {"location", string("B alternate=3")},
      {"systickInterval", integer(64)},
      {"decimationEnabled", integer(36)},
      {"sensorBatchInterval", integer(-671)},
      {"muxBatchInterval", integer(-672)},
      {"apBatchInterval", integer(-673)},
      {"apReportInterval", integer(-674)},
      {"endpointBatchCount", integer(-675)},
      {"rawMode", integer(10)},
      {"factoryMode", integer(13)},
      {"calibrationComplete", integer(61)},
      {"startupTime", integer(-45)},
      {"intCal", integer(25)},
      {"calibrationMatrix",
       string("1.000000 0.000000 -0.500000 | 0.000015 1.500000 0.000000 | 0.000000 0.000000 2.000000")},
      {"calibrationOffset", string("-1 2 -2147483648")},
      {"orientationMatrix", string("1 0 -1, 2 -128 127, 3 4 5")},
      {"compassSensitivityCalibrationMatrix",
       string("0.250000 0.000000 0.000000 | 0.000000 0.250000 0.000000 | 0.000000 0.000000 0.250000")},
      {"registers", string("R10=01 ")},
      {"extra0", string("f")},
      {"extra1", string("59")},
      {"extra2", string("3c")},
      {"client1", string("second: report=1 batch=-2 threshold=3 timelimit=-1")},
      {"APEvents", string("5 [enqueued=6 dropped=-1; event_delta=0.000000 dropped_delta=0.000000]\n")},
  };
}

SensorTest::SensorTest() {
  addSensor();
  driver.property = [this](std::uint32_t property) { return replies.at(property); };
  driver.command = [this](std::uint32_t) { return clients; };
}

SensorTest::~SensorTest() {
  EXPECT_EQ(control::registryReferences(), references);
}

void SensorTest::addSensor() {
  handler = control::stateHandlers().size();
  registerService({.usages = sensor});
  references = control::registryReferences();
  clientID = control::addRegistryEntry({.name = "uc", .parent = serviceID});
  control::clearLog();
  driver.calls.clear();
  driver.propertiesRead.clear();
}

void SensorTest::addCounters() const {
  const auto counters = [](const char* key, std::int64_t value) {
    return properties({{"DebugState", Ref<CFTypeRef>::adopt(properties({{key, cfNumber(value)}}).release())}});
  };
  control::setRegistryProperties(serviceID, counters("_num_events", 5));
  control::setRegistryProperties(clientID, counters("EnqueueEventCount", 6));
}

Value SensorTest::report() const {
  const control::StateRecord record = ask();
  return record != nullptr ? parse(*record).value : Value{};
}

SensorTest::Texts SensorTest::textsOf(const std::string& prefix) const {
  Texts texts;
  const Value state = report();
  for (const formats::Member& member : *state.as<Dictionary>()) {
    if (member.key.starts_with(prefix)) {
      texts.emplace_back(member.key, *member.value.as<std::string>());
    }
  }
  return texts;
}

} // namespace vel::test
