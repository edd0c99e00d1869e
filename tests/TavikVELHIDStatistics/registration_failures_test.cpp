// What can go wrong while a service is registered: what is logged, what is asked all the same, and what is left.

#include "support/statistics_fixture.h"
#include <control/calls.h>

// The linker sends the plug-in's new and delete here, so that a test sees which contexts live: where it wants them, the
// blocks of a context's size that were made and not deleted on this thread.
namespace {
thread_local std::vector<void*>* liveBlocks = nullptr;

void forget(const void* block) {
  if (liveBlocks != nullptr) {
    std::erase(*liveBlocks, block);
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

using Calls = std::vector<std::string>;

// What the user clients are asked when nothing fails,
const Calls kWholeDriverCalls = {"QueryInterface", "open(0)", "Release"};
const Calls kWholeDeviceCalls = {"QueryInterface", "open(0)", "setDispatchQueue", "setDataCallback", "Release"};
// and when they have no interface: the driver's plug-in is then left alone, the device's released.
const Calls kForgotten = {"QueryInterface"};
const Calls kReleased = {"QueryInterface", "Release"};

// What becomes of a service: what its user clients were asked, and how many registry references stay.
struct Outcome {
  bool kept;
  std::size_t references;
  Calls driverCalls;
  Calls deviceCalls;
};
Outcome kept(const Calls& driverCalls, const Calls& deviceCalls) {
  return {true, 2, driverCalls, deviceCalls};
}
// The context is deleted, but nothing that it held by then is given back.
Outcome abandoned(std::size_t references, const Calls& driverCalls = {}, const Calls& deviceCalls = {}) {
  return {false, references, driverCalls, deviceCalls};
}

// One row of what can go wrong: how, the lines that say so, and what becomes of the service.
struct FailureCase {
  const char* name;
  std::function<void(StatisticsTest&)> arrange;
  Calls log;
  Outcome outcome;
};

struct RegistrationFailures : StatisticsTest {};

TEST_F(RegistrationFailures, EndAsTheyMust) {
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
       kept({}, kWholeDeviceCalls)},
      {"driver gives no plug-in",
       [](Test& t) { t.driverPlugIn.createsPlugIn = false; },
       {},
       kept({}, kWholeDeviceCalls)},
      {"driver interface refused, yet stored",
       [](Test& t) { t.driverPlugIn.queryResult = E_NOINTERFACE; },
       {driverRefused},
       kept(kWholeDriverCalls, kWholeDeviceCalls)},
      {"driver interface refused",
       [](Test& t) {
         t.driverPlugIn.queryResult = E_NOINTERFACE;
         t.driverPlugIn.interface = nullptr;
       },
       {driverRefused, noDriver},
       kept(kForgotten, kWholeDeviceCalls)},
      {"driver interface missing",
       [](Test& t) { t.driverPlugIn.interface = nullptr; },
       {noDriver},
       kept(kForgotten, kWholeDeviceCalls)},
      {"driver does not open",
       [=](Test& t) { t.driver.openResult = code; },
       {assertionLine("kr == 0 ", "", 280, kCode)},
       abandoned(2, kWholeDriverCalls)},
      {"device plug-in cannot be created",
       [=](Test& t) { t.devicePlugIn.createResult = code; },
       {},
       kept(kWholeDriverCalls, {})},
      {"device gives no plug-in",
       [](Test& t) { t.devicePlugIn.createsPlugIn = false; },
       {},
       kept(kWholeDriverCalls, {})},
      {"device interface refused, yet stored",
       [](Test& t) { t.devicePlugIn.queryResult = E_NOINTERFACE; },
       {deviceRefused},
       kept(kWholeDriverCalls, kWholeDeviceCalls)},
      {"device interface refused",
       [](Test& t) {
         t.devicePlugIn.queryResult = E_NOINTERFACE;
         t.devicePlugIn.interface = nullptr;
       },
       {deviceRefused, noDevice},
       kept(kWholeDriverCalls, kReleased)},
      {"device interface missing",
       [](Test& t) { t.devicePlugIn.interface = nullptr; },
       {noDevice},
       kept(kWholeDriverCalls, kReleased)},
      {"device does not open",
       [=](Test& t) { t.device.openResult = code; },
       {},
       kept(kWholeDriverCalls, kWholeDeviceCalls)},
      {"no HID device",
       [](Test&) { control::failCall("IOHIDDeviceCreate", 1); },
       {assertionLine("context->_device._hid", "", 315, 0)},
       abandoned(2, kWholeDriverCalls, kWholeDeviceCalls)},
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

TEST_F(RegistrationFailures, Abandoned_NothingThatTheContextHeldIsGivenBack) {
  registerService({.usages = button, .isHIDDevice = false}); // the device's interface is open by then
  EXPECT_THAT(contexts(), IsEmpty());
  EXPECT_THAT(logMessages(), ElementsAre(assertionLine("context->_device._hid", "", 315, 0)));
  EXPECT_EQ(control::registryReferences(), 2U) << "service and device";
  EXPECT_FALSE(plugin->_rawDebugInstalled);
}

} // namespace
} // namespace vel::test
