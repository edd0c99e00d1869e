// The event-queue counters of the registry, as "APEvents".

#include "SensorInfo.h"
#include "StateData.h"
#include "support/statistics_fixture.h"
#include <control/calls.h>

#include <algorithm>

namespace vel::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

using Counters = std::vector<std::pair<const char*, Ref<CFTypeRef>>>;

// The properties of an entry with these counters.
Ref<CFDictionaryRef> debugState(Counters counters) {
  return properties({{"DebugState", Ref<CFTypeRef>::adopt(properties(std::move(counters)).release())}});
}

// Device, interface, driver and user client, each below the other; entries of the same rank that come later do not
// count.
struct DriverEventStats : StatisticsTest {
  DriverEventStats() {
    deviceID = control::addRegistryEntry({.name = "device"});
    control::clearLog();
  }
  ~DriverEventStats() override { EXPECT_EQ(control::registryReferences(), 0U); }

  void addEntries(int count) {
    interfaceID = count > 0 ? control::addRegistryEntry({.name = "interface", .parent = deviceID}) : 0;
    driverID = count > 1 ? control::addRegistryEntry({.name = "driver", .parent = interfaceID}) : 0;
    clientID = count > 2 ? control::addRegistryEntry({.name = "client", .parent = driverID}) : 0;
  }
  io_service_t deviceEntry() const {
    return IOServiceGetMatchingService(kIOMasterPortDefault, IORegistryEntryIDMatching(deviceID));
  }
  // What is called to add them, and logged.
  std::vector<std::string> recorded() const {
    const io_service_t entry = deviceEntry();
    const auto state = Ref<CFMutableDictionaryRef>::adopt(createDictionary());
    const auto calls = recordingOf([&] { copyDriverEventStats(state.get(), entry); });
    IOObjectRelease(entry);
    return calls;
  }
  // The "APEvents" that are added to an empty report; none if it stays empty.
  std::optional<std::string> events() const {
    const io_service_t entry = deviceEntry();
    const auto state = Ref<CFMutableDictionaryRef>::adopt(createDictionary());
    copyDriverEventStats(state.get(), entry);
    IOObjectRelease(entry);
    const CFIndex count = CFDictionaryGetCount(state.get());
    const void* text = CFDictionaryGetValue(state.get(), CFSTR("APEvents"));
    EXPECT_EQ(count, text != nullptr ? 1 : 0);
    return text != nullptr ? std::optional(control::utf8(static_cast<CFStringRef>(text))) : std::nullopt;
  }

  std::uint64_t interfaceID = 0, driverID = 0, clientID = 0;
};

constexpr const char* kNothingKnown = "-1 [enqueued=-1 dropped=-1; event_delta=0.000000 dropped_delta=0.000000]\n";

TEST_F(DriverEventStats, WithoutDebugState_ReportsTheStartValues) {
  addEntries(3);
  EXPECT_EQ(events(), kNothingKnown);
  EXPECT_THAT(logMessages(), IsEmpty());
}

struct CountersCase {
  const char* name;
  Ref<CFDictionaryRef> driver;
  Ref<CFDictionaryRef> client;
  const char* text;
};

TEST_F(DriverEventStats, Counters) {
  const CountersCase cases[] = {
      {"all of them", debugState({{"_num_events", cfNumber(7)}}),
       debugState({{"EnqueueEventCount", cfNumber(8)},
                   {"DroppedEventCount", cfNumber(9)},
                   {"LastEventTime", cfNumber(1500000000)},
                   {"LastDroppedEventTime", cfNumber(123456789012345)}}),
       "7 [enqueued=8 dropped=9; event_delta=1.500000 dropped_delta=123456.789012]\n"},
      {"the driver's alone",
       debugState({{"_num_events", cfNumber(7)}}),
       {},
       "7 [enqueued=-1 dropped=-1; event_delta=0.000000 dropped_delta=0.000000]\n"},
      {"the client's alone",
       {},
       debugState({{"EnqueueEventCount", cfNumber(8)}}),
       "-1 [enqueued=8 dropped=-1; event_delta=0.000000 dropped_delta=0.000000]\n"},
      {"each in the other's place",
       debugState({{"EnqueueEventCount", cfNumber(8)},
                   {"DroppedEventCount", cfNumber(9)},
                   {"LastEventTime", cfNumber(1)},
                   {"LastDroppedEventTime", cfNumber(1)}}),
       debugState({{"_num_events", cfNumber(7)}}), kNothingKnown},
      {"empty dictionaries", debugState({}), debugState({}), kNothingKnown},
      {"low 32 bits of wide numbers", debugState({{"_num_events", cfNumber(0x100000005)}}),
       debugState({{"EnqueueEventCount", cfNumber(0x700000006)}, {"DroppedEventCount", cfNumber(0x2FFFFFFFE)}}),
       "5 [enqueued=6 dropped=-2; event_delta=0.000000 dropped_delta=0.000000]\n"},
      {"counts above 16 bits", debugState({{"_num_events", cfNumber(70000)}}),
       debugState({{"EnqueueEventCount", cfNumber(0x7FFFFFFF)}, {"DroppedEventCount", cfNumber(65536)}}),
       "70000 [enqueued=2147483647 dropped=65536; event_delta=0.000000 dropped_delta=0.000000]\n"},
      {"the longest line", debugState({{"_num_events", cfNumber(INT32_MIN)}}),
       debugState({{"EnqueueEventCount", cfNumber(INT32_MIN)},
                   {"DroppedEventCount", cfNumber(INT32_MIN)},
                   {"LastEventTime", cfNumber(-1)},
                   {"LastDroppedEventTime", cfNumber(-1)}}),
       "-2147483648 [enqueued=-2147483648 dropped=-2147483648; event_delta=18446744073.709553 "
       "dropped_delta=18446744073.709553]\n"},
      {"counts are signed", debugState({{"_num_events", cfNumber(0x80000000)}}),
       debugState({{"EnqueueEventCount", cfNumber(0xFFFFFFFF)}, {"DroppedEventCount", cfNumber(-3)}}),
       "-2147483648 [enqueued=-1 dropped=-3; event_delta=0.000000 dropped_delta=0.000000]\n"},
      {"times are not signed",
       {},
       debugState({{"LastEventTime", cfNumber(-1)}, {"LastDroppedEventTime", cfNumber(INT64_MIN)}}),
       "-1 [enqueued=-1 dropped=-1; event_delta=18446744073.709553 dropped_delta=9223372036.854776]\n"},
      {"values of other kinds", debugState({{"_num_events", cfString("7")}}),
       debugState({{"EnqueueEventCount", Ref<CFTypeRef>::share(kCFBooleanTrue)},
                   {"DroppedEventCount", cfString("9")},
                   {"LastEventTime", cfString("1")},
                   {"LastDroppedEventTime", cfString("1")}}),
       kNothingKnown},
      {"no dictionaries", properties({{"DebugState", cfNumber(7)}}), properties({{"DebugState", cfString("8")}}),
       kNothingKnown},
      {"outside of DebugState", properties({{"_num_events", cfNumber(7)}}),
       properties({{"EnqueueEventCount", cfNumber(8)}}), kNothingKnown},
  };
  addEntries(3);
  for (const CountersCase& row : cases) {
    control::setRegistryProperties(driverID, row.driver);
    control::setRegistryProperties(clientID, row.client);
    EXPECT_EQ(events(), row.text) << row.name;
  }
  EXPECT_THAT(logMessages(), IsEmpty());
}

TEST_F(DriverEventStats, OnlyTheFirstChildrenCount) {
  addEntries(3);
  const Ref<CFDictionaryRef> other = debugState({{"_num_events", cfNumber(7)}, {"EnqueueEventCount", cfNumber(8)}});
  control::setRegistryProperties(deviceID, other);
  control::setRegistryProperties(interfaceID, other);
  control::addRegistryEntry({.name = "client 2", .properties = other, .parent = driverID});
  control::addRegistryEntry({.name = "below the client", .properties = other, .parent = clientID});
  const std::uint64_t driver2 =
      control::addRegistryEntry({.name = "driver 2", .properties = other, .parent = interfaceID});
  control::addRegistryEntry({.name = "client of driver 2", .properties = other, .parent = driver2});
  control::addRegistryEntry({.name = "interface 2", .properties = other, .parent = deviceID});
  EXPECT_EQ(events(), kNothingKnown);
}

TEST_F(DriverEventStats, MissingEntry_AddsNothing) {
  const char* const expressions[] = {"interface", "driver", "uc"};
  for (int count = 0; count < 3; ++count) {
    control::resetRegistry();
    deviceID = control::addRegistryEntry({.name = "device"});
    addEntries(count);
    control::clearLog();
    EXPECT_EQ(events(), std::nullopt);
    EXPECT_THAT(logMessages(), ElementsAre(assertionOnAnyLine(expressions[count], "", 0)));
    EXPECT_EQ(control::registryReferences(), 0U);
  }
}

TEST_F(DriverEventStats, EntryThatCannotBeReached_CountsAsMissing) {
  const char* const expressions[] = {"interface", "driver", "uc"};
  addEntries(3);
  for (std::uint64_t nth = 1; nth <= 3; ++nth) {
    control::clearLog();
    control::failCall("IORegistryEntryGetChildEntry", nth);
    EXPECT_EQ(events(), std::nullopt);
    control::clearFailures();
    EXPECT_THAT(logMessages(), ElementsAre(assertionOnAnyLine(expressions[nth - 1], "", 0)));
  }
}

TEST_F(DriverEventStats, CallsInTheirOrder_TheDriversStateBeforeTheClients) {
  addEntries(3);
  control::setRegistryProperties(driverID, debugState({{"_num_events", cfNumber(7)}}));
  control::setRegistryProperties(clientID, debugState({{"EnqueueEventCount", cfNumber(8)},
                                                       {"DroppedEventCount", cfNumber(9)},
                                                       {"LastEventTime", cfNumber(10)},
                                                       {"LastDroppedEventTime", cfNumber(11)}}));
  EXPECT_THAT(recorded(),
              ElementsAre("IORegistryEntryGetChildEntry(device, IOService)",
                          "IORegistryEntryGetChildEntry(interface, IOService)",
                          "IORegistryEntryGetChildEntry(driver, IOService)",
                          "IORegistryEntryCreateCFProperty(driver, DebugState, default)", "CFNumberGetValue(7, 3)",
                          "CFRelease(CFDictionary)", "IORegistryEntryCreateCFProperty(client, DebugState, default)",
                          "CFNumberGetValue(8, 4)", "CFNumberGetValue(9, 3)", "CFNumberGetValue(10, 4)",
                          "CFNumberGetValue(11, 4)",
                          "CFStringCreateWithCString(default, 7 [enqueued=8 dropped=9; event_delta=0.000000 "
                          "dropped_delta=0.000000]\n, 0x600)",
                          "CFRelease(CFString)", "CFRelease(CFDictionary)", "IOObjectRelease(client)",
                          "IOObjectRelease(driver)", "IOObjectRelease(interface)"));
}

TEST_F(DriverEventStats, MissingEntry_IsLoggedAndThenWhatWasFoundIsReleased) {
  const std::vector<std::string> walk = {"IORegistryEntryGetChildEntry(device, IOService)",
                                         "IORegistryEntryGetChildEntry(interface, IOService)",
                                         "IORegistryEntryGetChildEntry(driver, IOService)"};
  const std::vector<std::string> releases = {"IOObjectRelease(driver)", "IOObjectRelease(interface)"};
  for (std::ptrdiff_t count = 0; count < 3; ++count) {
    control::resetRegistry();
    deviceID = control::addRegistryEntry({.name = "device"});
    addEntries(static_cast<int>(count));
    const std::vector<std::string> calls = recorded();
    const auto logged = std::find_if(calls.begin(), calls.end(),
                                     [](const std::string& call) { return call.starts_with("os_log(default, "); });
    ASSERT_NE(logged, calls.end());
    EXPECT_EQ(std::vector<std::string>(calls.begin(), logged),
              std::vector<std::string>(walk.begin(), walk.begin() + count + 1));
    EXPECT_EQ(std::vector<std::string>(logged + 1, calls.end()), lastOf(releases, static_cast<std::size_t>(count)));
  }
}

TEST_F(DriverEventStats, DebugState_IsReleased) {
  addEntries(3);
  const auto counters = properties({{"_num_events", cfNumber(7)}});
  control::setRegistryProperties(
      driverID, properties({{"DebugState", Ref<CFTypeRef>::share(static_cast<CFTypeRef>(counters.get()))}}));
  const std::size_t count = control::retainCount(counters.get());
  EXPECT_NE(events(), std::nullopt);
  EXPECT_EQ(control::retainCount(counters.get()), count);
}

TEST_F(DriverEventStats, AnyCallMayFail_NothingIsLeaked) {
  addEntries(3);
  control::setRegistryProperties(driverID, debugState({{"_num_events", cfNumber(7)}}));
  control::setRegistryProperties(clientID, debugState({{"EnqueueEventCount", cfNumber(8)}}));
  const io_service_t entry = deviceEntry();
  EXPECT_GT(failEachCall([&] {
              if (const auto state = Ref<CFMutableDictionaryRef>::adopt(createDictionary())) {
                copyDriverEventStats(state.get(), entry);
              }
            }),
            10U);
  control::resetRegistry(); // some returns were made to fail
}

} // namespace
} // namespace vel::test
