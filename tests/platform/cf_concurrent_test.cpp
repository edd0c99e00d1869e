// The object system on several threads at once, for ThreadSanitizer.
#include "no_leaks.h"
#include <control/ref.h>

#include <CoreFoundation/CoreFoundation.h>

#include <barrier>
#include <functional>
#include <string>
#include <thread>
#include <vector>

using vel::control::Ref;

namespace {

using CFConcurrent = NoLeaks;

constexpr int threads = 4;

// Runs `work` with the thread's number on all threads, which start together.
void onAllThreads(const std::function<void(int)>& work) {
  std::barrier start(threads);
  std::vector<std::jthread> running;
  running.reserve(threads);
  for (int thread = 0; thread < threads; ++thread) {
    running.emplace_back([&, thread] {
      start.arrive_and_wait();
      work(thread);
    });
  }
}

TEST_F(CFConcurrent, SharedObject_IsDestroyedOnceByTheLastRelease) {
  for (int round = 0; round < 200; ++round) {
    CFStringRef string = CFStringCreateWithCString(nullptr, "shared", kCFStringEncodingUTF8);
    for (int i = 1; i < threads; ++i) {
      CFRetain(string);
    }
    onAllThreads([string](int) {
      for (int i = 0; i < 20; ++i) {
        CFRetain(string);
        EXPECT_EQ(CFStringGetLength(string), 6);
        CFRelease(string);
      }
      CFRelease(string);
    });
    ASSERT_EQ(vel::control::liveObjects().count("CFString"), 0U);
  }
}

TEST_F(CFConcurrent, Constants_AreTheSameOnAllThreads) {
  constexpr int count = 200;
  std::vector<std::vector<CFTypeRef>> seen(threads);
  onAllThreads([&](int thread) {
    for (int i = 0; i < count; ++i) {
      const auto byte = static_cast<UInt8>(i);
      seen[static_cast<std::size_t>(thread)].push_back(
          CFStringGetConstantString(("concurrent " + std::to_string(i)).c_str()));
      seen[static_cast<std::size_t>(thread)].push_back(
          CFUUIDGetConstantUUIDWithBytes(nullptr, 0xCC, byte, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0));
    }
  });
  for (const auto& each : seen) {
    EXPECT_EQ(each, seen.front());
  }
}

TEST_F(CFConcurrent, OwnPropertyLists_AreBuiltSideBySide) {
  onAllThreads([](int thread) {
    for (std::int32_t i = 0; i < 50; ++i) {
      const auto dictionary = Ref<CFMutableDictionaryRef>::adopt(
          CFDictionaryCreateMutable(nullptr, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
      const auto number = Ref<CFNumberRef>::adopt(CFNumberCreate(nullptr, kCFNumberSInt32Type, &i));
      // Not ASCII, so that all threads meet at the conversion table.
      const auto text =
          Ref<CFStringRef>::adopt(CFStringCreateWithCString(nullptr, "caf\x8E", kCFStringEncodingMacRoman));
      CFDictionarySetValue(dictionary.get(), CFSTR("number"), number.get());
      CFDictionarySetValue(dictionary.get(), CFSTR("text"), text.get());
      CFDictionarySetValue(dictionary.get(), CFSTR("boolean"), thread % 2 == 0 ? kCFBooleanTrue : kCFBooleanFalse);
      const auto data = Ref<CFDataRef>::adopt(
          CFPropertyListCreateData(nullptr, dictionary.get(), kCFPropertyListBinaryFormat_v1_0, 0, nullptr));
      ASSERT_TRUE(data);
    }
  });
}

TEST_F(CFConcurrent, PlugInInstances_AreCountedTogether) {
  CFUUIDRef factory = CFUUIDGetConstantUUIDWithBytes(nullptr, 0xFA, 0xC7, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0);
  onAllThreads([factory](int) {
    for (int i = 0; i < 100; ++i) {
      CFPlugInAddInstanceForFactory(factory);
    }
    for (int i = 0; i < 99; ++i) {
      CFPlugInRemoveInstanceForFactory(factory);
    }
  });
  EXPECT_EQ(vel::control::plugInInstances(factory), static_cast<std::size_t>(threads));
  for (int i = 0; i < threads; ++i) {
    CFPlugInRemoveInstanceForFactory(factory);
  }
}

} // namespace
