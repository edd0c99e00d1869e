// How the object system shows up in recordings, and fails on demand.
#include "no_leaks.h"
#include <control/calls.h>
#include <control/ref.h>

#include <CoreFoundation/CoreFoundation.h>

#include <array>
#include <functional>
#include <memory>
#include <string>
#include <vector>

using vel::control::Ref;

namespace {

class CFCalls : public NoLeaks {
protected:
  void TearDown() override {
    vel::control::stopRecording();
    vel::control::clearFailures();
    NoLeaks::TearDown();
  }
};

struct Call {
  const char* function;
  std::string recorded;
  std::function<bool()> run; // whether it succeeded
};

bool made(CFTypeRef object) {
  return static_cast<bool>(Ref<CFTypeRef>::adopt(object));
}

std::vector<Call> fallible() {
  static const std::int64_t number = 1;
  static std::array<char, 8> buffer;
  CFStringRef text = CFSTR("text");
  return {
      {"CFAllocatorAllocate", "CFAllocatorAllocate(8, 0)",
       [] {
         return std::unique_ptr<void, decltype(&std::free)>(CFAllocatorAllocate(nullptr, 8, 0), &std::free) != nullptr;
       }},
      {"CFArrayCreateMutable", "CFArrayCreateMutable(0)",
       [] { return made(CFArrayCreateMutable(nullptr, 0, nullptr)); }},
      {"CFDataCreate", "CFDataCreate(2)",
       [] { return made(CFDataCreate(nullptr, reinterpret_cast<const UInt8*>("ab"), 2)); }},
      {"CFDictionaryCreateMutable", "CFDictionaryCreateMutable(3)",
       [] { return made(CFDictionaryCreateMutable(nullptr, 3, nullptr, nullptr)); }},
      {"CFNumberCreate", "CFNumberCreate(4)",
       [] { return made(CFNumberCreate(nullptr, kCFNumberSInt64Type, &number)); }},
      {"CFPropertyListCreateData", "CFPropertyListCreateData(200, 0)",
       [] {
         return made(CFPropertyListCreateData(nullptr, kCFBooleanTrue, kCFPropertyListBinaryFormat_v1_0, 0, nullptr));
       }},
      {"CFStringCreateWithCString", "CFStringCreateWithCString(text, 0x8000100)",
       [] { return made(CFStringCreateWithCString(nullptr, "text", kCFStringEncodingUTF8)); }},
      {"CFStringGetCString", "CFStringGetCString(8, 0x600)",
       [text] { return CFStringGetCString(text, buffer.data(), buffer.size(), kCFStringEncodingASCII) != 0; }},
      {"CFStringGetCStringPtr", "CFStringGetCStringPtr(0)",
       [text] { return CFStringGetCStringPtr(text, kCFStringEncodingMacRoman) != nullptr; }},
      {"CFUUIDCreateFromUUIDBytes", "CFUUIDCreateFromUUIDBytes()",
       [] { return made(CFUUIDCreateFromUUIDBytes(nullptr, {})); }},
  };
}

TEST_F(CFCalls, EachFallibleFunction_IsRecordedAndFailsOnDemand) {
  for (const Call& call : fallible()) {
    vel::control::startRecording();
    EXPECT_TRUE(call.run()) << call.function;
    EXPECT_EQ(vel::control::stopRecording(), std::vector<std::string>{call.recorded});
    vel::control::failCall(call.function, 2);
    EXPECT_TRUE(call.run()) << call.function;
    EXPECT_FALSE(call.run()) << call.function;
    EXPECT_TRUE(call.run()) << call.function;
    EXPECT_TRUE(vel::control::clearFailures()) << call.function;
  }
}

TEST_F(CFCalls, NumberReads_FailOnDemandAndLeaveTheValue) {
  std::int64_t value = 1;
  const auto number = Ref<CFNumberRef>::adopt(CFNumberCreate(nullptr, kCFNumberSInt64Type, &value));
  value = 5;
  vel::control::failCall("CFNumberGetValue", 1);
  EXPECT_FALSE(CFNumberGetValue(number.get(), kCFNumberSInt64Type, &value));
  EXPECT_EQ(value, 5);
  EXPECT_TRUE(CFNumberGetValue(number.get(), kCFNumberSInt64Type, &value));
  EXPECT_EQ(value, 1);
}

TEST_F(CFCalls, OnlyCallsWhoseOrderMatters_AreRecordedOfTheRest) {
  CFUUIDRef factory = CFUUIDGetConstantUUIDWithBytes(nullptr, 0x75, 0xF0, 0x71, 0x27, 0xBB, 0x06, 0x49, 0x0A, 0xB1,
                                                     0xB9, 0x81, 0xAE, 0x65, 0xDF, 0x06, 0x46);
  const auto array = Ref<CFMutableArrayRef>::adopt(CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks));
  const auto dictionary = Ref<CFMutableDictionaryRef>::adopt(
      CFDictionaryCreateMutable(nullptr, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
  void* memory = CFAllocatorAllocate(nullptr, 1, 0);
  vel::control::startRecording();
  CFPlugInAddInstanceForFactory(factory);
  CFArrayAppendValue(array.get(), kCFBooleanTrue);
  CFDictionarySetValue(dictionary.get(), CFSTR("key"), array.get());
  CFRelease(CFRetain(array.get()));
  CFPlugInRemoveInstanceForFactory(factory);
  CFAllocatorDeallocate(nullptr, memory);
  EXPECT_EQ(vel::control::stopRecording(),
            (std::vector<std::string>{
                "CFPlugInAddInstanceForFactory(75F07127-BB06-490A-B1B9-81AE65DF0646)", "CFArrayAppendValue()",
                "CFPlugInRemoveInstanceForFactory(75F07127-BB06-490A-B1B9-81AE65DF0646)", "CFAllocatorDeallocate()"}));
}

} // namespace
