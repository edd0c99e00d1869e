// The "ZORB Statistics" report.

#include "ZORBStatistics.h"
#include "support/statistics_fixture.h"
#include <control/calls.h>

#include <gmock/gmock.h>

#include <cstring>

namespace vel::test {
namespace {

using formats::Dictionary;
using formats::Value;
using testing::ElementsAre;
using testing::IsEmpty;

// Every byte of the record its own place, so that a value shows where it was read.
Bytes countingRecord() {
  Bytes bytes(330);
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    bytes[i] = static_cast<std::uint8_t>(i * 7 + 1);
  }
  return bytes;
}

Value number(const Bytes& record, std::size_t offset, std::size_t width = 8) {
  std::uint64_t value = 0;
  for (std::size_t i = 0; i < width; ++i) {
    value |= std::uint64_t{record[offset + i]} << (8 * i);
  }
  return {width == 4 ? static_cast<std::int32_t>(value) : static_cast<std::int64_t>(value)};
}

// The report that the layout's offsets call for, in its order.
Value expectedReport(const Bytes& record) {
  std::uint32_t word = 0;
  std::memcpy(&word, record.data() + 233, 4);
  Dictionary press = {
      {"click count", {std::int64_t{word >> 1}}},
      {"finger on ts", number(record, 0)},
      {"start haptic ts", number(record, 16)},
      {"finger detect to button down", number(record, 24)},
  };
  for (std::size_t click = 0; click < 3; ++click) {
    press.push_back({"click " + std::to_string(click + 1),
                     {Dictionary{
                         {"button down to play asset", number(record, 184 + 16 * click)},
                         {"button down ts", number(record, 88 + 16 * click)},
                         {"play asset ts", number(record, 136 + 16 * click + 8)}, // the up edge's
                         {"button up to play asset", number(record, 184 + 16 * click + 8)},
                         {"button up ts", number(record, 88 + 16 * click + 8)},
                     }}});
  }
  press.push_back({"second scan ts", number(record, 266)});
  press.push_back({"turtle scans", number(record, 274, 4)});
  press.push_back({"finger off ts", number(record, 8)});
  return {Dictionary{
      {"last button press", {press}},
      {"latency",
       {Dictionary{
           {"min_nz_latency_FD_to_BD", number(record, 282)},
           {"max_latency_FD_to_BD", number(record, 290)},
           {"min_nz_latency_BC_to_PlayAsset", number(record, 298)},
           {"max_latency_BC_to_PlayAsset", number(record, 306)},
           {"min_latency_Total", number(record, 314)},
           {"max_latency_Total", number(record, 322)},
       }}},
  }};
}

Value withoutClick(const Value& report, std::size_t click) {
  Dictionary state = *report.as<Dictionary>();
  Dictionary press = *state.front().value.as<Dictionary>();
  std::erase_if(press, [&](const formats::Member& member) { return member.key == "click " + std::to_string(click); });
  state.front().value = {press};
  return {state};
}

struct ZORBStatistics : StatisticsTest {
  ZORBStatistics() {
    registerService({.usages = button});
    control::clearLog();
  }
  // The handler's record, asked through its block.
  static control::StateRecord ask(std::uint32_t api = 3) { return StatisticsTest::ask(0, api); }
  Value report(const Bytes& reply) {
    driver.property = [&](std::uint32_t) { return Reply{reply}; };
    return parse(*ask()).value;
  }
};

TEST_F(ZORBStatistics, ReadsProperty215With330Bytes) {
  EXPECT_STREQ(ask()->title, "ZORB Statistics");
  EXPECT_THAT(driver.propertiesRead, ElementsAre(215U));
  EXPECT_THAT(driver.calls.back(), "command(10, 4, 330)");
}

TEST_F(ZORBStatistics, EveryFieldIsReadAtItsOffset) {
  const Bytes record = countingRecord();
  EXPECT_EQ(report(record), expectedReport(record));
}

TEST_F(ZORBStatistics, NegativeValuesStayNegative) {
  const Bytes record(330, 0xFF);
  const Value value = report(record);
  EXPECT_EQ(value, expectedReport(record));
  EXPECT_EQ(*value.find("last button press")->find("turtle scans"), Value{std::int64_t{-1}});
  EXPECT_EQ(*value.find("last button press")->find("click count"), Value{std::int64_t{0x7FFFFFFF}});
}

// A property list does not keep the width of numbers, so the test reads the dictionary itself.
TEST_F(ZORBStatistics, CountsAre32BitNumbers_AllOthers64Bit) {
  const _ZORBLatencyStatsV2 zeros = {};
  const auto state = Ref<CFMutableDictionaryRef>::adopt(copyZORBStatistics(&zeros));
  std::vector<std::string> narrow;
  const std::function<void(CFDictionaryRef)> walk = [&](CFDictionaryRef dictionary) {
    const auto count = static_cast<std::size_t>(CFDictionaryGetCount(dictionary));
    std::vector<const void*> keys(count);
    std::vector<const void*> values(count);
    CFDictionaryGetKeysAndValues(dictionary, keys.data(), values.data());
    for (std::size_t i = 0; i < count; ++i) {
      if (CFGetTypeID(values[i]) == CFDictionaryGetTypeID()) {
        walk(static_cast<CFDictionaryRef>(values[i]));
      } else if (CFNumberGetType(static_cast<CFNumberRef>(values[i])) != kCFNumberSInt64Type) {
        EXPECT_EQ(CFNumberGetType(static_cast<CFNumberRef>(values[i])), kCFNumberSInt32Type);
        narrow.push_back(control::utf8(static_cast<CFStringRef>(keys[i])));
      }
    }
  };
  walk(state.get());
  EXPECT_THAT(narrow, ElementsAre("click count", "turtle scans"));
}

TEST_F(ZORBStatistics, AllZeros_HoldAllKeys) {
  const Bytes record(330, 0);
  EXPECT_EQ(report(record), expectedReport(record));
}

TEST_F(ZORBStatistics, ClickCount_IsTheWordWithoutItsLowestBit) {
  Bytes record(330, 0);
  record[233] = 7;
  EXPECT_EQ(*report(record).find("last button press")->find("click count"), Value{std::int64_t{3}});
  record[233] = 6;
  EXPECT_EQ(*report(record).find("last button press")->find("click count"), Value{std::int64_t{3}});
}

TEST_F(ZORBStatistics, ShortReply_ReadsAsZerosBeyond) {
  Bytes record = countingRecord();
  record.resize(100);
  Bytes whole = record;
  whole.resize(330);
  EXPECT_EQ(report(record), expectedReport(whole));
}

TEST_F(ZORBStatistics, LyingLength_ChangesNothing) {
  const Bytes record = countingRecord();
  driver.property = [&](std::uint32_t) { return Reply{.bytes = record, .length = 1 << 30}; };
  EXPECT_EQ(parse(*ask()).value, expectedReport(record));
}

TEST_F(ZORBStatistics, AnswersRequestsAlone) {
  for (std::uint32_t api : {0U, 1U, 2U, 4U, 5U, 0xFFFFFFFFU}) {
    EXPECT_EQ(ask(api), nullptr) << api;
  }
  EXPECT_THAT(driver.propertiesRead, IsEmpty());
  EXPECT_NE(ask(3), nullptr);
}

TEST_F(ZORBStatistics, FailingRead_LogsItsResultAndYieldsNothing) {
  driver.property = [](std::uint32_t) { return Reply{.result = kIOReturnTimeout}; };
  EXPECT_EQ(ask(), nullptr);
  EXPECT_THAT(logMessages(), ElementsAre(assertionOnAnyLine("result == 0 ", "", 0xE00002D6)));
}

TEST_F(ZORBStatistics, WithoutDriverInterface_LogsTwice) {
  contexts()[0]->_driver._interface = nullptr;
  EXPECT_EQ(ask(), nullptr);
  EXPECT_THAT(logMessages(), ElementsAre(assertionLine("context->_driver._interface", "", 1143, 0),
                                         assertionOnAnyLine("result == 0 ", "", 0xE00002D8)));
}

// Dictionaries are made in this order: the result, the press, three clicks, the latencies.
TEST_F(ZORBStatistics, DictionariesThatCannotBeMade_AreLeftOut) {
  const Bytes record = countingRecord();
  const Value whole = expectedReport(record);

  control::failCall("CFDictionaryCreateMutable", 2);
  Dictionary withoutPress = *whole.as<Dictionary>();
  withoutPress.erase(withoutPress.begin());
  EXPECT_EQ(report(record), Value{withoutPress});

  for (std::size_t click = 1; click <= 3; ++click) {
    control::clearFailures();
    control::failCall("CFDictionaryCreateMutable", 2 + click);
    EXPECT_EQ(report(record), withoutClick(whole, click));
  }

  control::clearFailures();
  control::failCall("CFDictionaryCreateMutable", 6);
  Dictionary withoutLatency = *whole.as<Dictionary>();
  withoutLatency.pop_back();
  EXPECT_EQ(report(record), Value{withoutLatency});
  EXPECT_THAT(logMessages(), IsEmpty());
}

TEST_F(ZORBStatistics, ClickKeyThatCannotBeMade_LeavesTheClickOut) {
  const Bytes record = countingRecord();
  for (std::size_t click = 1; click <= 3; ++click) {
    control::clearFailures();
    control::failCall("CFStringCreateWithCString", click);
    EXPECT_EQ(report(record), withoutClick(expectedReport(record), click));
  }
}

TEST_F(ZORBStatistics, NoDictionaryAtAll_LogsTwiceAndYieldsNothing) {
  control::failCall("CFDictionaryCreateMutable", 1);
  EXPECT_EQ(ask(), nullptr);
  EXPECT_THAT(logMessages(),
              ElementsAre(assertionOnAnyLine("state", "", 0), assertionOnAnyLine("zorbState != __null", "", 0)));
}

TEST_F(ZORBStatistics, ListThatCannotBeSerialised_YieldsNothingUnlogged) {
  control::failCall("CFPropertyListCreateData", 1);
  EXPECT_EQ(ask(), nullptr);
  EXPECT_THAT(logMessages(), IsEmpty());
}

TEST_F(ZORBStatistics, NumbersThatCannotBeMade_AreLeftOut) {
  control::failCall("CFNumberCreate", 1, control::Failing::onwards);
  const Value state = report(countingRecord());
  EXPECT_EQ(state,
            (Value{Dictionary{
                {"last button press",
                 {Dictionary{{"click 1", {Dictionary{}}}, {"click 2", {Dictionary{}}}, {"click 3", {Dictionary{}}}}}},
                {"latency", {Dictionary{}}}}}));
}

// If any call fails, the handler returns a record or nothing and leaks no object.
TEST_F(ZORBStatistics, AnyCallMayFail_NothingIsLeaked) {
  driver.property = [](std::uint32_t) { return Reply{countingRecord()}; };
  EXPECT_GT(failEachCall([] { ask(); }), 40U);
}

} // namespace
} // namespace vel::test
