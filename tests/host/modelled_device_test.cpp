// A modelled device's user clients, called as a plug-in calls them.
#include <control/queue.h>
#include <host/modelled_device.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <future>
#include <thread>

namespace {

using namespace vel::formats;
using namespace vel::host;

Bytes bytes(std::string_view text) {
  const auto* begin = reinterpret_cast<const std::byte*>(text.data());
  return {begin, begin + text.size()};
}

using PlugIn = IOCFPlugInInterface**;

HRESULT query(PlugIn plugIn, CFUUIDRef id, void** interface) {
  return (*plugIn)->QueryInterface(plugIn, CFUUIDGetUUIDBytes(id), interface);
}

PlugIn createDriverPlugIn(ModelledDevice& device) {
  PlugIn plugIn = nullptr;
  EXPECT_EQ(device.createDriverPlugIn(&plugIn), kIOReturnSuccess);
  return plugIn;
}

VELDriverInterface** createDriver(ModelledDevice& device) {
  PlugIn plugIn = createDriverPlugIn(device);
  void* interface = nullptr;
  EXPECT_EQ(query(plugIn, kVELDriverInterfaceID, &interface), S_OK);
  (*plugIn)->Release(plugIn);
  return static_cast<VELDriverInterface**>(interface);
}

VELDeviceInterface** createDevice(ModelledDevice& device) {
  PlugIn plugIn = nullptr;
  EXPECT_EQ(device.createDevicePlugIn(&plugIn), kIOReturnSuccess);
  void* interface = nullptr;
  EXPECT_EQ(query(plugIn, kVELDeviceInterfaceID, &interface), S_OK);
  (*plugIn)->Release(plugIn);
  return static_cast<VELDeviceInterface**>(interface);
}

TEST(ModelledPlugIn, ReferencesAreCounted) {
  ModelledDevice device(DriverModel{}, DeviceUserClientModel{});
  EXPECT_EQ(device.references(), References());
  PlugIn plugIn = createDriverPlugIn(device);
  EXPECT_EQ((*plugIn)->AddRef(plugIn), 2U);
  void* driver = nullptr;
  query(plugIn, kVELDriverInterfaceID, &driver);
  EXPECT_EQ(device.references(), (References{.plugIns = 2, .drivers = 1, .devices = 0}));
  EXPECT_EQ((*plugIn)->Release(plugIn), 1U);
  EXPECT_EQ((*plugIn)->Release(plugIn), 0U);
  auto** const interface = static_cast<VELDriverInterface**>(driver);
  EXPECT_EQ((*interface)->Release(interface), 0U);
  EXPECT_EQ(device.references(), References());
}

TEST(ModelledPlugIn, AnswersForItselfAndItsInterfaceAlone) {
  ModelledDevice device(DriverModel{}, std::nullopt);
  PlugIn plugIn = createDriverPlugIn(device);
  void* interface = nullptr;
  EXPECT_EQ(query(plugIn, IUnknownUUID, &interface), S_OK);
  EXPECT_EQ(interface, plugIn);
  EXPECT_EQ(query(plugIn, kIOCFPlugInInterfaceID, &interface), S_OK);
  EXPECT_EQ(interface, plugIn);
  EXPECT_EQ(query(plugIn, kVELDeviceInterfaceID, &interface), E_NOINTERFACE);
  EXPECT_EQ(interface, nullptr);
  EXPECT_EQ(device.references().plugIns, 3U);
}

using ModelledPlugInDeathTest = testing::Test;

TEST_F(ModelledPlugInDeathTest, UseAfterTheLastReference_EndsTheProcess) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  ModelledDevice device(DriverModel{}, std::nullopt);
  PlugIn plugIn = createDriverPlugIn(device);
  (*plugIn)->Release(plugIn);
  EXPECT_DEATH((*plugIn)->Release(plugIn), "modelled device: an object without references was used");
}

struct PlugInCase {
  const char* name;
  PlugInModel model;
  IOReturn created;
  bool yields;
  HRESULT queried;
  bool hasInterface;
};

class PlugInBehaviour : public testing::TestWithParam<PlugInCase> {};

TEST_P(PlugInBehaviour, IsThatOfTheModel) {
  const PlugInCase& row = GetParam();
  ModelledDevice device(DriverModel{row.model, {}}, DeviceUserClientModel{row.model, {}});
  struct Side {
    IOReturn (ModelledDevice::*create)(PlugIn*);
    CFUUIDRef id;
  };
  for (const Side& side : {Side{&ModelledDevice::createDriverPlugIn, kVELDriverInterfaceID},
                           Side{&ModelledDevice::createDevicePlugIn, kVELDeviceInterfaceID}}) {
    PlugIn plugIn = nullptr;
    EXPECT_EQ((device.*side.create)(&plugIn), row.created);
    ASSERT_EQ(plugIn != nullptr, row.yields);
    if (plugIn != nullptr) {
      void* interface = nullptr;
      EXPECT_EQ(query(plugIn, side.id, &interface), row.queried);
      EXPECT_EQ(interface != nullptr, row.hasInterface);
    }
  }
}

const PlugInCase plugInCases[] = {
    {"Good", {}, 0, true, S_OK, true},
    {"CreatingFails",
     {.createResult = kIOReturnNoResources, .yieldsPlugIn = false},
     kIOReturnNoResources,
     false,
     0,
     false},
    {"CreatingYieldsNone", {.yieldsPlugIn = false}, 0, false, 0, false},
    {"NoInterface", {.hasInterface = false, .queryResult = E_NOINTERFACE}, 0, true, E_NOINTERFACE, false},
    {"SuccessWithoutInterface", {.hasInterface = false}, 0, true, S_OK, false},
    {"FailureWithInterface", {.queryResult = E_NOINTERFACE}, 0, true, E_NOINTERFACE, true},
};

INSTANTIATE_TEST_SUITE_P(ModelledPlugIn, PlugInBehaviour, testing::ValuesIn(plugInCases),
                         [](const auto& info) { return info.param.name; });

TEST(ModelledInterfaces, OpenAnswerAsTheModelSays) {
  ModelledDevice device(DriverModel{{.openResult = kIOReturnBusy}, {}},
                        DeviceUserClientModel{{.openResult = kIOReturnNotPermitted}, {}});
  auto** const driver = createDriver(device);
  EXPECT_EQ((*driver)->open(driver, 0), kIOReturnBusy);
  auto** const deviceInterface = createDevice(device);
  EXPECT_EQ((*deviceInterface)->open(deviceInterface, 0), kIOReturnNotPermitted);
}

class ModelledDriver : public testing::Test {
protected:
  ModelledDevice device{
      DriverModel{{},
                  {.properties = {{5, {{.content = bytes("property")}, {.result = 3}}}},
                   .commands = {{10, {{.content = bytes("ten")}}}, {57, {{.content = bytes("clients")}}}}}},
      std::nullopt};
  VELDriverInterface** driver = createDriver(device);
  std::uint32_t property = 5;
  char output[8] = {};
  std::size_t size = sizeof output;
};

TEST_F(ModelledDriver, Command10WithFourBytes_ReadsAProperty) {
  EXPECT_EQ((*driver)->command(driver, 10, &property, 4, output, &size), 0);
  EXPECT_EQ(size, 8U);
  EXPECT_EQ(std::string_view(output, 8), "property");
  EXPECT_EQ((*driver)->command(driver, 10, &property, 4, output, &size), 3);
}

TEST_F(ModelledDriver, Command10WithOtherInput_IsACommand) {
  EXPECT_EQ((*driver)->command(driver, 10, &property, 3, output, &size), 0);
  EXPECT_EQ(std::string_view(output, size), "ten");
}

TEST_F(ModelledDriver, Command) {
  EXPECT_EQ((*driver)->command(driver, 57, nullptr, 0, output, &size), 0);
  EXPECT_EQ(std::string_view(output, size), "clients");
}

TEST_F(ModelledDriver, NoOutput_IsNoRoom) {
  EXPECT_EQ((*driver)->command(driver, 57, nullptr, 0, nullptr, &size), 0);
  EXPECT_EQ(size, 0U);
  EXPECT_EQ((*driver)->command(driver, 57, nullptr, 0, output, nullptr), 0);
  EXPECT_EQ(output[0], '\0');
}

class Analytics : public testing::Test {
protected:
  Analytics() {
    (*interface)->setDispatchQueue(interface, queue);
    (*interface)->setDataCallback(interface, receive, this);
  }
  ~Analytics() override { vel::control::destroyQueue(queue); }

  static void receive(void* refcon, void* data, std::size_t count) {
    auto& self = *static_cast<Analytics*>(refcon);
    EXPECT_TRUE(vel::control::onQueue(self.queue));
    self.received.emplace_back(static_cast<const char*>(data), count * 7);
  }

  ModelledDevice device{std::nullopt, DeviceUserClientModel{}};
  VELDeviceInterface** interface = createDevice(device);
  dispatch_queue_t queue = vel::control::createQueue("analytics");
  std::vector<std::string> received;
};

TEST_F(Analytics, BatchesArriveInOrderOnTheQueueCountedInEntries) {
  EXPECT_TRUE(device.deliverAnalytics(bytes("1234567abcdefg")));
  EXPECT_TRUE(device.deliverAnalytics(bytes("ABCDEFG")));
  vel::control::drain(queue);
  EXPECT_THAT(received, testing::ElementsAre("1234567abcdefg", "ABCDEFG"));
}

TEST_F(Analytics, WhatIsToHappenAroundTheCallback_HappensOnTheQueueAroundTheCallback) {
  const auto around = [&](const auto& call) {
    EXPECT_TRUE(vel::control::onQueue(queue));
    received.emplace_back("before");
    call();
    received.emplace_back("after");
  };
  EXPECT_TRUE(device.deliverAnalytics(bytes("1234567"), around));
  vel::control::drain(queue);
  EXPECT_THAT(received, testing::ElementsAre("before", "1234567", "after"));
}

TEST_F(Analytics, DroppedCallback_IsNotCalledForWhatIsQueued) {
  std::promise<void> queued;
  vel::control::async(queue, [&] {
    queued.get_future().wait();
    device.dropCallback();
  });
  EXPECT_TRUE(device.deliverAnalytics(bytes("1234567")));
  EXPECT_TRUE(device.deliverAnalytics(bytes("1234567"), [&](const auto&) { received.emplace_back("around"); }));
  queued.set_value();
  vel::control::drain(queue);
  EXPECT_THAT(received, testing::ElementsAre());
  EXPECT_FALSE(device.hasCallback());
}

TEST_F(Analytics, WithoutCallbackOrQueue_NothingIsDelivered) {
  (*interface)->setDispatchQueue(interface, nullptr);
  EXPECT_FALSE(device.deliverAnalytics(bytes("1234567")));
  (*interface)->setDispatchQueue(interface, queue);
  (*interface)->setDataCallback(interface, nullptr, nullptr);
  EXPECT_FALSE(device.deliverAnalytics(bytes("1234567")));
}

TEST_F(Analytics, CallbackMayBeSetWhileBatchesAreUnderWay) {
  std::thread other([this] {
    for (int i = 0; i < 1000; ++i) {
      device.deliverAnalytics(bytes("1234567"));
    }
  });
  for (int i = 0; i < 1000; ++i) {
    (*interface)->setDataCallback(interface, receive, this);
  }
  other.join();
  vel::control::drain(queue);
  EXPECT_EQ(received.size(), 1000U);
}

} // namespace
