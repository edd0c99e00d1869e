// Reference counts, types, allocators.
#include "no_leaks.h"
#include <control/cf.h>
#include <control/ref.h>

#include <CoreFoundation/CoreFoundation.h>

#include <array>
#include <cstdlib>
#include <map>
#include <vector>

using vel::control::Ref;
using vel::control::retainCount;

namespace {

using CFObject = NoLeaks;
using CFObjectDeath = NoLeaks;
using CFAllocator = NoLeaks;

// An allocator that remembers what it gave away and keeps freed memory readable until its own end.
struct Memory {
  std::map<void*, std::size_t> blocks;
  std::vector<void*> freed;
  std::size_t refuseFrom = SIZE_MAX; // the n-th request, from 0
  std::size_t requests = 0;

  ~Memory() {
    for (void* pointer : freed) {
      std::free(pointer);
    }
  }
  vel::control::AllocatorHooks hooks() {
    return {.allocate = [this](std::size_t size) -> void* {
              if (requests++ >= refuseFrom) {
                return nullptr;
              }
              void* pointer = std::malloc(size);
              blocks[pointer] = size;
              return pointer;
            },
            .deallocate =
                [this](void* pointer) {
                  EXPECT_EQ(blocks.erase(pointer), 1U);
                  freed.push_back(pointer);
                }};
  }
};

TEST_F(CFObject, RetainAndRelease_CountUpAndDown) {
  CFStringRef string = CFStringCreateWithCString(nullptr, "text", kCFStringEncodingUTF8);
  EXPECT_EQ(retainCount(string), 1U);
  EXPECT_EQ(CFRetain(string), string);
  EXPECT_EQ(retainCount(string), 2U);
  CFRelease(string);
  EXPECT_EQ(retainCount(string), 1U);
  EXPECT_EQ(vel::control::liveObjects().at("CFString"), 1U);
  CFRelease(string);
  EXPECT_EQ(vel::control::liveObjects().count("CFString"), 0U);
}

TEST_F(CFObject, Constants_AreNeitherCountedNorDestroyed) {
  for (CFTypeRef constant :
       {CFTypeRef(CFSTR("constant")), CFTypeRef(kCFBooleanTrue), CFTypeRef(kCFAllocatorSystemDefault),
        CFTypeRef(CFUUIDGetConstantUUIDWithBytes(nullptr, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16))}) {
    const std::size_t count = retainCount(constant);
    CFRelease(constant);
    CFRelease(constant);
    EXPECT_EQ(CFRetain(constant), constant);
    EXPECT_EQ(retainCount(constant), count);
  }
  EXPECT_TRUE(vel::control::liveObjects().empty());
}

TEST_F(CFObject, TypeIds_AreThoseOfTheObjectsAndDiffer) {
  const std::int32_t one = 1;
  std::map<CFTypeID, Ref<CFTypeRef>> objects;
  const auto add = [&](CFTypeID type, CFTypeRef object) {
    EXPECT_EQ(CFGetTypeID(object), type);
    EXPECT_TRUE(objects.emplace(type, Ref<CFTypeRef>::adopt(object)).second);
  };
  add(CFStringGetTypeID(), CFSTR("text"));
  add(CFNumberGetTypeID(), CFNumberCreate(nullptr, kCFNumberSInt32Type, &one));
  add(CFBooleanGetTypeID(), kCFBooleanFalse);
  add(CFDataGetTypeID(), CFDataCreate(nullptr, nullptr, 0));
  add(CFUUIDGetTypeID(), CFUUIDCreateFromUUIDBytes(nullptr, {}));
  add(CFArrayGetTypeID(), CFArrayCreateMutable(nullptr, 0, nullptr));
  add(CFDictionaryGetTypeID(), CFDictionaryCreateMutable(nullptr, 0, nullptr, nullptr));
  for (const auto& [type, object] : objects) {
    for (const auto& [otherType, other] : objects) {
      EXPECT_EQ(CFEqual(object.get(), other.get()), type == otherType);
    }
  }
}

// NOLINTBEGIN(clang-analyzer-osx*): misuse is what these are about
TEST_F(CFObjectDeath, Misuse_EndsTheProcessWithItsReason) {
  EXPECT_DEATH(CFRetain(nullptr), "^CFRetain: null in place of an object\n");
  EXPECT_DEATH(CFRelease(nullptr), "^CFRelease: null in place of an object\n");
  EXPECT_DEATH(CFGetTypeID(nullptr), "^CFGetTypeID: null in place of an object\n");
  EXPECT_DEATH(CFEqual(kCFBooleanTrue, nullptr), "^CFEqual: null in place of an object\n");
  const void* notANumber = kCFBooleanTrue;
  EXPECT_DEATH(CFNumberGetType(static_cast<CFNumberRef>(notANumber)),
               "^CFNumberGetType: object 0x[0-9a-f]+ is a CFBoolean, not a CFNumber\n");
  const auto array = Ref<CFMutableArrayRef>::adopt(CFArrayCreateMutable(nullptr, 0, nullptr));
  CFArrayAppendValue(array.get(), nullptr);
  EXPECT_DEATH(CFArrayGetValueAtIndex(array.get(), 1), "^CFArrayGetValueAtIndex: index 1 in an array of 1\n");
  EXPECT_DEATH(CFArrayGetValueAtIndex(array.get(), -1), "^CFArrayGetValueAtIndex: index -1 in an array of 1\n");
}

// The memory of the destroyed object is still there, as it mostly is on the heap.
TEST_F(CFObjectDeath, UseAfterTheLastRelease_EndsTheProcess) {
  Memory memory;
  const auto allocator = Ref<CFAllocatorRef>::adopt(vel::control::createAllocator(memory.hooks()));
  CFTypeRef object = CFDataCreate(allocator.get(), nullptr, 0);
  CFRelease(object);
  EXPECT_DEATH(CFRelease(object), "^CFRelease: object 0x[0-9a-f]+ has been destroyed\n");
  EXPECT_DEATH(CFRetain(object), "^CFRetain: object 0x[0-9a-f]+ has been destroyed\n");
  EXPECT_DEATH(CFHash(object), "^CFHash: object 0x[0-9a-f]+ has been destroyed\n");
}

// NOLINTEND(clang-analyzer-osx*)

TEST_F(CFObjectDeath, RetainWhileItIsDestroyed_EndsTheProcess) {
  const auto resurrect = [] {
    CFArrayCallBacks callBacks = {};
    callBacks.release = [](CFTypeRef owner) { CFRetain(*static_cast<const CFTypeRef*>(owner)); };
    CFMutableArrayRef array = CFArrayCreateMutable(nullptr, 0, &callBacks);
    CFTypeRef itself = array;
    CFArrayAppendValue(array, &itself);
    CFRelease(array);
  };
  EXPECT_DEATH(resurrect(), "^CFRetain: object 0x[0-9a-f]+ has been destroyed\n");
}

TEST_F(CFAllocator, System_GivesAlignedMemory) {
  for (CFAllocatorRef allocator : {kCFAllocatorDefault, kCFAllocatorSystemDefault}) {
    void* pointer = CFAllocatorAllocate(allocator, 24, 0);
    ASSERT_NE(pointer, nullptr);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(pointer) % alignof(std::max_align_t), 0U);
    CFAllocatorDeallocate(allocator, pointer);
    CFAllocatorDeallocate(allocator, nullptr);
    EXPECT_EQ(CFAllocatorAllocate(allocator, 0, 0), nullptr);
    EXPECT_EQ(CFAllocatorAllocate(allocator, -1, 0), nullptr);
  }
}

TEST_F(CFAllocator, Custom_GivesAndTakesBackWhatWasAskedFor) {
  Memory memory;
  const auto allocator = Ref<CFAllocatorRef>::adopt(vel::control::createAllocator(memory.hooks()));
  void* pointer = CFAllocatorAllocate(allocator.get(), 40, 0);
  EXPECT_EQ(memory.blocks, (std::map<void*, std::size_t>{{pointer, 40}}));
  CFAllocatorDeallocate(allocator.get(), nullptr);
  CFAllocatorDeallocate(allocator.get(), pointer);
  EXPECT_TRUE(memory.blocks.empty());
}

// Everything made with one allocator, collections grown past their first memory.
void makeAll(CFAllocatorRef allocator, std::vector<CFTypeRef>& made) {
  const auto keep = [&](auto object) {
    if (object != nullptr) {
      made.push_back(object);
    }
    return object;
  };
  const std::int64_t number = 7;
  const std::uint8_t bytes[] = {1, 2, 3};
  keep(CFStringCreateWithCString(allocator, "text", kCFStringEncodingMacRoman));
  keep(CFNumberCreate(allocator, kCFNumberSInt64Type, &number));
  keep(CFDataCreate(allocator, bytes, 3));
  keep(CFUUIDCreateFromUUIDBytes(allocator, {}));
  keep(CFArrayCreateMutable(allocator, 4, nullptr));
  keep(CFDictionaryCreateMutable(allocator, 4, nullptr, nullptr));
  keep(CFPropertyListCreateData(allocator, kCFBooleanTrue, kCFPropertyListBinaryFormat_v1_0, 0, nullptr));
}

TEST_F(CFAllocator, Objects_TakeAllTheirMemoryFromTheirAllocator) {
  Memory memory;
  const auto allocator = Ref<CFAllocatorRef>::adopt(vel::control::createAllocator(memory.hooks()));
  std::vector<CFTypeRef> made;
  makeAll(allocator.get(), made);
  EXPECT_EQ(made.size(), 7U);
  for (CFTypeRef object : made) {
    EXPECT_EQ(memory.blocks.count(const_cast<void*>(object)), 1U);
  }
  auto* array = const_cast<CFMutableArrayRef>(static_cast<CFArrayRef>(made[4]));
  auto* dictionary = const_cast<CFMutableDictionaryRef>(static_cast<CFDictionaryRef>(made[5]));
  const std::array<char, 100> keys = {};
  for (const char& key : keys) {
    CFArrayAppendValue(array, &memory);
    CFDictionarySetValue(dictionary, &key, &memory);
  }
  std::size_t bytes = 0;
  for (const auto& [pointer, size] : memory.blocks) {
    bytes += size;
  }
  EXPECT_GE(bytes, 3 * keys.size() * sizeof(void*));
  for (CFTypeRef object : made) {
    CFRelease(object);
  }
  EXPECT_TRUE(memory.blocks.empty());
}

TEST_F(CFAllocator, NoMemory_MakesNoObject) {
  Memory counting;
  const auto counted = Ref<CFAllocatorRef>::adopt(vel::control::createAllocator(counting.hooks()));
  std::vector<CFTypeRef> all;
  makeAll(counted.get(), all);
  for (CFTypeRef object : all) {
    CFRelease(object);
  }
  ASSERT_GE(counting.requests, all.size());
  for (std::size_t refuseFrom = 0; refuseFrom < counting.requests; ++refuseFrom) {
    Memory memory;
    memory.refuseFrom = refuseFrom;
    const auto allocator = Ref<CFAllocatorRef>::adopt(vel::control::createAllocator(memory.hooks()));
    std::vector<CFTypeRef> made;
    makeAll(allocator.get(), made);
    EXPECT_LT(made.size(), all.size()) << "refused from " << refuseFrom;
    for (CFTypeRef object : made) {
      CFRelease(object);
    }
    EXPECT_TRUE(memory.blocks.empty()) << "refused from " << refuseFrom;
  }
}

} // namespace
