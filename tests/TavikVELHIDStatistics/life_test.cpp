// The object from the factory to its last release, and its table.

#include "support/statistics_fixture.h"
#include <control/calls.h>

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

// An allocator on the C heap, and what went through it.
struct WatchedAllocator {
  std::vector<void*> given;
  std::vector<void*> takenBack;
  Ref<CFAllocatorRef> allocator = Ref<CFAllocatorRef>::adopt(control::createAllocator({
      .allocate =
          [this](std::size_t size) {
            given.push_back(std::malloc(size));
            return given.back();
          },
      .deallocate =
          [this](void* memory) {
            takenBack.push_back(memory);
            std::free(memory);
          },
  }));
};

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

TEST_F(Life, QueryInterface_ComparesInOrderAndReleasesWhatItMade) {
  const auto constant = [](const std::string& id) { return "CFUUIDGetConstantUUIDWithBytes(system, " + id + ")"; };
  const std::string first = "19D77441-BBC4-4511-9149-60572A0B015C";
  const std::string second = "3DC35AA6-D35C-445B-9A59-CA03DA408B97";
  const std::string unknown = "00000000-0000-0000-C000-000000000046";
  const std::string made = "CFUUIDCreateFromUUIDBytes(default)";
  const std::string released = "CFRelease(CFUUID)";
  const auto callsFor = [&](const std::string& id) {
    const REFIID wanted = CFUUIDGetUUIDBytes(uuid(id.c_str()).get());
    void* found = nullptr;
    return recordingOf([&] { plugin->QueryInterface(wanted, &found); });
  };
  EXPECT_THAT(callsFor(first), ElementsAre(made, constant(first), released));
  EXPECT_THAT(callsFor(second), ElementsAre(made, constant(first), constant(second), released));
  EXPECT_THAT(callsFor(unknown), ElementsAre(made, constant(first), constant(second), constant(unknown), released));
  EXPECT_THAT(callsFor("7F1A3AE6-3E3D-470A-BD15-A2DD7E1BB719"),
              ElementsAre(made, constant(first), constant(second), constant(unknown), released));
  EXPECT_EQ(plugin->_refCount, 4U);
  plugin->_refCount = 1;
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
  EXPECT_THAT(recordingOf([this] { std::exchange(plugin, nullptr)->Release(); }),
              ElementsAre("CFUUIDGetConstantUUIDWithBytes(system, 75F07127-BB06-490A-B1B9-81AE65DF0646)",
                          "CFPlugInRemoveInstanceForFactory(75F07127-BB06-490A-B1B9-81AE65DF0646)", "os_release()",
                          "CFAllocatorDeallocate(system)"));
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

TEST_F(Life, Object_LivesInTheMemoryOfTheGivenAllocator) {
  using Make = TavikVELHIDStatistics* (*)(CFAllocatorRef);
  const Make byFactory = [](CFAllocatorRef allocator) {
    return static_cast<TavikVELHIDStatistics*>(
        TavikVELHIDStatisticsFactory(allocator, uuid("7F1A3AE6-3E3D-470A-BD15-A2DD7E1BB719").get()));
  };
  for (Make make : {byFactory, Make{TavikVELHIDStatistics::alloc}}) {
    WatchedAllocator memory;
    TavikVELHIDStatistics* object = make(memory.allocator.get());
    CFMutableArrayRef contexts = object->_contexts;
    EXPECT_THAT(memory.given, ElementsAre(static_cast<void*>(object), static_cast<void*>(contexts)));
    EXPECT_EQ(object->_allocator, memory.allocator.get());
    object->Release();
    EXPECT_THAT(memory.takenBack, ElementsAre(memory.given.at(0)))
        << "not the array of contexts, which stays by design";
    CFRelease(contexts);
    EXPECT_EQ(memory.takenBack, memory.given);
  }
}

TEST_F(Life, Construction_RegistersTheInstanceBeforeItMakesTheArray) {
  WatchedAllocator memory;
  TavikVELHIDStatistics* object = nullptr;
  EXPECT_THAT(recordingOf([&] { object = TavikVELHIDStatistics::alloc(memory.allocator.get()); }),
              ElementsAre("CFAllocatorAllocate(other, " + std::to_string(sizeof(TavikVELHIDStatistics)) + ", 0)",
                          "CFUUIDGetConstantUUIDWithBytes(system, 75F07127-BB06-490A-B1B9-81AE65DF0646)",
                          "CFPlugInAddInstanceForFactory(75F07127-BB06-490A-B1B9-81AE65DF0646)",
                          "CFArrayCreateMutable(other, 0)"));
  EXPECT_EQ(object->_refCount, 1U);
  EXPECT_FALSE(object->_rawDebugInstalled);
  EXPECT_EQ(CFArrayGetCount(object->_contexts), 0);
  CFRelease(object->_contexts);
  object->Release();
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
