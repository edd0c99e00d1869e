// The raw profile records of three kinds.

#include "RawDebugData.h"
#include "support/statistics_fixture.h"
#include <control/calls.h>
#include <control/clock.h>
#include <profile/KIPLogDecoder.h>

#include <mach/mach_error.h>

#include <cstring>

namespace vel::test {
namespace {

using formats::Array;
using formats::Value;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;
using Line = testing::Matcher<std::string>;

// A record of the execution category with this sequence number; its type has a text at offset 32.
Bytes record(std::uint32_t sequence, const std::string& function = "f") {
  return Bytes{9, 0, 0, 0} + le(sequence) + le(std::uint64_t{1000}) + Bytes(16) + text(function, 16);
}
const Bytes kNotText = record(0, "\xFF");

Bytes records(std::uint32_t count) {
  Bytes bytes;
  for (std::uint32_t i = 0; i < count; ++i) {
    bytes = bytes + record(i);
  }
  return bytes;
}

// The lines of these records.
Value linesOf(const Bytes& bytes) {
  Array lines;
  for (std::size_t offset = 0; offset + 48 <= bytes.size(); offset += 48) {
    _VelProfileReport report;
    std::memcpy(&report, &bytes[offset], sizeof report);
    lines.push_back({KIPLogDecoder::to_string(report)});
  }
  return {lines};
}

// One handler of each kind, by its index among the handlers of a sensor, whose own handler comes first.
struct Kind {
  const char* name;
  std::uint32_t kind;
  std::size_t handler;
  int openLine; // where the channel logs that the service does not open
  int callLine;
  int serviceLine;
};
constexpr Kind kKinds[] = {
    {"fw", 1, 1, 1210, 1214, 1207}, {"kext", 2, 49, 1184, 1188, 1181}, {"err", 3, 57, 1184, 1188, 1181}};

struct RawDebugData : StatisticsTest {
  RawDebugData() {
    control::setBootTime(1'000'000);
    registerService({.usages = sensor});
    references = control::registryReferences();
    firmwareID = control::addRegistryEntry({.name = "KIP_profile"});
    control::attachUserClient(firmwareID, firmware);
    kernelID = control::addRegistryEntry({.name = "TavikVELProfileDriver"});
    control::attachUserClient(kernelID, kernel);
    control::clearLog();
  }
  ~RawDebugData() override {
    EXPECT_EQ(control::registryReferences(), references);
    EXPECT_EQ(control::openConnections(), connections);
    control::setBootTime({});
  }
  void reply(const Reply& reply) {
    firmware->reply = reply;
    kernel->reply = reply;
  }
  // The handler itself, without its block.
  control::StateRecord handle(std::uint32_t index, std::uint32_t count, std::uint32_t kind) {
    return control::StateRecord(plugin->stateHandler_RawDebugData(nullptr, nullptr, index, count, kind));
  }

  std::shared_ptr<FakeService> firmware = std::make_shared<FakeService>();
  std::shared_ptr<FakeService> kernel = std::make_shared<FakeService>();
  std::uint64_t firmwareID = 0;
  std::uint64_t kernelID = 0;
  std::size_t references = 0; // those of the context
  std::size_t connections = 0;
};

TEST_F(RawDebugData, Firmware_IsProperty209OfItsService) {
  ask(1, 3);
  EXPECT_EQ(firmware->selector, 2U);
  EXPECT_THAT(firmware->scalars, ElementsAre(209U));
  EXPECT_THAT(firmware->input, IsEmpty());
  EXPECT_EQ(firmware->capacity, 1536U);
  EXPECT_EQ(firmware->calls, 1);
  EXPECT_EQ(kernel->calls, 0);
}

struct CommandCase {
  std::size_t handler;
  std::uint32_t command;
};

TEST_F(RawDebugData, KernelAndErrorRecords_AreCommandsOfOneService) {
  for (const CommandCase& row : {CommandCase{49, 9}, {56, 9}, {57, 8}, {104, 8}}) {
    ask(row.handler, 3);
    EXPECT_EQ(kernel->selector, row.command) << row.handler;
    EXPECT_THAT(kernel->scalars, IsEmpty());
    EXPECT_THAT(kernel->input, IsEmpty());
    EXPECT_EQ(kernel->capacity, 1536U);
  }
  EXPECT_EQ(kernel->calls, 4);
  EXPECT_EQ(firmware->calls, 0);
}

TEST_F(RawDebugData, AllHandlers_HaveTheirTitlesInOrder) {
  reply({records(1)});
  std::vector<std::string> titles;
  const auto add = [&](int count, const std::string& type) {
    for (int i = 0; i < count; ++i) {
      titles.push_back("KIP Profile " + std::to_string(i) + " ;count=1 ;type=" + type);
    }
  };
  add(48, "fw");
  add(8, "kext");
  add(48, "err");
  EXPECT_THAT(capture(2), ElementsAreArray(titles));
  EXPECT_EQ(firmware->calls, 48) << "the index reaches no driver, every handler asks";
  EXPECT_EQ(kernel->calls, 8 + 48);
  EXPECT_THAT(logMessages(), IsEmpty());
}

TEST_F(RawDebugData, AnswersRequestsAndFaults) {
  reply({records(1)});
  for (const Kind& kind : kKinds) {
    for (std::uint32_t api : {0U, 1U}) {
      EXPECT_EQ(ask(kind.handler, api), nullptr) << kind.name << ", " << api;
    }
    EXPECT_EQ(firmware->calls + kernel->calls, 0);
    for (std::uint32_t api : {2U, 3U, 4U, 0xFFFFFFFFU}) {
      EXPECT_NE(ask(kind.handler, api), nullptr) << kind.name << ", " << api;
    }
    firmware->calls = 0;
    kernel->calls = 0;
  }
}

TEST_F(RawDebugData, Lines_AreTheTextsOfTheRecords) {
  reply({records(3)});
  const control::StateRecord state = ask(1, 3);
  ASSERT_NE(state, nullptr);
  const Value lines = parse(*state).value;
  EXPECT_EQ(lines, linesOf(records(3)));
  EXPECT_THAT(*lines.as<Array>()->at(2).as<std::string>(), testing::HasSubstr(" 'sequence_num':         2,"));
}

struct LengthCase {
  const char* name;
  Reply reply;
  std::uint32_t count; // 0: no record
};

TEST_F(RawDebugData, Lengths) {
  const LengthCase cases[] = {
      {"nothing", {}, 0},
      {"a byte less than a record", {Bytes(47)}, 0},
      {"a record, said to be a byte less", {.bytes = records(1), .length = 47}, 0},
      {"a record", {records(1)}, 1},
      {"two records and a part", {records(2) + Bytes(4, 0xFF)}, 2},
      {"a byte less than three", {records(2) + Bytes(47, 0xFF)}, 2},
      {"a byte less than the buffer", {records(31) + Bytes(47, 0xFF)}, 31},
      {"the buffer", {records(32)}, 32},
      {"more than the buffer", {records(40)}, 32},
      {"said to be more than the buffer", {.bytes = records(32), .length = 1537}, 32},
      {"said to be a record more", {.bytes = records(32), .length = 1584}, 32},
      {"said to be endless", {.bytes = records(32), .length = PTRDIFF_MAX}, 32},
  };
  for (const LengthCase& row : cases) {
    for (const Kind& kind : kKinds) {
      SCOPED_TRACE(std::string(row.name) + ", " + kind.name);
      reply(row.reply);
      const control::StateRecord state = ask(kind.handler, 3);
      if (row.count == 0) {
        EXPECT_EQ(state, nullptr);
        continue;
      }
      ASSERT_NE(state, nullptr);
      EXPECT_EQ(state->title, "KIP Profile 0 ;count=" + std::to_string(row.count) + " ;type=" + kind.name);
      EXPECT_EQ(parse(*state).value, linesOf(records(row.count)));
    }
  }
  EXPECT_THAT(logMessages(), IsEmpty());
}

TEST_F(RawDebugData, WhatTheDriverDidNotWrite_ReadsAsZeros) {
  reply({.bytes = record(7), .length = 96});
  const control::StateRecord state = ask(1, 3);
  ASSERT_NE(state, nullptr);
  EXPECT_EQ(parse(*state).value, linesOf(record(7) + Bytes(48)));
}

TEST_F(RawDebugData, RecordsWithoutALine_AreCountedAllTheSame) {
  reply({record(1) + kNotText + record(3)});
  control::StateRecord state = ask(49, 3);
  ASSERT_NE(state, nullptr);
  EXPECT_STREQ(state->title, "KIP Profile 0 ;count=3 ;type=kext");
  EXPECT_EQ(parse(*state).value, linesOf(record(1) + record(3)));

  reply({kNotText});
  state = ask(49, 3);
  ASSERT_NE(state, nullptr);
  EXPECT_STREQ(state->title, "KIP Profile 0 ;count=1 ;type=kext");
  EXPECT_EQ(parse(*state).value, Value{Array{}});
}

TEST_F(RawDebugData, Text_EndsAtItsFirstNUL) {
  Bytes bytes = record(1);
  bytes[0] = 8; // the type whose characters may be NULs
  reply({bytes});
  const std::string line = *linesOf(bytes).as<Array>()->front().as<std::string>();
  ASSERT_NE(line.find('\0'), std::string::npos);
  const control::StateRecord state = ask(1, 3);
  ASSERT_NE(state, nullptr);
  EXPECT_EQ(parse(*state).value, (Value{Array{{line.substr(0, line.find('\0'))}}}));
}

TEST_F(RawDebugData, OtherKinds_YieldNothingAndAskNobody) {
  reply({records(1)});
  control::startRecording();
  for (std::uint32_t kind : {0U, 4U, 5U, 255U, 0xFFFFFFFFU}) {
    EXPECT_EQ(handle(0, 32, kind), nullptr) << kind;
  }
  EXPECT_THAT(control::stopRecording(), IsEmpty());
  EXPECT_THAT(logMessages(), IsEmpty());
}

struct TitleCase {
  std::uint32_t index;
  std::uint32_t kind;
  const char* title;
};

TEST_F(RawDebugData, Titles) {
  reply({records(32)});
  const TitleCase cases[] = {
      {5, 2, "KIP Profile 5 ;count=32 ;type=kext"},
      {0, 1, "KIP Profile 0 ;count=32 ;type=fw"},
      {47, 3, "KIP Profile 47 ;count=32 ;type=err"},
      {0xFFFFFFFF, 2, "KIP Profile 4294967295 ;count=32 ;type=kext"},
  };
  for (const TitleCase& row : cases) {
    const control::StateRecord state = handle(row.index, 32, row.kind);
    ASSERT_NE(state, nullptr);
    EXPECT_STREQ(state->title, row.title);
  }
}

TEST_F(RawDebugData, Buffer_HasTheSizeThatWasAskedFor) {
  reply({records(40)});
  for (std::uint32_t count : {1U, 2U, 40U}) {
    const control::StateRecord state = handle(0, count, 2);
    EXPECT_EQ(kernel->capacity, std::size_t{count} * 48);
    ASSERT_NE(state, nullptr);
    EXPECT_EQ(parse(*state).value, linesOf(records(count)));
  }
  EXPECT_EQ(handle(0, 0, 2), nullptr) << "no room for any";
  EXPECT_EQ(kernel->capacity, 0U);
}

TEST_F(RawDebugData, Failures_AreLoggedByTheChannelAndOnceMore) {
  const std::string message = mach_error_string(kFailure);
  const Line own = assertionOnAnyLine("kr == 0", "", 0);
  for (const Kind& kind : kKinds) {
    SCOPED_TRACE(kind.name);
    FakeService& service = kind.kind == 1 ? *firmware : *kernel;
    service.openResult = kFailure;
    control::clearLog();
    EXPECT_EQ(ask(kind.handler, 3), nullptr);
    EXPECT_THAT(logMessages(), ElementsAre(assertionLine("kr == 0 ", message, kind.openLine, 0xE00002D5), own));

    service.openResult = 0;
    service.reply = {.bytes = records(1), .result = kFailure};
    control::clearLog();
    EXPECT_EQ(ask(kind.handler, 3), nullptr);
    EXPECT_THAT(logMessages(), ElementsAre(assertionLine("kr == 0 ", message, kind.callLine, 0xE00002D5), own));

    service.reply = {};
    control::failCall("IOServiceGetMatchingService", 1);
    control::clearLog();
    EXPECT_EQ(ask(kind.handler, 3), nullptr);
    control::clearFailures();
    EXPECT_THAT(logMessages(), ElementsAre(assertionLine("service", "", kind.serviceLine, 0), own));
  }
}

TEST_F(RawDebugData, ServiceIsGivenBackBeforeTheHandlersOwnLine) {
  kernel->reply = {.result = kFailure};
  const Line logged = testing::StartsWith("os_log(default, ");
  EXPECT_THAT(recordingOf([] { EXPECT_EQ(ask(49, 3), nullptr); }),
              ElementsAre("IOServiceNameMatching(TavikVELProfileDriver)",
                          "IOServiceGetMatchingService(IONameMatch=TavikVELProfileDriver)", "mach_task_self()",
                          "IOServiceOpen(TavikVELProfileDriver, 0x103, 0)", "IOConnectCallMethod(0x9, 0, 0, 1536)",
                          "mach_error_string(0xe00002d5)", logged, "IOServiceClose()",
                          "IOObjectRelease(TavikVELProfileDriver)", logged));
}

TEST_F(RawDebugData, EachLine_IsReleasedWhenItIsInTheArray) {
  reply({record(1) + kNotText + record(3)});
  std::vector<std::string> calls = recordingOf([] { ask(1, 3); });
  std::erase_if(calls, [](const std::string& call) {
    return !call.starts_with("CFArray") && !call.starts_with("CFRelease") && !call.starts_with("CFPropertyList");
  });
  EXPECT_THAT(calls,
              ElementsAre("CFArrayCreateMutable(default, 0)", "CFArrayAppendValue()", "CFRelease(CFString)",
                          "CFArrayAppendValue()", "CFRelease(CFString)", "CFPropertyListCreateData(default, 200, 0)",
                          "CFRelease(CFData)", "CFRelease(CFArray)"));
}

TEST_F(RawDebugData, NoArray_LogsAndYieldsNothing) {
  reply({records(1)});
  control::failCall("CFArrayCreateMutable", 1);
  EXPECT_EQ(ask(1, 3), nullptr);
  EXPECT_THAT(logMessages(), ElementsAre(assertionOnAnyLine("array", "", 0)));
}

TEST_F(RawDebugData, ListThatCannotBeSerialised_YieldsNothingUnlogged) {
  reply({records(1)});
  control::failCall("CFPropertyListCreateData", 1);
  EXPECT_EQ(ask(1, 3), nullptr);
  EXPECT_THAT(logMessages(), IsEmpty());
}

TEST_F(RawDebugData, AnyCallMayFail_NothingIsLeaked) {
  reply({record(1) + kNotText + record(3)});
  control::addRegistryEntry(
      {.name = "time",
       .className = "TavikVELTimesync",
       .properties = properties(
           {{"timesync",
             Ref<CFTypeRef>::adopt(properties({{"vel", cfNumber(1)}, {"calendar", cfNumber(1)}}).release())}})});
  for (const Kind& kind : kKinds) {
    EXPECT_GT(failEachCall([&] { ask(kind.handler, 3); }), 20U) << kind.name;
  }
  references = control::registryReferences(); // with those whose return was made to fail
  connections = control::openConnections();
}

} // namespace
} // namespace vel::test
