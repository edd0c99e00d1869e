// The "SensorInfo" report.

#include "SensorInfo.h"
#include "support/statistics_fixture.h"

#include <control/calls.h>
#include <mach/mach_error.h>

#include <algorithm>
#include <map>

namespace vel::test {
namespace {

using host::Dictionary;
using host::Value;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;
using Texts = std::vector<std::pair<std::string, std::string>>;
using Line = testing::Matcher<std::string>;

constexpr auto kFailure = static_cast<IOReturn>(0xE00002D5);
constexpr auto kNameless = static_cast<IOReturn>(0x12345); // a code for which the system has no text

Value string(const std::string& text) {
  return {text};
}
Value integer(std::int64_t value) {
  return {value};
}

template <class... Numbers>
Bytes words(Numbers... numbers) {
  return (Bytes{} + ... + le(static_cast<std::uint32_t>(numbers)));
}

struct Client {
  std::string name;
  std::int32_t report = 0;
  std::int32_t batch = 0;
  std::uint32_t threshold = 0;
  std::uint32_t limit = 0;
  std::uint8_t active = 1;
};

Bytes entry(const Client& client) {
  return text(client.name, 12) + le(client.report) + le(client.batch) + le(client.threshold) + le(client.limit) +
         Bytes{client.active, 0xEE, 0xEE};
}

// In the order in which they are read.
constexpr std::uint32_t kPropertiesInOrder[] = {0,  15, 16, 68, 64, 36, 67, 10, 13, 61, 45,
                                                25, 11, 26, 24, 29, 56, 57, 58, 59, 60};

// A reply for every property, each with numbers of its own.
std::map<std::uint32_t, Reply> allReplies() {
  return {
      {0, {words(10000)}},
      {15, {text("Tavik", 32)}},
      {16, {text("T-1", 32)}},
      {68, {Bytes{'B'} + words(3)}},
      {64, {words(64)}},
      {36, {words(36)}},
      {67, {words(671, 672, 673, -674, 675)}},
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
      {"reportInterval", integer(10000)},
      {"sensorType", string("accelerometer")},
      {"manufacturer", string("Tavik")},
      {"model", string("T-1")},
      {"location", string("B alternate=3")},
      {"systickInterval", integer(64)},
      {"decimationEnabled", integer(36)},
      {"sensorBatchInterval", integer(671)},
      {"muxBatchInterval", integer(672)},
      {"apBatchInterval", integer(673)},
      {"apReportInterval", integer(-674)},
      {"endpointBatchCount", integer(675)},
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

Dictionary without(Dictionary dictionary, const std::string& key) {
  std::erase_if(dictionary, [&](const host::Member& member) { return member.key == key; });
  return dictionary;
}

struct SensorInfo : StatisticsTest {
  SensorInfo() {
    addSensor();
    driver.property = [this](std::uint32_t property) { return replies.at(property); };
    driver.command = [this](std::uint32_t) { return clients; };
  }
  ~SensorInfo() override { EXPECT_EQ(control::registryReferences(), references); }

  // A sensor with a user client below its driver; from now on the one that is asked. Nothing has been asked of it yet.
  void addSensor() {
    handler = control::stateHandlers().size();
    registerService({.usages = sensor});
    references = control::registryReferences();
    clientID = control::addRegistryEntry({.name = "uc", .parent = serviceID});
    control::clearLog();
    driver.calls.clear();
    driver.propertiesRead.clear();
  }
  control::StateRecord ask(std::uint32_t api = 3) const { return StatisticsTest::ask(handler, api); }
  // The report; an empty dictionary if there is none.
  Value report() const {
    const control::StateRecord record = ask();
    return record != nullptr ? parse(*record).value : Value{};
  }
  // What the report has under a key; empty if it has nothing there.
  std::string textOf(const std::string& key) const {
    const Value state = report();
    const Value* value = state.find(key);
    return value != nullptr && value->as<std::string>() != nullptr ? *value->as<std::string>() : "";
  }
  // The keys of the report that begin like this, with their texts.
  Texts textsOf(const std::string& prefix) const {
    Texts texts;
    const Value state = report();
    for (const host::Member& member : *state.as<Dictionary>()) {
      if (member.key.starts_with(prefix)) {
        texts.emplace_back(member.key, *member.value.as<std::string>());
      }
    }
    return texts;
  }
  void addCounters() {
    const auto counters = [](const char* key, std::int64_t value) {
      return properties({{"DebugState", Ref<CFTypeRef>::adopt(properties({{key, cfNumber(value)}}).release())}});
    };
    control::setRegistryProperties(serviceID, counters("_num_events", 5));
    control::setRegistryProperties(clientID, counters("EnqueueEventCount", 6));
  }
  // The four streams, each with the length that it has.
  void setStreams(const Reply& p57, const Reply& p58 = {}, const Reply& p59 = {}, const Reply& p60 = {}) {
    replies[57] = p57;
    replies[58] = p58;
    replies[59] = p59;
    replies[60] = p60;
  }

  std::map<std::uint32_t, Reply> replies = allReplies();
  Reply clients = {entry({.name = "first", .active = 0}) +
                   entry({.name = "second", .report = 1, .batch = -2, .threshold = 3, .limit = 0xFFFFFFFF})};
  std::uint64_t clientID = 0;
  std::size_t handler = 0;
  std::size_t references = 0; // those of the contexts
};

TEST_F(SensorInfo, Report_HoldsEverything) {
  addCounters();
  const control::StateRecord record = ask();
  ASSERT_NE(record, nullptr);
  EXPECT_STREQ(record->title, "SensorInfo");
  EXPECT_EQ(parse(*record).value, Value{reportOfAllReplies()});
  EXPECT_THAT(logMessages(), IsEmpty());
}

TEST_F(SensorInfo, Driver_IsAskedInThisOrder) {
  ask();
  EXPECT_THAT(driver.propertiesRead, ElementsAreArray(kPropertiesInOrder));
  std::vector<std::string> calls;
  for (int size : {4, 32, 32, 5, 4, 4, 20, 4, 4, 4, 4, 4, 36, 12, 9, 36, 128, 256, 256, 256, 256}) {
    calls.push_back("command(10, 4, " + std::to_string(size) + ")");
  }
  calls.emplace_back("command(57, 0, 496)");
  EXPECT_THAT(driver.calls, ElementsAreArray(calls));
}

TEST_F(SensorInfo, Registry_IsAskedInThisOrder) {
  control::startRecording();
  ask();
  std::vector<std::string> calls = control::stopRecording();
  std::erase_if(calls, [](const std::string& call) { return !call.starts_with("IO"); });
  EXPECT_THAT(calls,
              ElementsAre("IORegistryEntryGetParentEntry(IOService)", "IORegistryEntryGetName()", "IOObjectRelease()",
                          "IORegistryEntryGetChildEntry(IOService)", "IORegistryEntryGetChildEntry(IOService)",
                          "IORegistryEntryGetChildEntry(IOService)", "IORegistryEntryCreateCFProperty(DebugState)",
                          "IORegistryEntryCreateCFProperty(DebugState)", "IOObjectRelease()", "IOObjectRelease()",
                          "IOObjectRelease()"));
}

TEST_F(SensorInfo, AnswersRequestsAlone) {
  for (std::uint32_t api : {0U, 1U, 2U, 4U, 5U, 0xFFFFFFFFU}) {
    EXPECT_EQ(ask(api), nullptr) << api;
  }
  EXPECT_THAT(driver.calls, IsEmpty());
  EXPECT_NE(ask(3), nullptr);
}

struct StopCase {
  const char* name;
  std::function<void(SensorInfo&)> arrange;
  std::vector<Line> log;
  std::size_t propertiesRead;
};

TEST_F(SensorInfo, WhatStopsTheReport) {
  ASSERT_NE(mach_error_string(kFailure), nullptr);
  ASSERT_EQ(mach_error_string(kNameless), nullptr);
  const std::string text = mach_error_string(kFailure);
  const StopCase cases[] = {
      {"no dictionary",
       [](SensorInfo&) { control::failCall("CFDictionaryCreateMutable", 1); },
       {assertionOnAnyLine("state", "", 0)},
       0},
      {"property 0 cannot be read",
       [](SensorInfo& t) { t.replies[0] = {.bytes = words(1), .result = kFailure}; },
       {assertionOnAnyLine("result == 0 ", text, 0xE00002D5)},
       1},
      {"property 0 cannot be read, for a reason without a name",
       [](SensorInfo& t) { t.replies[0].result = kNameless; },
       {assertionOnAnyLine("result == 0 ", "", 0x12345)},
       1},
      {"the parent cannot be read",
       [](SensorInfo& t) { control::breakParent(t.deviceID, kFailure); },
       {assertionOnAnyLine("kr == 0 ", text, 0xE00002D5)},
       1},
      {"the parent cannot be read, for a reason without a name",
       [](SensorInfo& t) { control::breakParent(t.deviceID, kNameless); },
       {assertionOnAnyLine("kr == 0 ", "", 0x12345)},
       1},
      {"no parent",
       [](SensorInfo& t) { control::breakParent(t.deviceID, 0); },
       {assertionOnAnyLine("interface", "", 0)},
       1},
      {"no list of clients",
       [](SensorInfo& t) { t.clients.result = kFailure; },
       {assertionLine("result == 0 ", "", 1130, 0xE00002D5), assertionOnAnyLine("result == 0 ", "", 0xE00002D5)},
       std::size(kPropertiesInOrder)},
      {"a list that cannot be serialised",
       [](SensorInfo&) { control::failCall("CFPropertyListCreateData", 1); },
       {},
       std::size(kPropertiesInOrder)},
      {"no driver interface",
       [](SensorInfo& t) { t.contexts().back()->_driver._interface = nullptr; },
       {assertionOnAnyLine("context->_driver._interface", "", 0)},
       0},
  };
  for (const StopCase& row : cases) {
    SCOPED_TRACE(row.name);
    replies = allReplies();
    clients = {};
    addSensor();
    row.arrange(*this);
    const auto objects = control::liveObjects();
    const std::size_t references = control::registryReferences();
    EXPECT_EQ(ask(), nullptr);
    control::clearFailures();
    EXPECT_EQ(control::liveObjects(), objects);
    EXPECT_EQ(control::registryReferences(), references);
    EXPECT_THAT(logMessages(), ElementsAreArray(row.log));
    EXPECT_EQ(driver.propertiesRead.size(), row.propertiesRead);
  }
}

// What is read after the report interval may fail: numbers fall back to -1, all else to zeros.
TEST_F(SensorInfo, FailingReads_LeaveZerosUnlogged) {
  driver.property = [](std::uint32_t property) {
    return property == 0 ? Reply{words(10000)} : Reply{.result = kFailure};
  };
  clients = {};
  const std::string zeros = "0.000000 0.000000 0.000000";
  EXPECT_EQ(report(),
            (Value{Dictionary{
                {"reportInterval", integer(10000)},
                {"sensorType", string("accelerometer")},
                {"manufacturer", string("")},
                {"model", string("")},
                {"location", string("N/A")},
                {"systickInterval", integer(-1)},
                {"decimationEnabled", integer(-1)},
                {"sensorBatchInterval", integer(0)},
                {"muxBatchInterval", integer(0)},
                {"apBatchInterval", integer(0)},
                {"apReportInterval", integer(0)},
                {"endpointBatchCount", integer(0)},
                {"rawMode", integer(-1)},
                {"factoryMode", integer(-1)},
                {"calibrationComplete", integer(-1)},
                {"startupTime", integer(-1)},
                {"intCal", integer(-1)},
                {"calibrationMatrix", string(zeros + " | " + zeros + " | " + zeros)},
                {"calibrationOffset", string("0 0 0")},
                {"orientationMatrix", string("0 0 0, 0 0 0, 0 0 0")},
                {"compassSensitivityCalibrationMatrix", string(zeros + " | " + zeros + " | " + zeros)},
                {"registers", string("")},
                {"APEvents", string("-1 [enqueued=-1 dropped=-1; event_delta=0.000000 dropped_delta=0.000000]\n")},
            }}));
  EXPECT_THAT(logMessages(), IsEmpty());
}

TEST_F(SensorInfo, NumbersOfAnotherLength_FallBackAndLog) {
  const std::string line = assertionLine("size == sizeof(uint32_t)", "", 1165, 0);
  const std::pair<std::uint32_t, const char*> numbers[] = {
      {0, "reportInterval"}, {64, "systickInterval"},     {36, "decimationEnabled"}, {10, "rawMode"},
      {13, "factoryMode"},   {61, "calibrationComplete"}, {45, "startupTime"},       {25, "intCal"}};
  for (const auto& [property, key] : numbers) {
    for (const Reply& reply : {Reply{{1, 2}}, Reply{}, Reply{.bytes = words(7), .length = 8}}) {
      replies = allReplies();
      replies[property] = reply;
      control::clearLog();
      const Value state = report();
      ASSERT_NE(state.find(key), nullptr) << key;
      EXPECT_EQ(*state.find(key), integer(property == 0 ? 0 : -1)) << key;
      EXPECT_THAT(logMessages(), ElementsAre(line)) << key;
    }
  }
}

// A length is the driver's word; none makes the report read beyond what there is.
TEST_F(SensorInfo, LyingLengths_ChangeNothingOutsideOfTheStreams) {
  addCounters();
  for (std::uint32_t property : {15U, 16U, 68U, 67U, 11U, 26U, 24U, 29U, 56U}) {
    for (std::ptrdiff_t length : {std::ptrdiff_t{0}, std::ptrdiff_t{1}, std::ptrdiff_t{1} << 30, PTRDIFF_MAX}) {
      replies = allReplies();
      replies[property].length = length;
      EXPECT_EQ(report(), Value{reportOfAllReplies()}) << property << ", " << length;
    }
  }
}

TEST_F(SensorInfo, ShortReplies_ReadAsZerosBeyond) {
  replies[67] = {words(1, 2)};
  replies[26] = {words(-5) + Bytes{6}};
  replies[24] = {{1, 2, 3}};
  replies[68] = {Bytes{'C', 1}};
  const Value state = report();
  EXPECT_EQ(*state.find("muxBatchInterval"), integer(2));
  EXPECT_EQ(*state.find("apBatchInterval"), integer(0));
  EXPECT_EQ(*state.find("endpointBatchCount"), integer(0));
  EXPECT_EQ(*state.find("calibrationOffset"), string("-5 6 0"));
  EXPECT_EQ(*state.find("orientationMatrix"), string("1 2 3, 0 0 0, 0 0 0"));
  EXPECT_EQ(*state.find("location"), string("C alternate=1"));
}

// One reply, the key that it appears under, and the text there; a null text: no such key.
struct TextCase {
  const char* name;
  std::uint32_t property;
  Bytes reply;
  const char* key;
  const char* text;
};

TEST_F(SensorInfo, Texts) {
  const std::string full(32, 'm');
  const TextCase cases[] = {
      {"the terminator ends it", 15, text("ab") + Bytes{0} + text("cd", 29), "manufacturer", "ab"},
      {"without terminator it ends with its field", 15, text(full), "manufacturer", full.c_str()},
      {"more than the field", 16, text(full + "more"), "model", full.c_str()},
      {"nothing", 16, {}, "model", ""},
      {"not ASCII", 15, text("Caf\xC3\xA9", 32), "manufacturer", nullptr},
      {"not ASCII behind the terminator", 16, text("ab") + Bytes{0, 0xFF}, "model", "ab"},

      {"no letter", 68, Bytes{0} + words(5), "location", "N/A"},
      {"a letter", 68, Bytes{'A'} + words(2), "location", "A alternate=2"},
      {"a negative alternate", 68, Bytes{'z'} + words(-2), "location", "z alternate=-2"},
      {"any letter", 68, Bytes{1} + words(0), "location", "\x01 alternate=0"},
      {"a letter that is not ASCII", 68, Bytes{0x80} + words(2), "location", nullptr},

      // In single precision these would read 32768 and 0.007813.
      {"fractions", 11, words(INT32_MAX, INT32_MIN, -1, 513, 16777217, 0, 0, 0, 0), "calibrationMatrix",
       "32767.999985 -32768.000000 -0.000015 | 0.007828 256.000015 0.000000 | 0.000000 0.000000 0.000000"},
      {"the compass's fractions", 29, words(0, 0, 0, 0, 0, 0, 98304, -98304, INT32_MAX),
       "compassSensitivityCalibrationMatrix",
       "0.000000 0.000000 0.000000 | 0.000000 0.000000 0.000000 | 1.500000 -1.500000 32767.999985"},
      {"the widest fractions", 11,
       words(INT32_MIN, INT32_MIN, INT32_MIN, INT32_MIN, INT32_MIN, INT32_MIN, INT32_MIN, INT32_MIN, INT32_MIN),
       "calibrationMatrix",
       "-32768.000000 -32768.000000 -32768.000000 | -32768.000000 -32768.000000 -32768.000000 | "
       "-32768.000000 -32768.000000 -32768.000000"},
      {"offsets", 26, words(INT32_MAX, INT32_MIN, 0), "calibrationOffset", "2147483647 -2147483648 0"},
      {"orientation", 24, {0x7F, 0x80, 0xFF, 0, 1, 2, 3, 4, 5}, "orientationMatrix", "127 -128 -1, 0 1 2, 3 4 5"},
  };
  for (const TextCase& row : cases) {
    SCOPED_TRACE(row.name);
    replies = allReplies();
    replies[row.property] = {row.reply};
    const Value state = report();
    const Value* value = state.find(row.key);
    if (row.text != nullptr) {
      ASSERT_NE(value, nullptr);
      EXPECT_EQ(*value, string(row.text));
    } else {
      EXPECT_EQ(value, nullptr);
    }
  }
  EXPECT_THAT(logMessages(), IsEmpty());
}

TEST_F(SensorInfo, SensorTypeThatIsNotASCII_IsLeftOut) {
  control::resetRegistry();
  control::dropStateHandlers();
  rootID = control::addRegistryEntry({.name = "gyro\xC3\xA9"});
  deviceID = control::addRegistryEntry({.name = "device", .parent = rootID});
  contexts()[0]->_device._service =
      IOServiceGetMatchingService(kIOMasterPortDefault, IORegistryEntryIDMatching(deviceID));
  const control::StateRecord record(plugin->stateHandler_SensorInfo(nullptr, contexts()[0]));
  ASSERT_NE(record, nullptr);
  EXPECT_EQ(parse(*record).value.find("sensorType"), nullptr);
  EXPECT_EQ(parse(*record).value.find("APEvents"), nullptr);
  EXPECT_THAT(logMessages(), ElementsAre(assertionOnAnyLine("interface", "", 0))) << "there is no child";
  contexts()[0]->_driver._service =
      IOServiceGetMatchingService(kIOMasterPortDefault, IORegistryEntryIDMatching(rootID));
}

TEST_F(SensorInfo, MissingEventCounters_LeaveTheRestOfTheReport) {
  control::resetRegistry();
  rootID = control::addRegistryEntry({.name = "accelerometer"});
  deviceID = control::addRegistryEntry({.name = "device", .parent = rootID});
  for (io_service_t* entry : {&contexts()[0]->_device._service, &contexts()[0]->_driver._service}) {
    *entry = IOServiceGetMatchingService(kIOMasterPortDefault, IORegistryEntryIDMatching(deviceID));
  }
  EXPECT_EQ(report(), Value{without(reportOfAllReplies(), "APEvents")});
  EXPECT_THAT(logMessages(), ElementsAre(assertionOnAnyLine("interface", "", 0)));
}

struct RegistersCase {
  std::uint32_t n;
  int shown;
};

TEST_F(SensorInfo, Registers_EverySecondPairBelowN) {
  replies[56] = {words(4) + Bytes{0x10, 0, 1, 0, 0x11, 0, 2, 0, 0x12, 0, 3, 0, 0x13, 0, 4, 0}};
  EXPECT_EQ(textOf("registers"), "R10=01 R12=03 ");

  const RegistersCase cases[] = {{0, 0},   {1, 1},   {2, 1},   {3, 2},    {29, 15},         {30, 15},
                                 {31, 16}, {32, 16}, {33, 16}, {100, 16}, {0xFFFFFFFF, 16}, {0x80000000, 16}};
  for (const RegistersCase& row : cases) {
    Bytes reply = words(row.n);
    std::string expected;
    for (std::uint16_t pair = 0; pair < 31; ++pair) {
      reply = reply + le(static_cast<std::uint16_t>(pair + 1)) + le(static_cast<std::uint16_t>(0xFFFF - pair));
    }
    for (int i = 0; i < row.shown; ++i) {
      char text[32];
      std::snprintf(text, sizeof text, "R%02x=%02x ", 2 * i + 1, 0xFFFF - 2 * i);
      expected += text;
    }
    ASSERT_EQ(reply.size(), 128U);
    replies[56] = {reply};
    EXPECT_EQ(textOf("registers"), expected) << row.n;
  }

  replies[56] = {words(1) + Bytes{0xCD, 0xAB, 0x34, 0x12}};
  EXPECT_EQ(textOf("registers"), "Rabcd=1234 ");
  replies[56] = {words(1) + Bytes{0, 0, 0, 0}};
  EXPECT_EQ(textOf("registers"), "R00=00 ");
}

// Four replies, of the properties 57 to 60, and the entries that they make.
struct StreamsCase {
  const char* name;
  std::vector<Reply> replies;
  Texts texts;
};

TEST_F(SensorInfo, Extras) {
  const Bytes a = {2, 'a', 0};
  const Bytes longText = Bytes{2} + text(std::string(255, 'x'));
  const StreamsCase cases[] = {
      {"nothing at all", {{}, {}, {}, {}}, {}},
      {"text, number, hexadecimal number",
       {{Bytes{2, 'x', '=', 0, 0} + words(255) + Bytes{4, 0} + words(255)}, {}, {}, {}},
       {{"extra0", "x=255ff"}}},
      {"the count runs on",
       {{a + Bytes{3} + a}, {a}, {}, {a}},
       {{"extra0", "a"}, {"extra1", "a"}, {"extra2", "a"}, {"extra3", "a"}}},
      {"two ends in a row make an empty entry",
       {{a + Bytes{3, 3} + a}, {}, {}, {}},
       {{"extra0", "a"}, {"extra1", ""}, {"extra2", "a"}}},
      {"two ends at the very end make none", {{a + Bytes{3, 3}}, {a}, {}, {}}, {{"extra0", "a"}, {"extra1", "a"}}},
      {"a pending end does not reach the next property", {{Bytes{3}}, {Bytes{3}}, {a}, {}}, {{"extra0", "a"}}},
      {"each property starts in decimal",
       {{Bytes{4, 0} + words(10)}, {Bytes{0} + words(10)}, {}, {}},
       {{"extra0", "a"}, {"extra1", "10"}}},
      {"text that is not ASCII is left out but counted",
       {{a}, {{2, 0xFF, 0}}, {a}, {}},
       {{"extra0", "a"}, {"extra2", "a"}}},
      {"a payload goes on into the bytes of earlier replies",
       {{Bytes{2, 'a', 'b', 'c', 0}}, {{2, 'z'}}, {.bytes = {2}, .length = 1}, {}},
       {{"extra0", "abc"}, {"extra1", "zbc"}, {"extra2", "zbc"}}},
      {"a failing read has no entries, but may leave bytes",
       {{.bytes = {2, 'a', 'b', 0}, .result = kFailure}, {{2}}, {}, {}},
       {{"extra0", "ab"}}},
      {"a number goes on into the bytes of earlier replies",
       {{Bytes{0} + words(0x01020304)}, {{0, 5}}, {}, {}},
       {{"extra0", "16909060"}, {"extra1", "16909061"}}},
      {"a full buffer without an end",
       {{longText}, {.bytes = {}, .length = 1}, {}, {}},
       {{"extra0", std::string(255, 'x')}, {"extra1", std::string(255, 'x')}}},
      {"a length above the buffer counts as the buffer",
       {{.bytes = a + Bytes(253, 6), .length = 257}, {}, {}, {}},
       {{"extra0", "a"}}},
      {"an endless length too", {{}, {}, {}, {.bytes = a + Bytes(253, 6), .length = PTRDIFF_MAX}}, {{"extra0", "a"}}},
  };
  for (const StreamsCase& row : cases) {
    setStreams(row.replies[0], row.replies[1], row.replies[2], row.replies[3]);
    EXPECT_EQ(textsOf("extra"), row.texts) << row.name;
  }
  EXPECT_THAT(logMessages(), IsEmpty());
}

TEST_F(SensorInfo, ExtraWhoseKeyCannotBeMade_IsCounted) {
  setStreams({{2, 'a', 0}}, {{2, 'b', 0}});
  control::startRecording();
  ask();
  std::vector<std::string> calls = control::stopRecording();
  std::erase_if(calls, [](const std::string& call) { return !call.starts_with("CFStringCreateWithCString("); });
  const auto key = std::find_if(calls.begin(), calls.end(), [](const std::string& call) {
    return call.starts_with("CFStringCreateWithCString(extra0");
  });
  ASSERT_NE(key, calls.end());
  control::failCall("CFStringCreateWithCString", static_cast<std::uint64_t>(key - calls.begin()) + 1);
  EXPECT_EQ(textsOf("extra"), (Texts{{"extra1", "b"}}));
}

struct ClientsCase {
  const char* name;
  Reply reply;
  Texts texts;
};

TEST_F(SensorInfo, Clients) {
  const Bytes used = entry({.name = "c", .report = 1, .batch = 2, .threshold = 3, .limit = 4});
  const Bytes unused = entry({.name = "c", .active = 0});
  const std::string plain = "c: report=1 batch=2 threshold=3 timelimit=4";
  Bytes full;
  Texts all;
  for (int i = 0; i < 16; ++i) {
    full = full + used;
    all.emplace_back("client" + std::to_string(i), plain);
  }
  const Texts allButOne(all.begin(), all.end() - 1);
  const ClientsCase cases[] = {
      {"none", {}, {}},
      {"less than an entry", {Bytes(used.begin(), used.end() - 1)}, {}},
      {"one", {used}, {{"client0", plain}}},
      {"one and a part", {used + Bytes(30, 0xFF)}, {{"client0", plain}}},
      {"the second alone", {unused + used}, {{"client1", plain}}},
      {"gaps", {unused + used + unused + unused + used}, {{"client1", plain}, {"client4", plain}}},
      {"any number is a flag",
       {entry({.name = "c", .active = 0x80})},
       {{"client0", "c: report=0 batch=0 threshold=0 timelimit=0"}}},
      {"a byte less than the buffer", {Bytes(full.begin(), full.end() - 1)}, allButOne},
      {"the buffer", {full}, all},
      {"said to be more than the buffer", {.bytes = full, .length = 497}, all},
      {"said to be endless", {.bytes = full, .length = PTRDIFF_MAX}, all},
      {"said to be less", {.bytes = full, .length = 495}, allButOne},
      {"said to be more than was written", {.bytes = used, .length = 496}, {{"client0", plain}}},
      {"a name of its whole field",
       {entry({.name = "abcdefghijkl", .report = 0x6F6F6F6F})},
       {{"client0", "abcdefghijkl: report=1869573999 batch=0 threshold=0 timelimit=0"}}},
      {"no name", {entry({})}, {{"client0", ": report=0 batch=0 threshold=0 timelimit=0"}}},
      {"a name that is not ASCII", {entry({.name = "\xFF"}) + used}, {{"client1", plain}}},
      {"all numbers are signed",
       {entry({.name = "c", .report = -1, .batch = INT32_MIN, .threshold = 0xFFFFFFFE, .limit = 0x80000000})},
       {{"client0", "c: report=-1 batch=-2147483648 threshold=-2 timelimit=-2147483648"}}},
  };
  for (const ClientsCase& row : cases) {
    clients = row.reply;
    EXPECT_EQ(textsOf("client"), row.texts) << row.name;
  }
  EXPECT_THAT(logMessages(), IsEmpty());
}

TEST_F(SensorInfo, AnyCallMayFail_NothingIsLeaked) {
  addCounters();
  EXPECT_GT(failEachCall([this] { ask(); }), 40U);
  references = control::registryReferences(); // with those whose return was made to fail
}

} // namespace
} // namespace vel::test
