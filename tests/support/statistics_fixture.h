// A plug-in object on an empty platform, and what most of its tests need around it.
#pragma once

#include "TavikVELHIDStatistics.h"
#include "user_client.h"
#include <control/cf.h>
#include <control/hid.h>
#include <control/log.h>
#include <control/ref.h>
#include <control/registry.h>
#include <control/state.h>
#include <formats/state_record.h>

#include <gmock/gmock.h>

#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace vel::test {

using control::Ref;

// A code with a text of the system's, and one without.
inline constexpr auto kFailure = static_cast<IOReturn>(0xE00002D5); // busy
inline constexpr auto kNameless = static_cast<IOReturn>(0x12345);

// A dictionary of properties. [create: this]
Ref<CFDictionaryRef> properties(std::vector<std::pair<const char*, Ref<CFTypeRef>>> pairs);
Ref<CFTypeRef> cfString(const char* text);
Ref<CFTypeRef> cfNumber(std::int64_t value);

// The whole line of a failed check.
std::string assertionLine(const std::string& expression, const std::string& message, int line, std::uint32_t value);
// Matches the whole line of a failed check, with any line number: where the source's own line counts.
testing::Matcher<std::string> assertionOnAnyLine(const std::string& expression, const std::string& message,
                                                 std::uint32_t value);

// The messages in the log, which are all of the plug-in's log object.
std::vector<std::string> logMessages();

// Everything that is called and logged while the work runs, in one list (control/calls.h says how it is written), and
// the last of such a list; all of it if it is shorter.
std::vector<std::string> recordingOf(const std::function<void()>& work);
std::vector<std::string> lastOf(const std::vector<std::string>& calls, std::size_t count);
// Lists of calls put together.
std::vector<std::string> operator+(std::vector<std::string> a, const std::vector<std::string>& b);
std::vector<std::string> operator+(std::vector<std::string> a, const std::string& b);

// What a state record holds.
formats::StateRecord parse(const os_state_data_s& record);

// Does the work with its first call of the platform failing, then with its second, until none is left to fail, and
// expects that it leaves no object, registry reference or connection behind but the one whose return failed. Returns
// how many calls there were.
std::uint64_t failEachCall(const std::function<void()>& work);

// The log, the registry and all registrations are empty at the start of each test and at its end; the object, if the
// test leaves it alive, is released before them. The object is open and scheduled.
class StatisticsTest : public testing::Test {
public:
  StatisticsTest();
  ~StatisticsTest() override;

  // What a VEL service consists of; a test changes what it is about.
  struct Service {
    Ref<CFTypeRef> transport = cfString("VEL");
    std::vector<control::HIDUsage> usages;
    Ref<CFTypeRef> supportsTallyStore; // none
    bool isHIDDevice = true;
  };
  // Puts service, parent and device into the registry, each under the other, with the fake user clients in front, and
  // returns the HID service.
  Ref<IOHIDServiceRef> addService(const Service& service);
  // The same, registered with the plug-in.
  void registerService(const Service& service);
  // Makes the user clients as they are at the start: they have the interfaces and answer, and nothing was asked of
  // them.
  void resetUserClients();
  // The contexts that the plug-in keeps.
  std::vector<Context*> contexts() const;

  // The record of the state handler at this place, in the order of their registration; null for none.
  static control::StateRecord ask(std::size_t handler, std::uint32_t api);
  // Asks all state handlers and returns the titles of their records.
  std::vector<std::string> capture(std::uint32_t api);

  static const std::vector<control::HIDUsage> button;
  static const std::vector<control::HIDUsage> sensor;

  FakePlugIn driverPlugIn, devicePlugIn;
  FakeDriver driver;
  FakeDevice device;
  std::uint64_t serviceID = 0, parentID = 0, deviceID = 0, rootID = 0;
  dispatch_queue_t queue;
  TavikVELHIDStatistics* plugin; // null once a test has released it
};

} // namespace vel::test
