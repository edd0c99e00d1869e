// The "SensorInfo" report as a whole: what it holds, in which order it asks, and what stops it.

#include "sensor_fixture.h"
#include <control/calls.h>

#include <mach/mach_error.h>

namespace vel::test {
namespace {

using formats::Dictionary;
using formats::Value;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;
using Line = testing::Matcher<std::string>;

// In the order in which they are read.
constexpr std::uint32_t kPropertiesInOrder[] = {0,  15, 16, 68, 64, 36, 67, 10, 13, 61, 45,
                                                25, 11, 26, 24, 29, 56, 57, 58, 59, 60};

Dictionary without(Dictionary dictionary, const std::string& key) {
  std::erase_if(dictionary, [&](const formats::Member& member) { return member.key == key; });
  return dictionary;
}

struct SensorInfo : SensorTest {};

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
  std::vector<std::string> calls = recordingOf([this] { ask(); });
  std::erase_if(calls, [](const std::string& call) { return !call.starts_with("IO"); });
  EXPECT_THAT(calls,
              ElementsAre("IORegistryEntryGetParentEntry(device, IOService)", "IORegistryEntryGetName(accelerometer)",
                          "IOObjectRelease(accelerometer)", "IORegistryEntryGetChildEntry(device, IOService)",
                          "IORegistryEntryGetChildEntry(interface, IOService)",
                          "IORegistryEntryGetChildEntry(service, IOService)",
                          "IORegistryEntryCreateCFProperty(service, DebugState, default)",
                          "IORegistryEntryCreateCFProperty(uc, DebugState, default)", "IOObjectRelease(uc)",
                          "IOObjectRelease(service)", "IOObjectRelease(interface)"));
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

TEST_F(SensorInfo, WithoutDriverInterface_NothingIsMadeOrAsked) {
  contexts().back()->_driver._interface = nullptr;
  EXPECT_THAT(recordingOf([this] { EXPECT_EQ(ask(), nullptr); }), ElementsAre(testing::StartsWith("os_log(default, ")));
}

struct EndingCase {
  const char* name;
  std::function<void(SensorInfo&)> arrange;
  std::vector<Line> ending; // the last of everything that was recorded
};

TEST_F(SensorInfo, LogLines_ComeBeforeTheDictionaryIsReleased) {
  const Line logged = testing::StartsWith("os_log(default, ");
  const EndingCase cases[] = {
      {"property 0 cannot be read",
       [](SensorInfo& t) { t.replies[0].result = kFailure; },
       {"driver.command(10, 4, 4)", "mach_error_string(0xe00002d5)", logged, "CFRelease(CFDictionary)"}},
      {"the parent cannot be read",
       [](SensorInfo& t) { control::breakParent(t.deviceID, kFailure); },
       {"IORegistryEntryGetParentEntry(device, IOService)", "mach_error_string(0xe00002d5)", logged,
        "CFRelease(CFDictionary)"}},
      {"no parent",
       [](SensorInfo& t) { control::breakParent(t.deviceID, 0); },
       {"IORegistryEntryGetParentEntry(device, IOService)", logged, "CFRelease(CFDictionary)"}},
      {"no list of clients",
       [](SensorInfo& t) { t.clients.result = kFailure; },
       {"driver.command(57, 0, 496)", logged, logged, "CFRelease(CFDictionary)"}},
      {"nothing",
       [](SensorInfo&) {},
       {"CFPropertyListCreateData(default, 200, 0)", "CFRelease(CFData)", "CFRelease(CFDictionary)"}},
  };
  for (const EndingCase& row : cases) {
    SCOPED_TRACE(row.name);
    replies = allReplies();
    clients = {};
    addSensor();
    row.arrange(*this);
    EXPECT_THAT(lastOf(recordingOf([this] { ask(); }), row.ending.size()), ElementsAreArray(row.ending));
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

TEST_F(SensorInfo, AnyCallMayFail_NothingIsLeaked) {
  addCounters();
  EXPECT_GT(failEachCall([this] { ask(); }), 40U);
  references = control::registryReferences(); // with those whose return was made to fail
}

} // namespace
} // namespace vel::test
