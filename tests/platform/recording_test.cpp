// What a recording of everything contains in addition to the calls that are always recorded.
#include "services_fixture.h"
#include <control/hid.h>

#include <IOKit/IOKitLib.h>
#include <IOKit/hid/IOHIDDevice.h>
#include <IOKit/hid/IOHIDService.h>
#include <mach/mach.h>
#include <os/log.h>

#include <array>
#include <cstdlib>

using namespace vel::control;

namespace {

class SilentClient final : public UserClient {
public:
  IOReturn open(std::uint32_t) override { return 0; }
  IOReturn call(std::uint32_t, std::span<const std::uint64_t>, std::span<const std::byte>, std::span<std::byte>,
                std::size_t&) override {
    return 0;
  }
};

struct EverythingRecorded : Services {
  // An entry "device" below an entry "root". [create: caller releases]
  static io_service_t addDevice() {
    const auto root = addRegistryEntry({.name = "root"});
    attachUserClient(addRegistryEntry({.name = "device", .parent = root}), std::make_shared<SilentClient>());
    return IOServiceGetMatchingService(kIOMasterPortDefault, IOServiceNameMatching("device"));
  }
};

TEST_F(EverythingRecorded, IsOneListOfCallsLogLinesAndTheHosts) {
  os_log_t const log = os_log_create("sub", "cat");
  const auto service = Ref<IOHIDServiceRef>::adopt(createHIDService({.registryID = 5}));
  const auto device = addDevice();
  const auto scalars = std::array<std::uint64_t, 2>();
  const auto input = std::array<std::byte, 3>();
  std::array<std::byte, 48> output;
  std::size_t room = output.size();
  io_registry_entry_t parent = 0;
  io_connect_t opened = 0;
  std::int64_t id = 0;
  startRecording(Recording::everything);
  CFNumberGetValue(static_cast<CFNumberRef>(IOHIDServiceGetRegistryID(service.get())), kCFNumberSInt64Type, &id);
  IORegistryEntryGetParentEntry(device, kIOServicePlane, &parent);
  addToRecording("the host's own");
  IORegistryEntryCreateCFProperty(device, CFSTR("key"), kCFAllocatorSystemDefault, 0);
  IOServiceOpen(device, mach_task_self(), 1, &opened);
  IOConnectCallMethod(opened, 2, scalars.data(), 2, input.data(), 3, nullptr, nullptr, output.data(), &room);
  os_log(log, "one %s", "line");
  os_log_error(log, "another");
  os_log_with_type(log, OS_LOG_TYPE_DEBUG, "not written");
  IOServiceClose(opened);
  IOObjectRelease(parent);
  IOObjectRelease(0);
  IOHIDDeviceCreate(nullptr, device);
  const auto calls = stopRecording();
  IOObjectRelease(device);
  EXPECT_EQ(calls, (std::vector<std::string>{"IOHIDServiceGetRegistryID()", "CFNumberGetValue(5, 4)",
                                             "IORegistryEntryGetParentEntry(device, IOService)", "the host's own",
                                             "IORegistryEntryCreateCFProperty(device, key, system)", "mach_task_self()",
                                             "IOServiceOpen(device, 0x103, 0x1)", "IOConnectCallMethod(0x2, 2, 3, 48)",
                                             "os_log(default, one line)", "os_log(error, another)", "IOServiceClose()",
                                             "IOObjectRelease(root)", "IOObjectRelease(none)",
                                             "IOHIDDeviceCreate(default, device)"}));
}

TEST_F(EverythingRecorded, UnlessOnlyCallsAre) {
  os_log_t const log = os_log_create("sub", "cat");
  startRecording(Recording::everything);
  startRecording();
  os_log(log, "line");
  addToRecording("the host's own");
  IOObjectRelease(0);
  EXPECT_EQ(stopRecording(), std::vector<std::string>{"IOObjectRelease()"});
  os_log(log, "line");
  addToRecording("the host's own");
  EXPECT_TRUE(stopRecording().empty());
}

TEST_F(EverythingRecorded, ShowsAllocatorsReleasesAndConstants) {
  const CFAllocatorRef other = createAllocator(
      {.allocate = [](std::size_t size) { return std::malloc(size); }, .deallocate = [](void* p) { std::free(p); }});
  const std::int64_t number = -7;
  std::int64_t read = 0;
  startRecording(Recording::everything);
  CFAllocatorDeallocate(other, CFAllocatorAllocate(other, 8, 0));
  CFUUIDRef uuid = CFUUIDCreateFromUUIDBytes(nullptr, {});
  CFUUIDGetConstantUUIDWithBytes(kCFAllocatorSystemDefault, 0x75, 0xF0, 0x71, 0x27, 0xBB, 0x06, 0x49, 0x0A, 0xB1, 0xB9,
                                 0x81, 0xAE, 0x65, 0xDF, 0x06, 0x46);
  CFMutableDictionaryRef dictionary =
      CFDictionaryCreateMutable(other, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks);
  CFMutableArrayRef array = CFArrayCreateMutable(kCFAllocatorSystemDefault, 0, &kCFTypeArrayCallBacks);
  CFNumberRef made = CFNumberCreate(nullptr, kCFNumberSInt64Type, &number);
  CFNumberGetValue(made, kCFNumberSInt64Type, &read);
  CFStringRef text = CFStringCreateWithCString(other, "text", kCFStringEncodingUTF8);
  CFArrayAppendValue(array, made);
  CFDictionarySetValue(dictionary, text, made);
  CFDictionarySetValue(dictionary, text, array); // gives the number back, unrecorded
  CFDataRef data = CFPropertyListCreateData(nullptr, dictionary, kCFPropertyListBinaryFormat_v1_0, 0, nullptr);
  for (CFTypeRef object : {static_cast<CFTypeRef>(uuid), static_cast<CFTypeRef>(made), static_cast<CFTypeRef>(text),
                           static_cast<CFTypeRef>(array), static_cast<CFTypeRef>(data)}) {
    CFRelease(object);
  }
  CFRelease(dictionary); // and with it what it holds, unrecorded
  Ref<CFTypeRef>::share(kCFBooleanTrue);
  EXPECT_EQ(
      stopRecording(),
      (std::vector<std::string>{
          "CFAllocatorAllocate(other, 8, 0)", "CFAllocatorDeallocate(other)", "CFUUIDCreateFromUUIDBytes(default)",
          "CFUUIDGetConstantUUIDWithBytes(system, 75F07127-BB06-490A-B1B9-81AE65DF0646)",
          "CFDictionaryCreateMutable(other, 0)", "CFArrayCreateMutable(system, 0)", "CFNumberCreate(default, 4)",
          "CFNumberGetValue(-7, 4)", "CFStringCreateWithCString(other, text, 0x8000100)", "CFArrayAppendValue()",
          "CFPropertyListCreateData(default, 200, 0)", "CFRelease(CFUUID)", "CFRelease(CFNumber)",
          "CFRelease(CFString)", "CFRelease(CFArray)", "CFRelease(CFData)", "CFRelease(CFDictionary)"}));
  CFRelease(other);
}

TEST_F(EverythingRecorded, WhatIsNotAnnouncedOtherwise_CannotFail) {
  startRecording(Recording::everything);
  failCall("CFRelease", 1);
  failAnyCall(1);
  CFRelease(CFSTR("constant"));
  EXPECT_FALSE(clearFailures());
}

} // namespace
