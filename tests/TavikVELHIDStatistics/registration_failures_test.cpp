// Failures while a service is registered: what is logged, which calls still happen, and what remains.

#include "registration_outcome.h"
#include "support/statistics_fixture.h"
#include <control/calls.h>

// The linker sends the plug-in's new and delete here, so that a test sees which contexts live: where it wants them, the
// blocks of a context's size that were made and not deleted on this thread.
namespace {
thread_local std::vector<void*>* liveBlocks = nullptr;

void forget(const void* block) {
  if (liveBlocks != nullptr && std::erase(*liveBlocks, block) != 0) {
    vel::control::addToRecording("delete context");
  }
}
} // namespace
extern "C" {
void* __real__Znwm(std::size_t size);
void __real__ZdlPv(void* block);
void __real__ZdlPvm(void* block, std::size_t size);
void* __wrap__Znwm(std::size_t size);
void __wrap__ZdlPv(void* block);
void __wrap__ZdlPvm(void* block, std::size_t size);
}
void* __wrap__Znwm(std::size_t size) {
  void* block = __real__Znwm(size);
  if (liveBlocks != nullptr && size == sizeof(Context)) {
    liveBlocks->push_back(block);
  }
  return block;
}
void __wrap__ZdlPv(void* block) {
  forget(block);
  __real__ZdlPv(block);
}
void __wrap__ZdlPvm(void* block, std::size_t size) {
  forget(block);
  __real__ZdlPvm(block, size);
}

namespace vel::test {
namespace {

using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;

// One failure: its cause, its log lines, and what becomes of the service.
struct FailureCase {
  const char* name;
  std::function<void(StatisticsTest&)> arrange;
  Calls log;
  Outcome outcome;
};

struct RegistrationFailures : StatisticsTest {};

TEST_F(RegistrationFailures, LogTheirLineAndKeepOrDropTheService) {
  using Test = StatisticsTest;
  constexpr std::uint32_t kCode = 0xE00002BE;
  const auto code = static_cast<IOReturn>(kCode);
  const std::string status = "((HRESULT)(Status) >= 0)";
  const std::string driverRefused = assertionLine(status, "", 275, 0);
  const std::string noDriver = assertionLine("context->_driver._interface", "", 276, 0);
  const std::string deviceRefused = assertionLine(status, "", 292, 0);
  const std::string noDevice = assertionLine("context->_device._interface", "", 293, 0);
  const FailureCase cases[] = {
      {"not in the registry",
       [](Test&) { control::resetRegistry(); },
       {assertionLine("context->_driver._service", "", 255, 0)},
       abandoned(0)},
      {"parent cannot be read",
       [=](Test& t) { control::breakParent(t.serviceID, code); },
       {assertionLine("kr == 0 ", "", 262, kCode)},
       abandoned(1)},
      {"no parent",
       [](Test& t) { control::breakParent(t.serviceID, 0); },
       {assertionLine("parent", "", 263, 0)},
       abandoned(1)},
      {"grandparent cannot be read",
       [=](Test& t) { control::breakParent(t.parentID, code); },
       {assertionLine("kr == 0 ", "", 267, kCode)},
       abandoned(1)},
      {"no grandparent",
       [](Test& t) { control::breakParent(t.parentID, 0); },
       {assertionLine("context->_device._service", "", 268, 0)},
       abandoned(1)},
      {"driver plug-in cannot be created",
       [=](Test& t) { t.driverPlugIn.createResult = code; },
       {},
       kept({}, kAnalyticsDeviceCalls)},
      {"driver gives no plug-in",
       [](Test& t) { t.driverPlugIn.createsPlugIn = false; },
       {},
       kept({}, kAnalyticsDeviceCalls)},
      {"driver interface refused, yet stored",
       [](Test& t) { t.driverPlugIn.queryResult = E_NOINTERFACE; },
       {driverRefused},
       kept(kDriverCalls, kAnalyticsDeviceCalls)},
      {"driver interface refused",
       [](Test& t) {
         t.driverPlugIn.queryResult = E_NOINTERFACE;
         t.driverPlugIn.interface = nullptr;
       },
       {driverRefused, noDriver},
       kept(kForgotten, kAnalyticsDeviceCalls)},
      {"driver interface missing",
       [](Test& t) { t.driverPlugIn.interface = nullptr; },
       {noDriver},
       kept(kForgotten, kAnalyticsDeviceCalls)},
      {"driver does not open",
       [=](Test& t) { t.driver.openResult = code; },
       {assertionLine("kr == 0 ", "", 280, kCode)},
       abandoned(2, kDriverCalls)},
      {"device plug-in cannot be created",
       [=](Test& t) { t.devicePlugIn.createResult = code; },
       {},
       kept(kDriverCalls, {})},
      {"device gives no plug-in", [](Test& t) { t.devicePlugIn.createsPlugIn = false; }, {}, kept(kDriverCalls, {})},
      {"device interface refused, yet stored",
       [](Test& t) { t.devicePlugIn.queryResult = E_NOINTERFACE; },
       {deviceRefused},
       kept(kDriverCalls, kAnalyticsDeviceCalls)},
      {"device interface refused",
       [](Test& t) {
         t.devicePlugIn.queryResult = E_NOINTERFACE;
         t.devicePlugIn.interface = nullptr;
       },
       {deviceRefused, noDevice},
       kept(kDriverCalls, kReleased)},
      {"device interface missing",
       [](Test& t) { t.devicePlugIn.interface = nullptr; },
       {noDevice},
       kept(kDriverCalls, kReleased)},
      {"device plug-in stored despite a failure",
       [=](Test& t) {
         t.devicePlugIn.createResult = code;
         t.devicePlugIn.storesDespiteFailure = true;
       },
       {},
       kept(kDriverCalls, {"Release"})}, // by the clean-up, which finds it
      {"driver plug-in stored despite a failure",
       [=](Test& t) {
         t.driverPlugIn.createResult = code;
         t.driverPlugIn.storesDespiteFailure = true;
       },
       {},
       kept({}, kAnalyticsDeviceCalls)}, // forgotten: the device's takes its place
      {"device does not open",
       [=](Test& t) { t.device.openResult = code; },
       {},
       kept(kDriverCalls, kAnalyticsDeviceCalls)},
      {"no HID device",
       [](Test&) { control::failCall("IOHIDDeviceCreate", 1); },
       {assertionLine("context->_device._hid", "", 315, 0)},
       abandoned(2, kDriverCalls, kAnalyticsDeviceCalls)},
  };
  for (const auto& [name, arrange, log, outcome] : cases) {
    SCOPED_TRACE(name);
    resetUserClients();
    control::clearLog();
    const Service service{.usages = button, .supportsTallyStore = Ref<CFTypeRef>::share(kCFBooleanTrue)};
    auto hid = addService(service);
    const std::size_t transportCount = control::retainCount(service.transport.get());
    const std::size_t references = control::registryReferences();
    const std::size_t handlers = control::stateHandlers().size();
    const std::size_t count = contexts().size();
    arrange(*this);
    std::vector<void*> blocks;
    liveBlocks = &blocks;
    plugin->registerService(hid.get());
    liveBlocks = nullptr;
    control::clearFailures();
    EXPECT_THAT(logMessages(), ElementsAreArray(log));
    EXPECT_EQ(driver.calls, outcome.driverCalls);
    EXPECT_EQ(device.calls, outcome.deviceCalls);
    EXPECT_EQ(control::registryReferences(), references + outcome.references);
    EXPECT_EQ(control::retainCount(service.transport.get()), transportCount);
    EXPECT_EQ(control::stateHandlers().size() > handlers, outcome.kept);
    ASSERT_EQ(contexts().size(), count + (outcome.kept ? 1 : 0));
    EXPECT_EQ(blocks, outcome.kept ? std::vector<void*>{contexts().back()} : std::vector<void*>{});
  }
}

// How a registration ends: the last of everything that was recorded.
struct EndingCase {
  const char* name;
  std::function<void(StatisticsTest&, StatisticsTest::Service&)> arrange;
  Calls ending;
};

TEST_F(RegistrationFailures, LogLines_ComeBeforeTheCleanUp) {
  using Test = StatisticsTest;
  constexpr std::uint32_t kCode = 0xE00002BE;
  const auto code = static_cast<IOReturn>(kCode);
  const auto line = [](const std::string& expression, int number, std::uint32_t value = 0) {
    return "os_log(default, " + assertionLine(expression, "", number, value) + ")";
  };
  const std::string transport = "CFRelease(CFString)";
  const std::string parent = "IOObjectRelease(interface)";
  const std::string context = "delete context";
  const EndingCase cases[] = {
      {"no string",
       [](Test&, Service& service) { service.transport = cfNumber(1); },
       {"IOHIDServiceCopyProperty(Transport)", line("CFGetTypeID(transport) == CFStringGetTypeID()", 230),
        "CFRelease(CFNumber)"}},
      {"another transport",
       [](Test&, Service& service) { service.transport = cfString("SPI"); },
       {"IOHIDServiceCopyProperty(Transport)", transport}},
      {"neither class",
       [](Test&, Service& service) { service.usages = {}; },
       {"IOHIDServiceConformsTo(0x20, 0x31)", transport}},
      {"not in the registry",
       [](Test&, Service&) { control::failCall("IOServiceGetMatchingService", 1); },
       {line("context->_driver._service", 255), transport, context}},
      {"parent cannot be read",
       [=](Test&, Service&) { control::failCall("IORegistryEntryGetParentEntry", 1, control::Failing::once, code); },
       {line("kr == 0 ", 262, kCode), transport, context}},
      {"grandparent cannot be read",
       [=](Test&, Service&) { control::failCall("IORegistryEntryGetParentEntry", 2, control::Failing::once, code); },
       {line("kr == 0 ", 267, kCode), transport, parent, context}},
      {"driver does not open",
       [=](Test& t, Service&) { t.driver.openResult = code; },
       {"driver.open(0)", line("kr == 0 ", 280, kCode), transport, "driver plug-in.Release", parent, context}},
      {"device plug-in stored despite a failure",
       [=](Test& t, Service&) {
         t.devicePlugIn.createResult = code;
         t.devicePlugIn.storesDespiteFailure = true;
       },
       {"os_state_add_handler()", "CFArrayAppendValue()", transport, "device plug-in.Release", parent}},
      {"no HID device",
       [](Test&, Service& service) { service.isHIDDevice = false; },
       {"IOHIDDeviceCreate(default, device)", line("context->_device._hid", 315), transport, parent, context}},
  };
  for (const EndingCase& row : cases) {
    SCOPED_TRACE(row.name);
    resetUserClients();
    Service service{.usages = button};
    row.arrange(*this, service);
    auto hid = addService(service);
    std::vector<void*> blocks;
    liveBlocks = &blocks;
    const Calls all = recordingOf([&] { plugin->registerService(hid.get()); });
    liveBlocks = nullptr;
    control::clearFailures();
    EXPECT_THAT(lastOf(all, row.ending.size()), ElementsAreArray(row.ending));
  }
}

TEST_F(RegistrationFailures, Abandoned_NothingThatTheContextHeldIsGivenBack) {
  registerService({.usages = button, .isHIDDevice = false}); // the device's interface is open by then
  EXPECT_THAT(contexts(), IsEmpty());
  EXPECT_THAT(logMessages(), ElementsAre(assertionLine("context->_device._hid", "", 315, 0)));
  EXPECT_EQ(control::registryReferences(), 2U) << "service and device";
  EXPECT_FALSE(plugin->_rawDebugInstalled);
}

} // namespace
} // namespace vel::test
