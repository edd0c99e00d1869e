// HID services, sessions and devices.
#include "services_fixture.h"
#include <control/hid.h>

#include <IOKit/IOKitLib.h>
#include <IOKit/hid/IOHIDDevice.h>
#include <IOKit/hid/IOHIDService.h>

using namespace vel::control;

namespace {

class HIDObjects : public Services {};
class HIDProperty : public Services {};
class HIDUsages : public Services {};
class HIDRegistryID : public Services {};
class HIDMisuse : public Services {};

TEST_F(HIDObjects, ServicesSessionsAndDevices_AreCFObjects) {
  const auto id = addRegistryEntry({.name = "device", .isHIDDevice = true});
  const auto entry = IOServiceGetMatchingService(kIOMasterPortDefault, IORegistryEntryIDMatching(id));
  CFTypeRef const objects[] = {createHIDService({.properties = strings({{"a", "b"}}), .registryID = 1}),
                               createHIDSession(), IOHIDDeviceCreate(nullptr, entry)};
  auto live = liveObjects();
  EXPECT_EQ(live["IOHIDService"], 1U);
  EXPECT_EQ(live["IOHIDSession"], 1U);
  EXPECT_EQ(live["IOHIDDevice"], 1U);
  for (CFTypeRef const object : objects) {
    EXPECT_EQ(CFRetain(object), object);
    EXPECT_EQ(retainCount(object), 2U);
    EXPECT_TRUE(CFEqual(object, object));
    CFRelease(object);
    CFRelease(object);
  }
}

TEST_F(HIDProperty, CopyAddsAReferenceAndGetDoesNot) {
  const auto text = Ref<CFStringRef>::adopt(CFStringCreateWithCString(nullptr, "VEL", kCFStringEncodingUTF8));
  auto properties = Ref<CFMutableDictionaryRef>::adopt(
      CFDictionaryCreateMutable(nullptr, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
  CFDictionarySetValue(properties.get(), CFSTR("Transport"), text.get());
  const auto service =
      Ref<IOHIDServiceRef>::adopt(createHIDService({.properties = Ref<CFDictionaryRef>::adopt(properties.release())}));
  EXPECT_EQ(retainCount(text.get()), 2U);
  EXPECT_EQ(IOHIDServiceGetProperty(service.get(), CFSTR("Transport")), text.get());
  EXPECT_EQ(retainCount(text.get()), 2U);
  const auto copy = Ref<CFTypeRef>::adopt(IOHIDServiceCopyProperty(service.get(), CFSTR("Transport")));
  EXPECT_EQ(copy.get(), text.get());
  EXPECT_EQ(retainCount(text.get()), 3U);
}

TEST_F(HIDProperty, Missing_IsNull) {
  const auto with = Ref<IOHIDServiceRef>::adopt(createHIDService({.properties = strings({{"a", "b"}})}));
  const auto without = Ref<IOHIDServiceRef>::adopt(createHIDService({}));
  for (auto* const service : {with.get(), without.get()}) {
    EXPECT_EQ(IOHIDServiceGetProperty(service, CFSTR("Transport")), nullptr);
    EXPECT_EQ(IOHIDServiceCopyProperty(service, CFSTR("Transport")), nullptr);
    EXPECT_EQ(IOHIDServiceGetProperty(service, nullptr), nullptr);
  }
}

TEST_F(HIDUsages, ConformsTo_NeedsPageAndUsageTogether) {
  const auto service = Ref<IOHIDServiceRef>::adopt(createHIDService({.usages = {{0x0C, 0x01}, {0xFF00, 0x03}}}));
  struct Row {
    std::uint32_t page;
    std::uint32_t usage;
    boolean_t conforms;
  };
  for (const auto& row : {Row{0x0C, 0x01, 1}, Row{0xFF00, 0x03, 1}, Row{0x0C, 0x03, 0}, Row{0xFF00, 0x01, 0},
                          Row{0x01, 0x0C, 0}, Row{0, 0, 0}}) {
    EXPECT_EQ(IOHIDServiceConformsTo(service.get(), row.page, row.usage), row.conforms) << row.page << ' ' << row.usage;
  }
}

TEST_F(HIDRegistryID, IsABorrowedNumberOrNull) {
  const auto with = Ref<IOHIDServiceRef>::adopt(createHIDService({.registryID = 0x8000000000000001}));
  const auto without = Ref<IOHIDServiceRef>::adopt(createHIDService({}));
  const auto* const number = static_cast<CFNumberRef>(IOHIDServiceGetRegistryID(with.get()));
  ASSERT_NE(number, nullptr);
  EXPECT_EQ(retainCount(number), 1U);
  EXPECT_EQ(IOHIDServiceGetRegistryID(with.get()), number);
  std::uint64_t value = 0;
  EXPECT_TRUE(CFNumberGetValue(number, kCFNumberSInt64Type, &value));
  EXPECT_EQ(value, 0x8000000000000001);
  EXPECT_EQ(IOHIDServiceGetRegistryID(without.get()), nullptr);
}

TEST_F(HIDObjects, Devices_ExistOnlyOnTheirEntries) {
  const auto device = addRegistryEntry({.name = "device", .isHIDDevice = true});
  const auto other = addRegistryEntry({.name = "other"});
  const auto create = [](std::uint64_t id) {
    const auto entry = IOServiceGetMatchingService(kIOMasterPortDefault, IORegistryEntryIDMatching(id));
    const auto created = Ref<IOHIDDeviceRef>::adopt(IOHIDDeviceCreate(nullptr, entry));
    return static_cast<bool>(created);
  };
  EXPECT_TRUE(create(device));
  EXPECT_FALSE(create(other));
  EXPECT_EQ(IOHIDDeviceCreate(nullptr, 0), nullptr);
}

TEST_F(HIDObjects, DeviceMemory_ComesFromTheAllocator) {
  const auto id = addRegistryEntry({.name = "device", .isHIDDevice = true});
  const auto entry = IOServiceGetMatchingService(kIOMasterPortDefault, IORegistryEntryIDMatching(id));
  const auto empty = Ref<CFAllocatorRef>::adopt(
      createAllocator({.allocate = [](std::size_t) -> void* { return nullptr; }, .deallocate = [](void*) {}}));
  EXPECT_EQ(IOHIDDeviceCreate(empty.get(), entry), nullptr);
}

TEST_F(HIDMisuse, AnObjectOfAnotherType_EndsTheProcess) {
  testing::FLAGS_gtest_death_test_style = "threadsafe";
  const auto session = Ref<IOHIDSessionRef>::adopt(createHIDSession());
  EXPECT_DEATH(IOHIDServiceGetRegistryID(reinterpret_cast<IOHIDServiceRef>(session.get())),
               "IOHIDServiceGetRegistryID: object .* is a IOHIDSession, not a IOHIDService");
  EXPECT_DEATH(IOHIDServiceGetRegistryID(nullptr), "IOHIDServiceGetRegistryID: null in place of an object");
}

} // namespace
