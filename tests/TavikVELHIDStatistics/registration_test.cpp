// Which services are kept, which registry entries are found for them, and the calls that this takes.

#include "registration_outcome.h"
#include "support/statistics_fixture.h"
#include <control/calls.h>
#include <control/notify.h>
#include <control/queue.h>

#include <gmock/gmock.h>

#include <cstring>

namespace vel::test {
namespace {

using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;
using testing::SizeIs;

constexpr std::size_t kRawDebugHandlers = 48 + 8 + 48;

struct Registration : StatisticsTest {
  static std::size_t handlers() { return control::stateHandlers().size(); }
};

// The calls of a registration in their order, as they are recorded.
const std::vector<std::string> kClassification = {
    "IOHIDServiceCopyProperty(Transport)", "IOHIDServiceGetProperty(KIPSupportsTallyStore)",
    "IOHIDServiceConformsTo(0xc, 0x1)",    "IOHIDServiceConformsTo(0xb, 0x1)",
    "IOHIDServiceConformsTo(0xff00, 0x3)", "IOHIDServiceConformsTo(0xff00, 0x9)",
    "IOHIDServiceConformsTo(0xff00, 0xa)", "IOHIDServiceConformsTo(0x20, 0x31)",
};
const std::vector<std::string> kInterfaces = {
    "IORegistryEntryGetParentEntry(IOService)",
    "IORegistryEntryGetParentEntry(IOService)",
    "IOCreatePlugInInterfaceForService(3BC5CC87-845E-48AB-A9C2-9436001BA68A)",
    "IOCreatePlugInInterfaceForService(7ACF5332-1A35-4893-87CB-BA64E1887FAE)",
};

// With the user clients' calls in order, the allocators, and the entries of each call.
TEST_F(Registration, Button_CallsPlatformAndUserClientsInThisOrder) {
  Service service;
  service.usages = button;
  service.supportsTallyStore = Ref<CFTypeRef>::share(kCFBooleanTrue);
  auto hid = addService(service);
  const std::vector<std::string> calls = recordingOf([&] { plugin->registerService(hid.get()); });
  const std::string id = std::to_string(serviceID);
  const std::vector<std::string> expected =
      kClassification +
      std::vector<std::string>{
          "IOHIDServiceGetRegistryID()",
          "CFNumberGetValue(" + id + ", 4)",
          "IORegistryEntryIDMatching(" + id + ")",
          "IOServiceGetMatchingService(IORegistryEntryID=" + id + ")",
          "IORegistryEntryGetParentEntry(service, IOService)",
          "IORegistryEntryGetParentEntry(interface, IOService)",
          "CFUUIDGetConstantUUIDWithBytes(system, 3BC5CC87-845E-48AB-A9C2-9436001BA68A)",
          "CFUUIDGetConstantUUIDWithBytes(default, C244E858-109C-11D4-91D4-0050E4C6426F)",
          "IOCreatePlugInInterfaceForService(service, 3BC5CC87-845E-48AB-A9C2-9436001BA68A)",
          "CFUUIDGetConstantUUIDWithBytes(system, 5979993C-85F5-4D59-8593-FF9215DA47AD)",
          "driver plug-in.QueryInterface",
          "driver.open(0)",
          "driver plug-in.Release",
          "CFUUIDGetConstantUUIDWithBytes(system, 7ACF5332-1A35-4893-87CB-BA64E1887FAE)",
          "CFUUIDGetConstantUUIDWithBytes(default, C244E858-109C-11D4-91D4-0050E4C6426F)",
          "IOCreatePlugInInterfaceForService(device, 7ACF5332-1A35-4893-87CB-BA64E1887FAE)",
          "CFUUIDGetConstantUUIDWithBytes(system, 016469D8-773B-46AC-909E-F90C4A6E7577)",
          "device plug-in.QueryInterface",
          "device.open(0)",
          "device.setDispatchQueue",
          "device.setDataCallback",
          "device plug-in.Release",
          "IOHIDServiceConformsTo(0xc, 0x1)",
          "IOHIDDeviceCreate(default, device)",
      } +
      std::vector<std::string>(2 + kRawDebugHandlers, "os_state_add_handler()") +
      std::vector<std::string>{"CFArrayAppendValue()", "CFRelease(CFString)", "IOObjectRelease(interface)"};
  EXPECT_THAT(calls, ElementsAreArray(expected));
}

TEST_F(Registration, SecondSensor_CallsThePlatformInThisOrder) {
  registerService({.usages = sensor});
  auto hid = addService({.usages = sensor});
  control::startRecording();
  plugin->registerService(hid.get());
  const std::string id = std::to_string(serviceID);
  const std::vector<std::string> expected =
      kClassification +
      std::vector<std::string>{"IOHIDServiceGetRegistryID()", "CFNumberGetValue(4)",
                               "IORegistryEntryIDMatching(" + id + ")",
                               "IOServiceGetMatchingService(IORegistryEntryID=" + id + ")"} +
      kInterfaces + std::vector<std::string>{"os_state_add_handler()", "CFArrayAppendValue()", "IOObjectRelease()"};
  EXPECT_THAT(control::stopRecording(), ElementsAreArray(expected));
}

TEST_F(Registration, ServiceOfNeitherClass_IsAskedAllSixQuestionsAndIgnored) {
  auto hid = addService({.usages = {{0x01, 0x06}}});
  control::startRecording();
  plugin->registerService(hid.get());
  EXPECT_THAT(control::stopRecording(), ElementsAreArray(kClassification));
  EXPECT_THAT(contexts(), IsEmpty());
  EXPECT_EQ(handlers(), 0U);
  EXPECT_THAT(logMessages(), IsEmpty());
}

struct TransportCase {
  const char* name;
  Ref<CFTypeRef> transport;
  std::vector<std::string> log;
};

TEST_F(Registration, OtherTransports_AreIgnored) {
  const TransportCase cases[] = {
      {"none", {}, {}},
      {"another", cfString("SPI"), {}},
      {"a longer one", cfString("VEL2"), {}},
      {"a number", cfNumber(5), {assertionLine("CFGetTypeID(transport) == CFStringGetTypeID()", "", 230, 0)}},
      {"a boolean",
       Ref<CFTypeRef>::share(kCFBooleanTrue),
       {assertionLine("CFGetTypeID(transport) == CFStringGetTypeID()", "", 230, 0)}},
  };
  for (const TransportCase& row : cases) {
    control::clearLog();
    auto hid = addService({.transport = row.transport, .usages = button});
    const std::size_t count = row.transport ? control::retainCount(row.transport.get()) : 0;
    control::startRecording();
    plugin->registerService(hid.get());
    EXPECT_THAT(control::stopRecording(), ElementsAre("IOHIDServiceCopyProperty(Transport)")) << row.name;
    EXPECT_THAT(logMessages(), ElementsAreArray(row.log)) << row.name;
    EXPECT_THAT(contexts(), IsEmpty()) << row.name;
    if (row.transport) {
      EXPECT_EQ(control::retainCount(row.transport.get()), count) << row.name;
    }
  }
}

struct ClassCase {
  const char* name;
  std::vector<control::HIDUsage> usages;
  std::size_t handlers; // without the raw debug handlers
  bool supportsTallyStore;
  bool hasHIDDevice;

  StatisticsTest::Service service() const {
    return {.usages = usages,
            .supportsTallyStore = Ref<CFTypeRef>::share(supportsTallyStore ? kCFBooleanTrue : kCFBooleanFalse)};
  }
};

const ClassCase kClasses[] = {
    {"consumer control", {{0x0C, 0x01}}, 2, false, true},
    {"consumer control with analytics", {{0x0C, 0x01}}, 2, true, true},
    {"telephony alone is a button without reports", {{0x0B, 0x01}}, 0, false, false},
    {"analytics alone make a button without reports", {}, 0, true, false},
    {"accelerometer", {{0xFF00, 0x03}}, 1, false, false},
    {"gyro", {{0xFF00, 0x09}}, 1, false, false},
    {"compass", {{0xFF00, 0x0A}}, 1, false, false},
    {"pressure", {{0x20, 0x31}}, 1, false, false},
    {"button and sensor", {{0x0C, 0x01}, {0x20, 0x31}}, 3, false, true},
};

TEST_F(Registration, Classes_DecideWhichHandlersAreInstalled) {
  registerService({.usages = sensor}); // takes the raw debug handlers
  for (const ClassCase& row : kClasses) {
    const std::size_t before = handlers();
    const std::size_t kept = contexts().size();
    registerService(row.service());
    EXPECT_EQ(handlers(), before + row.handlers) << row.name;
    ASSERT_EQ(contexts().size(), kept + 1) << row.name;
    EXPECT_EQ(contexts().back()->_device._hid != nullptr, row.hasHIDDevice) << row.name;
  }
  EXPECT_THAT(logMessages(), IsEmpty());
}

TEST_F(Registration, FirstServiceOfAnyClass_BringsTheRawDebugHandlers) {
  for (const ClassCase& row : kClasses) {
    TavikVELHIDStatistics* fresh = TavikVELHIDStatistics::alloc(kCFAllocatorDefault);
    fresh->open(nullptr, 0);
    const std::size_t before = handlers();
    fresh->registerService(addService(row.service()).get());
    EXPECT_EQ(handlers(), before + row.handlers + kRawDebugHandlers) << row.name;
    fresh->Release();
  }
}

TEST_F(Registration, ButtonAndSensorInOne_ReportInThisOrder) {
  registerService({.usages = {{0x20, 0x31}, {0x0C, 0x01}}});
  driver.property = [](std::uint32_t) { return Reply{Bytes(4096)}; };
  EXPECT_THAT(capture(3), ElementsAre("ZORB Statistics", "ZORB assets", "SensorInfo"));
}

TEST_F(Registration, RawDebugHandlers_AreInstalledOncePerObject) {
  registerService({.usages = sensor});
  EXPECT_EQ(handlers(), 1 + kRawDebugHandlers);
  EXPECT_TRUE(plugin->_rawDebugInstalled);
  registerService({.usages = sensor});
  EXPECT_EQ(handlers(), 2 + kRawDebugHandlers);

  TavikVELHIDStatistics* other = TavikVELHIDStatistics::alloc(kCFAllocatorDefault);
  other->open(nullptr, 0);
  other->registerService(addService({.usages = sensor}).get());
  EXPECT_EQ(handlers(), 3 + 2 * kRawDebugHandlers);
  other->Release();
}

TEST_F(Registration, EveryHandler_IsInstalledOnThePlugInsQueue) {
  registerService({.usages = {{0x20, 0x31}, {0x0C, 0x01}}});
  ASSERT_EQ(handlers(), 3 + kRawDebugHandlers);
  for (std::size_t i = 0; i < handlers(); ++i) {
    EXPECT_EQ(control::stateHandlerQueue(control::stateHandlers()[i]), queue) << i;
  }
}

TEST_F(Registration, SameServiceTwice_GetsTwoContextsAndTwoSetsOfHandlers) {
  auto hid = addService({.usages = button});
  plugin->registerService(hid.get());
  plugin->registerService(hid.get());
  EXPECT_THAT(contexts(), SizeIs(2));
  EXPECT_EQ(handlers(), 4 + kRawDebugHandlers);
}

TEST_F(Registration, Context_HoldsWhatStandsBehindTheService) {
  registerService({.usages = button});
  ASSERT_THAT(contexts(), SizeIs(1));
  const Context& context = *contexts()[0];
  io_name_t name;
  ASSERT_EQ(IORegistryEntryGetName(context._driver._service, name), 0);
  EXPECT_STREQ(name, "service");
  ASSERT_EQ(IORegistryEntryGetName(context._device._service, name), 0);
  EXPECT_STREQ(name, "device");
  EXPECT_EQ(static_cast<void*>(context._driver._interface), &driver);
  EXPECT_EQ(static_cast<void*>(context._device._interface), &device);
  EXPECT_EQ(std::memcmp(&driverPlugIn.queried, "\x59\x79\x99\x3C\x85\xF5\x4D\x59\x85\x93\xFF\x92\x15\xDA\x47\xAD", 16),
            0);
  EXPECT_EQ(std::memcmp(&devicePlugIn.queried, "\x01\x64\x69\xD8\x77\x3B\x46\xAC\x90\x9E\xF9\x0C\x4A\x6E\x75\x77", 16),
            0);
  EXPECT_EQ(control::registryReferences(), 2U) << "service and device stay referenced, the parent does not";
}

TEST_F(Registration, AnalyticsHook_OnlyWithSupport) {
  registerService({.usages = button});
  EXPECT_EQ(device.calls, kDeviceCalls);
  device.calls.clear();
  registerService({.usages = button, .supportsTallyStore = Ref<CFTypeRef>::share(kCFBooleanTrue)});
  EXPECT_EQ(device.calls, kAnalyticsDeviceCalls);
  EXPECT_EQ(device.queue, queue);
  EXPECT_EQ(device.refcon, plugin);
  using Trampoline = void (*)(void*, void*, std::size_t);
  EXPECT_EQ(device.callback, static_cast<Trampoline>(TavikVELHIDStatistics::publishTSData));
}

TEST_F(Registration, LaterQueue_DoesNotReachEarlierHandlers) {
  registerService({.usages = sensor});
  dispatch_queue_t later = control::createQueue("later");
  plugin->scheduleWithDispatchQueue(later);
  registerService({.usages = sensor});
  const std::vector<os_state_handle_t> all = control::stateHandlers();
  EXPECT_EQ(control::stateHandlerQueue(all.front()), queue);
  EXPECT_EQ(control::stateHandlerQueue(all.back()), later);
  plugin->unscheduleFromDispatchQueue(later);
  EXPECT_EQ(handlers(), 2 + kRawDebugHandlers) << "installed handlers stay";
  control::dropNotifications();
  control::dropStateHandlers();
  control::destroyQueue(later);
}

TEST_F(Registration, WithoutDriverInterface_TheServiceIsKeptAndReadsAreNotReady) {
  driverPlugIn.createsPlugIn = false;
  registerService({.usages = button});
  ASSERT_THAT(contexts(), SizeIs(1));
  EXPECT_EQ(contexts()[0]->_driver._interface, nullptr);
  std::uint32_t value = 0;
  EXPECT_EQ(plugin->getProperty(contexts()[0], 215, &value, sizeof value, nullptr), static_cast<IOReturn>(0xE00002D8));
}

TEST_F(Registration, AssertionLines_AreAtTheDefaultLevel) {
  registerService({.transport = cfNumber(1), .usages = button});
  ASSERT_THAT(control::logLines(), SizeIs(1));
  EXPECT_EQ(control::logLines()[0].type, OS_LOG_TYPE_DEFAULT);
}

} // namespace
} // namespace vel::test
