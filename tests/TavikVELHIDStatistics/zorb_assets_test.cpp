// The "ZORB assets" report.

#include "ZORBAssets.h"
#include "support/statistics_fixture.h"
#include <control/calls.h>

#include <cinttypes>

namespace vel::test {
namespace {

using formats::Dictionary;
using formats::Value;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::size_t kTableSize = 1479;
constexpr std::size_t kEntrySize = 29;

const char* const kSpeeds[] = {"Slow", "Medium", "Fast"};
const char* const kEvents[] = {"SingleDown",  "SingleUp",     "DoubleDown",   "DoubleUp",    "TripleDown",
                               "TripleUp",    "SingleTapOn",  "SingleTapOff", "DoubleTapOn", "DoubleTapOff",
                               "TripleTapOn", "TripleTapOff", "DeepDown",     "DeepUp",      "LongPress",
                               "LongPressUp", "(null)"};

struct Asset {
  std::uint8_t enable = 0;
  std::int32_t gain = 0;
  std::int64_t min = 0;
  std::int64_t max = 0;
  std::uint32_t slot = 0;
};

Bytes assetEntry(const Asset& asset) {
  return Bytes{asset.enable} + le(asset.gain) + le(asset.min) + le(asset.max) + le(asset.slot) +
         Bytes{0xA5, 0xA5, 0xA5, 0xA5};
}

// Every entry its own numbers.
Asset numbered(int place) {
  return {.enable = static_cast<std::uint8_t>(place + 1),
          .gain = (place - 20) * 65536,
          .min = -1000 - place,
          .max = 1000000000000 + place,
          .slot = static_cast<std::uint32_t>(100 + place)};
}

Bytes numberedTable() {
  Bytes table;
  for (int place = 0; place < 51; ++place) {
    table = table + assetEntry(numbered(place));
  }
  return table;
}

Value expectedReport() {
  Dictionary report;
  for (int place = 0; place < 51; ++place) {
    const Asset asset = numbered(place);
    char text[128];
    std::snprintf(text, sizeof text, "enable=%d slot=%u gain=%d.000000 min=%" PRId64 " max=%" PRId64, asset.enable,
                  asset.slot, asset.gain / 65536, asset.min, asset.max);
    report.push_back({std::string(kSpeeds[place / 17]) + "-" + kEvents[place % 17], {std::string(text)}});
  }
  return {report};
}

struct ZORBAssets : StatisticsTest {
  ZORBAssets() {
    registerService({.usages = button});
    control::clearLog();
  }
  static control::StateRecord ask(std::uint32_t api = 3) { return StatisticsTest::ask(1, api); }
  void reply(Reply reply) {
    driver.property = [reply = std::move(reply)](std::uint32_t) { return reply; };
  }
  // The report; an empty dictionary if there is none.
  static Value report() {
    const control::StateRecord record = ask();
    return record != nullptr ? parse(*record).value : Value{};
  }
};

TEST_F(ZORBAssets, ReadsProperty216With4096Bytes) {
  reply({numberedTable()});
  const control::StateRecord record = ask();
  ASSERT_NE(record, nullptr);
  EXPECT_STREQ(record->title, "ZORB assets");
  EXPECT_THAT(driver.propertiesRead, ElementsAre(216U));
  EXPECT_THAT(driver.calls.back(), "command(10, 4, 4096)");
  EXPECT_THAT(logMessages(), IsEmpty());
}

TEST_F(ZORBAssets, All51Entries_AreReadAtTheirPlaces) {
  reply({numberedTable()});
  const Value state = report();
  EXPECT_EQ(state, expectedReport());
  EXPECT_EQ(state.as<Dictionary>()->size(), 51U);
  EXPECT_EQ(*state.find("Slow-SingleDown"),
            Value{std::string("enable=1 slot=100 gain=-20.000000 min=-1000 max=1000000000000")});
  EXPECT_EQ(*state.find("Medium-LongPress"),
            Value{std::string("enable=32 slot=131 gain=11.000000 min=-1031 max=1000000000031")});
  EXPECT_EQ(*state.find("Fast-(null)"),
            Value{std::string("enable=51 slot=150 gain=30.000000 min=-1050 max=1000000000050")});
}

struct AssetCase {
  Asset asset;
  const char* text;
};

TEST_F(ZORBAssets, Texts) {
  const AssetCase cases[] = {
      {{}, "enable=0 slot=0 gain=0.000000 min=0 max=0"},
      {{.enable = 1}, "enable=1 slot=0 gain=0.000000 min=0 max=0"},
      {{.enable = 255}, "enable=255 slot=0 gain=0.000000 min=0 max=0"},
      {{.slot = 0xFFFFFFFF}, "enable=0 slot=-1 gain=0.000000 min=0 max=0"},
      {{.slot = 0x80000000}, "enable=0 slot=-2147483648 gain=0.000000 min=0 max=0"},
      {{.gain = 98304}, "enable=0 slot=0 gain=1.500000 min=0 max=0"},
      {{.gain = -65536}, "enable=0 slot=0 gain=-1.000000 min=0 max=0"},
      {{.gain = 1}, "enable=0 slot=0 gain=0.000015 min=0 max=0"},
      {{.gain = INT32_MAX}, "enable=0 slot=0 gain=32767.999985 min=0 max=0"}, // 32768 in single precision
      {{.enable = 255, .gain = INT32_MIN, .min = INT64_MIN, .max = INT64_MAX, .slot = INT32_MAX},
       "enable=255 slot=2147483647 gain=-32768.000000 min=-9223372036854775808 max=9223372036854775807"},
      {{.enable = 255, .gain = INT32_MIN, .min = INT64_MIN, .max = INT64_MIN, .slot = 0x80000000}, // the longest
       "enable=255 slot=-2147483648 gain=-32768.000000 min=-9223372036854775808 max=-9223372036854775808"},
      {{.min = INT64_MAX, .max = INT64_MIN},
       "enable=0 slot=0 gain=0.000000 min=9223372036854775807 max=-9223372036854775808"},
  };
  for (const AssetCase& row : cases) {
    Bytes table = numberedTable();
    const Bytes bytes = assetEntry(row.asset);
    std::copy(bytes.begin(), bytes.end(), table.begin() + (17 * 1 + 14) * kEntrySize);
    reply({table});
    const Value state = report();
    ASSERT_NE(state.find("Medium-LongPress"), nullptr) << row.text;
    EXPECT_EQ(*state.find("Medium-LongPress"), Value{std::string(row.text)});
  }
}

struct LengthCase {
  const char* name;
  Reply reply;
  bool accepted;
};

TEST_F(ZORBAssets, Lengths) {
  const Bytes table = numberedTable();
  ASSERT_EQ(table.size(), kTableSize);
  const Bytes shortTable(table.begin(), table.end() - 1);
  const LengthCase cases[] = {
      {"nothing", {}, false},
      {"one byte short", {shortTable}, false},
      {"a whole table, said to be one byte short", {.bytes = table, .length = 1478}, false},
      {"a table", {table}, true},
      {"a table and more", {table + Bytes(2617, 0xFF)}, true},
      {"a table, said to be a buffer full", {.bytes = table, .length = 4096}, true},
      {"a table, said to be more than the buffer", {.bytes = table, .length = 4097}, true},
      {"a table, said to be endless", {.bytes = table, .length = PTRDIFF_MAX}, true},
  };
  for (const LengthCase& row : cases) {
    SCOPED_TRACE(row.name);
    control::clearLog();
    reply(row.reply);
    if (row.accepted) {
      EXPECT_EQ(report(), expectedReport());
      EXPECT_THAT(logMessages(), IsEmpty());
    } else {
      EXPECT_EQ(ask(), nullptr);
      EXPECT_THAT(logMessages(), ElementsAre(assertionOnAnyLine("propertyLength >= sizeof(assets)", "", 0),
                                             assertionOnAnyLine("zorbState != __null", "", 0)));
    }
  }
}

TEST_F(ZORBAssets, WhatTheDriverDidNotWrite_ReadsAsZeros) {
  const Bytes table = numberedTable();
  reply({.bytes = Bytes(table.begin(), table.begin() + 50 * kEntrySize), .length = kTableSize});
  Dictionary expected = *expectedReport().as<Dictionary>();
  expected.back().value = {std::string("enable=0 slot=0 gain=0.000000 min=0 max=0")};
  EXPECT_EQ(report(), Value{expected});
}

// Memory that ends with the table: a sanitizer sees a byte too many.
TEST_F(ZORBAssets, Reply_IsNotReadPastTheTable) {
  const Bytes table = numberedTable();
  const auto state = Ref<CFMutableDictionaryRef>::adopt(copyZORBAssets(table.data(), table.size()));
  ASSERT_TRUE(state);
  EXPECT_EQ(CFDictionaryGetCount(state.get()), 51);
  EXPECT_EQ(copyZORBAssets(nullptr, 0), nullptr);
}

TEST_F(ZORBAssets, AnswersRequestsAlone) {
  reply({numberedTable()});
  for (std::uint32_t api : {0U, 1U, 2U, 4U, 5U, 0xFFFFFFFFU}) {
    EXPECT_EQ(ask(api), nullptr) << api;
  }
  EXPECT_THAT(driver.propertiesRead, IsEmpty());
  EXPECT_NE(ask(3), nullptr);
}

TEST_F(ZORBAssets, FailingRead_LogsItsResultAndYieldsNothing) {
  reply({.bytes = numberedTable(), .result = kIOReturnTimeout});
  EXPECT_EQ(ask(), nullptr);
  EXPECT_THAT(logMessages(), ElementsAre(assertionOnAnyLine("result == 0 ", "", 0xE00002D6)));
}

TEST_F(ZORBAssets, WithoutDriverInterface_LogsTwice) {
  contexts()[0]->_driver._interface = nullptr;
  EXPECT_EQ(ask(), nullptr);
  EXPECT_THAT(logMessages(), ElementsAre(assertionLine("context->_driver._interface", "", 1143, 0),
                                         assertionOnAnyLine("result == 0 ", "", 0xE00002D8)));
}

TEST_F(ZORBAssets, NoDictionary_LogsTwiceAndYieldsNothing) {
  reply({numberedTable()});
  control::failCall("CFDictionaryCreateMutable", 1);
  EXPECT_EQ(ask(), nullptr);
  EXPECT_THAT(logMessages(),
              ElementsAre(assertionOnAnyLine("stateDict", "", 0), assertionOnAnyLine("zorbState != __null", "", 0)));
}

TEST_F(ZORBAssets, ListThatCannotBeSerialised_YieldsNothingUnlogged) {
  reply({numberedTable()});
  control::failCall("CFPropertyListCreateData", 1);
  EXPECT_EQ(ask(), nullptr);
  EXPECT_THAT(logMessages(), IsEmpty());
}

// Each entry takes two strings: its key, then its text.
TEST_F(ZORBAssets, StringsThatCannotBeMade_LeaveTheirEntryOut) {
  reply({numberedTable()});
  for (std::uint64_t nth : {1U, 2U, 63U, 64U, 101U, 102U}) {
    control::failCall("CFStringCreateWithCString", nth);
    Dictionary expected = *expectedReport().as<Dictionary>();
    expected.erase(expected.begin() + static_cast<std::ptrdiff_t>(nth - 1) / 2);
    EXPECT_EQ(report(), Value{expected}) << nth;
    control::clearFailures();
  }
  EXPECT_THAT(logMessages(), IsEmpty());
}

TEST_F(ZORBAssets, AnyCallMayFail_NothingIsLeaked) {
  reply({numberedTable()});
  EXPECT_GT(failEachCall([] { ask(); }), 100U);
}

} // namespace
} // namespace vel::test
