// The object from the factory to its last release, and its small entries.

#include "support/statistics_fixture.h"
#include <control/calls.h>
#include <control/notify.h>
#include <control/queue.h>

#include <gmock/gmock.h>

#include <cstdlib>
#include <cstring>

extern "C" void* TavikVELHIDStatisticsFactory(CFAllocatorRef allocator, CFUUIDRef typeID);

namespace vel::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

Ref<CFUUIDRef> uuid(const char* text) {
  return Ref<CFUUIDRef>::adopt(control::createUUID(text));
}

struct Life : StatisticsTest {
  static std::size_t instances() {
    return control::plugInInstances(CFUUIDGetConstantUUIDWithBytes(kCFAllocatorSystemDefault, 0x75, 0xF0, 0x71, 0x27,
                                                                   0xBB, 0x06, 0x49, 0x0A, 0xB1, 0xB9, 0x81, 0xAE, 0x65,
                                                                   0xDF, 0x06, 0x46));
  }
};

TEST_F(Life, Factory_OtherType_YieldsNothing) {
  EXPECT_EQ(TavikVELHIDStatisticsFactory(kCFAllocatorDefault, IUnknownUUID), nullptr);
  EXPECT_EQ(instances(), 1U);
}

TEST_F(Life, Factory_SessionFilterType_YieldsAnObjectThatStartsWithItsTable) {
  void* object = TavikVELHIDStatisticsFactory(kCFAllocatorDefault, uuid("7F1A3AE6-3E3D-470A-BD15-A2DD7E1BB719").get());
  ASSERT_NE(object, nullptr);
  EXPECT_EQ(instances(), 2U);
  const auto* table = *static_cast<const IOHIDSessionFilterPlugInInterface**>(object);
  EXPECT_EQ(table, &TavikVELHIDStatistics::vtbl);
  EXPECT_EQ(table->Release(object), 0U);
  EXPECT_EQ(instances(), 1U);
}

TEST_F(Life, Table_HasItsEntriesAtTheirPositions) {
  void* entries[18];
  static_assert(sizeof entries == sizeof TavikVELHIDStatistics::vtbl);
  std::memcpy(static_cast<void*>(entries), &TavikVELHIDStatistics::vtbl, sizeof entries);
  for (int i = 0; i < 18; ++i) {
    const bool present = i == 1 || i == 2 || i == 3 || i == 7 || i == 8 || i == 11 || i == 13 || i == 14;
    EXPECT_EQ(entries[i] != nullptr, present) << "entry " << i;
  }
}

TEST_F(Life, Table_CountsReferences) {
  const IOHIDSessionFilterPlugInInterface& table = TavikVELHIDStatistics::vtbl;
  ASSERT_EQ(table.AddRef(plugin), 2U);
  ASSERT_EQ(plugin->_refCount, 2U);
  EXPECT_EQ(table.Release(plugin), 1U);
  void* found = nullptr;
  ASSERT_EQ(table.QueryInterface(plugin, CFUUIDGetUUIDBytes(IUnknownUUID), &found), S_OK);
  EXPECT_EQ(found, plugin);
  EXPECT_EQ(table.Release(plugin), 1U);
}

TEST_F(Life, Table_SetsAndClearsTheQueue) {
  const IOHIDSessionFilterPlugInInterface& table = TavikVELHIDStatistics::vtbl;
  plugin->_queue = nullptr;
  control::startRecording();
  table.scheduleWithDispatchQueue(plugin, queue);
  EXPECT_EQ(plugin->_queue, queue);
  table.unscheduleFromDispatchQueue(plugin, queue);
  EXPECT_EQ(plugin->_queue, nullptr);
  EXPECT_THAT(control::stopRecording(), ElementsAre("notify_register_dispatch(com.tavik.tavikvelhidstatistics.fault)"));
}

TEST_F(Life, QueryInterface_KnownInterfaces_RaiseTheCount) {
  for (const char* known : {"19D77441-BBC4-4511-9149-60572A0B015C", "3DC35AA6-D35C-445B-9A59-CA03DA408B97",
                            "00000000-0000-0000-C000-000000000046"}) {
    void* found = nullptr;
    ASSERT_EQ(plugin->QueryInterface(CFUUIDGetUUIDBytes(uuid(known).get()), &found), S_OK) << known;
    EXPECT_EQ(found, plugin);
    EXPECT_EQ(plugin->_refCount, 2U);
    EXPECT_EQ(plugin->Release(), 1U);
  }
}

TEST_F(Life, QueryInterface_OtherInterface_FailsAndLeavesTheCount) {
  void* found = this;
  EXPECT_EQ(plugin->QueryInterface(CFUUIDGetUUIDBytes(kVELDeviceInterfaceID), &found),
            static_cast<HRESULT>(0x80000004));
  EXPECT_EQ(found, nullptr);
  EXPECT_EQ(plugin->_refCount, 1U);
}

TEST_F(Life, QueryInterface_ReleasesTheIdentifierThatItMade) {
  const std::size_t before = control::liveObjects()["CFUUID"];
  void* found = nullptr;
  plugin->QueryInterface(CFUUIDGetUUIDBytes(IUnknownUUID), &found);
  plugin->Release();
  plugin->QueryInterface(CFUUIDGetUUIDBytes(kVELDeviceInterfaceID), &found);
  EXPECT_EQ(control::liveObjects()["CFUUID"], before);
}

TEST_F(Life, Release_CountsDownAndDestroysAtZero) {
  EXPECT_EQ(plugin->AddRef(), 2U);
  EXPECT_EQ(plugin->Release(), 1U);
  EXPECT_EQ(instances(), 1U);
  const std::size_t releases = control::logObjectReleases();
  EXPECT_EQ(std::exchange(plugin, nullptr)->Release(), 0U);
  EXPECT_EQ(instances(), 0U);
  EXPECT_EQ(control::logObjectReleases(), releases + 1);
}

TEST_F(Life, LastRelease_GivesBackTheInstanceThenTheLogThenTheMemory) {
  CFMutableArrayRef contexts = plugin->_contexts;
  control::startRecording();
  std::exchange(plugin, nullptr)->Release();
  EXPECT_THAT(control::stopRecording(),
              ElementsAre("CFPlugInRemoveInstanceForFactory(75F07127-BB06-490A-B1B9-81AE65DF0646)", "os_release()",
                          "CFAllocatorDeallocate()"));
  CFRelease(contexts);
}

TEST_F(Life, EveryDestructor_ReleasesTheOneLogObject) {
  const std::size_t releases = control::logObjectReleases();
  control::startRecording();
  for (int i = 0; i < 3; ++i) {
    TavikVELHIDStatistics* other = TavikVELHIDStatistics::alloc(kCFAllocatorDefault);
    other->open(nullptr, 0);
    other->Release();
  }
  EXPECT_THAT(control::stopRecording(), testing::Not(testing::Contains(testing::HasSubstr("os_log_create"))));
  EXPECT_EQ(control::logObjectReleases(), releases + 3);
}

TEST_F(Life, Object_LivesInTheMemoryOfItsAllocator) {
  std::vector<void*> given;
  std::vector<void*> takenBack;
  const CFAllocatorRef allocator = control::createAllocator({.allocate =
                                                                 [&](std::size_t size) {
                                                                   given.push_back(std::malloc(size));
                                                                   return given.back();
                                                                 },
                                                             .deallocate =
                                                                 [&](void* memory) {
                                                                   takenBack.push_back(memory);
                                                                   std::free(memory);
                                                                 }});
  TavikVELHIDStatistics* object = TavikVELHIDStatistics::alloc(allocator);
  CFMutableArrayRef contexts = object->_contexts;
  EXPECT_THAT(given, ElementsAre(static_cast<void*>(object), static_cast<void*>(contexts)));
  EXPECT_EQ(object->_allocator, allocator);
  object->Release();
  EXPECT_THAT(takenBack, ElementsAre(given.at(0))) << "not the array of contexts, which stays by design";
  CFRelease(contexts);
  EXPECT_EQ(takenBack, given);
  CFRelease(allocator);
}

TEST_F(Life, Construction_RegistersTheInstanceBeforeItMakesTheArray) {
  control::startRecording();
  TavikVELHIDStatistics* object = TavikVELHIDStatistics::alloc(kCFAllocatorDefault);
  EXPECT_THAT(control::stopRecording(),
              ElementsAre("CFAllocatorAllocate(" + std::to_string(sizeof(TavikVELHIDStatistics)) + ", 0)",
                          "CFPlugInAddInstanceForFactory(75F07127-BB06-490A-B1B9-81AE65DF0646)",
                          "CFArrayCreateMutable(0)"));
  EXPECT_EQ(object->_refCount, 1U);
  EXPECT_FALSE(object->_rawDebugInstalled);
  EXPECT_EQ(CFArrayGetCount(object->_contexts), 0);
  CFRelease(object->_contexts);
  object->Release();
}

TEST_F(Life, TableOpen_IsTrueWhateverTheSession) {
  EXPECT_EQ(TavikVELHIDStatistics::vtbl.open(plugin, nullptr, 0xFFFFFFFF), 1U);
}

TEST_F(Life, Close_DoesNothing) {
  control::startRecording();
  TavikVELHIDStatistics::vtbl.close(plugin, nullptr, 0);
  EXPECT_THAT(control::stopRecording(), IsEmpty());
  EXPECT_EQ(plugin->_refCount, 1U);
}

TEST_F(Life, Open_NamesAll48Keys) {
  for (int i = 0; i < 48; ++i) {
    EXPECT_EQ(control::utf8(plugin->_keys[i]), kTallyStoreKeyNames[static_cast<std::size_t>(i)]);
  }
  EXPECT_EQ(control::utf8(plugin->_keys[0]), "com.tavik.kip.button.click.count");
  EXPECT_EQ(control::utf8(plugin->_keys[21]), "com.tavik.com.kip.prox.baseline_to_trigger.time");
  EXPECT_EQ(control::utf8(plugin->_keys[28]), "com.tavik.com.kip.prox.baseline_to_trigger.time.dist");
  EXPECT_EQ(control::utf8(plugin->_keys[47]), "com.tavik.kip.test");
}

TEST_F(Life, SecondOpen_MakesTheKeysAnewAndKeepsTheFirst) {
  std::vector<CFStringRef> first(plugin->_keys, plugin->_keys + 48);
  const std::size_t before = control::liveObjects()["CFString"];
  plugin->open(nullptr, 0);
  EXPECT_EQ(control::liveObjects()["CFString"], before + 48);
  EXPECT_NE(plugin->_keys[0], first[0]);
  for (CFStringRef key : first) {
    CFRelease(key);
  }
}

TEST_F(Life, Open_MakesTheLogAndThenTheKeysInMacRoman) {
  std::vector<std::string> calls = {"dispatch_once()"};
  for (const char* name : kTallyStoreKeyNames) {
    calls.push_back("CFStringCreateWithCString(" + std::string(name) + ", 0)");
  }
  control::startRecording();
  plugin->open(nullptr, 0);
  EXPECT_THAT(control::stopRecording(), testing::ElementsAreArray(calls));
}

struct TallyStoreProperty {
  const char* name;
  Ref<CFTypeRef> value;
  bool supports;
};

TEST_F(Life, SupportsTallyStore_OnlyForTheBooleanTrue) {
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

TEST_F(Life, RegistryID_IsTheServicesOwnOrZero) {
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

TEST_F(Life, RegistryID_BorrowsTheNumber) {
  control::HIDService description;
  description.registryID = 7;
  auto service = Ref<IOHIDServiceRef>::adopt(control::createHIDService(description));
  const std::size_t count = control::retainCount(IOHIDServiceGetRegistryID(service.get()));
  TavikVELHIDStatistics::getIOHIDServiceRegistryID(service.get());
  EXPECT_EQ(control::retainCount(IOHIDServiceGetRegistryID(service.get())), count);
}

TEST_F(Life, FaultNotification_LogsOneFault) {
  control::postNotification("com.tavik.tavikvelhidstatistics.fault");
  control::drain(queue);
  ASSERT_THAT(logMessages(), ElementsAre("fault!"));
  EXPECT_EQ(control::logLines()[0].type, OS_LOG_TYPE_FAULT);
}

TEST_F(Life, FaultNotification_OutlivesUnscheduling) {
  plugin->unscheduleFromDispatchQueue(queue);
  EXPECT_EQ(plugin->_queue, nullptr);
  control::postNotification("com.tavik.tavikvelhidstatistics.fault");
  control::drain(queue);
  EXPECT_THAT(logMessages(), ElementsAre("fault!"));
}

TEST_F(Life, FaultNotification_RunsOnTheQueueThatWasGiven) {
  EXPECT_EQ(plugin->_queue, queue);
  control::sync(queue, [] {
    control::postNotification("com.tavik.tavikvelhidstatistics.fault");
    EXPECT_THAT(logMessages(), IsEmpty()) << "the queue is busy with this block";
  });
  control::drain(queue);
  EXPECT_THAT(logMessages(), ElementsAre("fault!"));
}

TEST_F(Life, AThousandObjects_LeaveOnlyWhatIsKeptByDesign) {
  auto before = control::liveObjects();
  for (int i = 0; i < 1000; ++i) {
    TavikVELHIDStatistics* object = TavikVELHIDStatistics::alloc(kCFAllocatorDefault);
    object->open(nullptr, 0);
    object->Release();
  }
  before["CFArray"] += 1000;         // the array of contexts
  before["CFString"] += 1000UL * 48; // the key names
  EXPECT_EQ(control::liveObjects(), before);
}

} // namespace
} // namespace vel::test
