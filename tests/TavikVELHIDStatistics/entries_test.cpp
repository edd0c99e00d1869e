// The object's small entries: open, close, queue and fault notification, and what a HID service says of itself.

#include "key_names.h"
#include "support/statistics_fixture.h"
#include <control/calls.h>
#include <control/notify.h>
#include <control/queue.h>

#include <gmock/gmock.h>

// The linker sends the plug-in's question here, so that a test can answer it with any number.
namespace {
CFTypeRef registryIDAnswer = nullptr; // null: the service's own answer
}
extern "C" CFTypeRef __real_IOHIDServiceGetRegistryID(IOHIDServiceRef service);
extern "C" CFTypeRef __wrap_IOHIDServiceGetRegistryID(IOHIDServiceRef service);
CFTypeRef __wrap_IOHIDServiceGetRegistryID(IOHIDServiceRef service) {
  return registryIDAnswer != nullptr ? registryIDAnswer : __real_IOHIDServiceGetRegistryID(service);
}

namespace vel::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

struct Entries : StatisticsTest {};

TEST_F(Entries, Open_IsTrue) {
  EXPECT_EQ(plugin->open(nullptr, 0), 1U);
  EXPECT_EQ(plugin->open(nullptr, 0xFFFFFFFF), 1U);
}

TEST_F(Entries, TableOpen_IsTrueWhateverTheSession) {
  EXPECT_EQ(TavikVELHIDStatistics::vtbl.open(plugin, nullptr, 0xFFFFFFFF), 1U);
}

TEST_F(Entries, Open_NamesAll48Keys) {
  ASSERT_EQ(std::size(plugin->_keys), std::size(kKeyNames));
  for (std::size_t i = 0; i < std::size(kKeyNames); ++i) {
    EXPECT_EQ(control::utf8(plugin->_keys[i]), kKeyNames[i]) << i;
  }
}

TEST_F(Entries, SecondOpen_MakesTheKeysAnewAndKeepsTheFirst) {
  std::vector<CFStringRef> first(plugin->_keys, plugin->_keys + 48);
  const std::size_t before = control::liveObjects()["CFString"];
  plugin->open(nullptr, 0);
  EXPECT_EQ(control::liveObjects()["CFString"], before + 48);
  EXPECT_NE(plugin->_keys[0], first[0]);
  for (CFStringRef key : first) {
    CFRelease(key);
  }
}

TEST_F(Entries, Open_MakesTheLogAndThenTheKeysInMacRomanFromTheDefaultAllocator) {
  std::vector<std::string> calls = {"dispatch_once()"};
  for (const char* name : kKeyNames) {
    calls.push_back("CFStringCreateWithCString(default, " + std::string(name) + ", 0)");
  }
  EXPECT_THAT(recordingOf([this] { plugin->open(nullptr, 0); }), testing::ElementsAreArray(calls));
}

TEST_F(Entries, Close_DoesNothing) {
  control::startRecording();
  TavikVELHIDStatistics::vtbl.close(plugin, nullptr, 0);
  EXPECT_THAT(control::stopRecording(), IsEmpty());
  EXPECT_EQ(plugin->_refCount, 1U);
}

TEST_F(Entries, Table_SetsAndClearsTheQueue) {
  const IOHIDSessionFilterPlugInInterface& table = TavikVELHIDStatistics::vtbl;
  plugin->_queue = nullptr;
  control::startRecording();
  table.scheduleWithDispatchQueue(plugin, queue);
  EXPECT_EQ(plugin->_queue, queue);
  table.unscheduleFromDispatchQueue(plugin, queue);
  EXPECT_EQ(plugin->_queue, nullptr);
  EXPECT_THAT(control::stopRecording(), ElementsAre("notify_register_dispatch(com.tavik.tavikvelhidstatistics.fault)"));
}

TEST_F(Entries, Unscheduling_ClearsTheQueueWhicheverIsNamed) {
  dispatch_queue_t other = control::createQueue("other");
  for (dispatch_queue_t named : {queue, other, dispatch_queue_t{}}) {
    plugin->_queue = queue;
    control::startRecording();
    plugin->unscheduleFromDispatchQueue(named);
    EXPECT_THAT(control::stopRecording(), IsEmpty());
    EXPECT_EQ(plugin->_queue, nullptr);
  }
  control::destroyQueue(other);
}

TEST_F(Entries, FaultNotification_LogsOneFault) {
  control::postNotification("com.tavik.tavikvelhidstatistics.fault");
  control::drain(queue);
  ASSERT_THAT(logMessages(), ElementsAre("fault!"));
  EXPECT_EQ(control::logLines()[0].type, OS_LOG_TYPE_FAULT);
}

TEST_F(Entries, SecondSchedule_RegistersASecondNotificationOnItsQueue) {
  dispatch_queue_t second = control::createQueue("second");
  plugin->scheduleWithDispatchQueue(second);
  EXPECT_EQ(plugin->_queue, second);
  EXPECT_EQ(control::notificationRegistrations(), 2U);
  control::sync(second, [&] {
    EXPECT_EQ(control::postNotification("com.tavik.tavikvelhidstatistics.fault"), 2U);
    control::drain(queue);
    EXPECT_THAT(logMessages(), ElementsAre("fault!")) << "the second queue is busy with this block";
  });
  control::drain(second);
  EXPECT_THAT(logMessages(), ElementsAre("fault!", "fault!"));
  plugin->scheduleWithDispatchQueue(second);
  EXPECT_EQ(control::notificationRegistrations(), 3U) << "the same queue again";
  control::dropNotifications();
  control::destroyQueue(second);
}

TEST_F(Entries, FaultNotification_OutlivesUnscheduling) {
  plugin->unscheduleFromDispatchQueue(queue);
  EXPECT_EQ(plugin->_queue, nullptr);
  control::postNotification("com.tavik.tavikvelhidstatistics.fault");
  control::drain(queue);
  EXPECT_THAT(logMessages(), ElementsAre("fault!"));
}

TEST_F(Entries, FaultNotification_RunsOnTheQueueThatWasGiven) {
  EXPECT_EQ(plugin->_queue, queue);
  control::sync(queue, [] {
    control::postNotification("com.tavik.tavikvelhidstatistics.fault");
    EXPECT_THAT(logMessages(), IsEmpty()) << "the queue is busy with this block";
  });
  control::drain(queue);
  EXPECT_THAT(logMessages(), ElementsAre("fault!"));
}

struct TallyStoreProperty {
  const char* name;
  Ref<CFTypeRef> value;
  bool supports;
};

TEST_F(Entries, SupportsTallyStore_OnlyForTheBooleanTrue) {
  const TallyStoreProperty cases[] = {
      {"none", {}, false},
      {"true", Ref<CFTypeRef>::share(kCFBooleanTrue), true},
      {"false", Ref<CFTypeRef>::share(kCFBooleanFalse), false},
      {"the number 1", cfNumber(1), false},
      {"a string", cfString("true"), false},
  };
  for (const TallyStoreProperty& row : cases) {
    Service service;
    service.supportsTallyStore = row.value;
    EXPECT_EQ(TavikVELHIDStatistics::IOHIDServiceSupportsTallyStore(addService(service).get()), row.supports)
        << row.name;
  }
  EXPECT_THAT(logMessages(), IsEmpty());
}

TEST_F(Entries, RegistryID_IsTheServicesOwnOrZero) {
  control::HIDService with;
  with.registryID = 0x1000002A7;
  EXPECT_EQ(TavikVELHIDStatistics::getIOHIDServiceRegistryID(
                Ref<IOHIDServiceRef>::adopt(control::createHIDService(with)).get()),
            0x1000002A7U);
  EXPECT_EQ(TavikVELHIDStatistics::getIOHIDServiceRegistryID(
                Ref<IOHIDServiceRef>::adopt(control::createHIDService({})).get()),
            0U);
  EXPECT_THAT(logMessages(), IsEmpty());
}

TEST_F(Entries, RegistryID_ThatCannotBeReadIsZero) {
  control::HIDService description;
  description.registryID = 7;
  const auto service = Ref<IOHIDServiceRef>::adopt(control::createHIDService(description));
  control::failCall("CFNumberGetValue", 1);
  EXPECT_EQ(TavikVELHIDStatistics::getIOHIDServiceRegistryID(service.get()), 0U);
  EXPECT_TRUE(control::clearFailures());

  // A fraction is a failed conversion that still stores its integral part.
  const double fraction = 7.5;
  const auto number = Ref<CFNumberRef>::adopt(CFNumberCreate(kCFAllocatorDefault, kCFNumberDoubleType, &fraction));
  std::int64_t stored = 0;
  ASSERT_FALSE(CFNumberGetValue(number.get(), kCFNumberSInt64Type, &stored));
  ASSERT_EQ(stored, 7);
  registryIDAnswer = number.get();
  EXPECT_EQ(TavikVELHIDStatistics::getIOHIDServiceRegistryID(service.get()), 0U);
  registryIDAnswer = nullptr;
  EXPECT_THAT(logMessages(), IsEmpty());
}

TEST_F(Entries, RegistryID_BorrowsTheNumber) {
  control::HIDService description;
  description.registryID = 7;
  auto service = Ref<IOHIDServiceRef>::adopt(control::createHIDService(description));
  const std::size_t count = control::retainCount(IOHIDServiceGetRegistryID(service.get()));
  TavikVELHIDStatistics::getIOHIDServiceRegistryID(service.get());
  EXPECT_EQ(control::retainCount(IOHIDServiceGetRegistryID(service.get())), count);
}

} // namespace
} // namespace vel::test
