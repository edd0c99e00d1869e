// HID services, sessions and devices: CF objects that hold what the host specified.
#include "announce.h"
#include "cf/make.h"
#include "cf/object.h"
#include "services/iokit/registry.h"
#include <control/hid.h>

#include <CoreFoundation/CoreFoundation.h>
#include <IOKit/hid/IOHIDDevice.h>
#include <IOKit/hid/IOHIDService.h>

#include <algorithm>

using vel::control::Ref;
using vel::platform::announce;
using vel::platform::Detail;
using vel::platform::EntryHandle;
using vel::platform::expect;
using vel::platform::Object;
using vel::platform::Type;

struct IOHIDServiceObject final : Object {
  static Type kind;

  IOHIDServiceObject(CFAllocatorRef allocator, vel::control::HIDService&& given)
      : Object(kind, allocator), facts(std::move(given)) {
    if (facts.registryID) {
      registryID =
          Ref<CFNumberRef>::adopt(vel::platform::makeNumber(nullptr, static_cast<std::int64_t>(*facts.registryID)));
    }
  }

  vel::control::HIDService facts;
  Ref<CFNumberRef> registryID;
};

struct IOHIDSessionObject final : Object {
  static Type kind;
  explicit IOHIDSessionObject(CFAllocatorRef allocator) : Object(kind, allocator) {}
};

struct IOHIDDeviceObject final : Object {
  static Type kind;
  explicit IOHIDDeviceObject(CFAllocatorRef allocator) : Object(kind, allocator) {}
};

Type IOHIDServiceObject::kind("IOHIDService");
Type IOHIDSessionObject::kind("IOHIDSession");
Type IOHIDDeviceObject::kind("IOHIDDevice");

namespace {

CFTypeRef property(const char* function, IOHIDServiceRef service, CFStringRef key) {
  const auto& facts = expect(service, function).facts;
  return facts.properties && key != nullptr ? CFDictionaryGetValue(facts.properties.get(), key) : nullptr;
}

} // namespace

CFTypeRef IOHIDServiceCopyProperty(IOHIDServiceRef service, CFStringRef key) {
  if (announce("IOHIDServiceCopyProperty", key)) {
    return nullptr;
  }
  return Ref<CFTypeRef>::share(property("IOHIDServiceCopyProperty", service, key)).release();
}

CFTypeRef IOHIDServiceGetProperty(IOHIDServiceRef service, CFStringRef key) {
  if (announce("IOHIDServiceGetProperty", key)) {
    return nullptr;
  }
  return property("IOHIDServiceGetProperty", service, key);
}

boolean_t IOHIDServiceConformsTo(IOHIDServiceRef service, uint32_t usagePage, uint32_t usage) {
  if (announce("IOHIDServiceConformsTo", usagePage, usage)) {
    return 0;
  }
  const auto& usages = expect(service, "IOHIDServiceConformsTo").facts.usages;
  const bool found = std::any_of(usages.begin(), usages.end(), [=](const vel::control::HIDUsage& row) {
    return row.page == usagePage && row.usage == usage;
  });
  return found ? 1 : 0;
}

CFTypeRef IOHIDServiceGetRegistryID(IOHIDServiceRef service) {
  if (announce("IOHIDServiceGetRegistryID")) {
    return nullptr;
  }
  return expect(service, "IOHIDServiceGetRegistryID").registryID.get();
}

IOHIDDeviceRef IOHIDDeviceCreate(CFAllocatorRef allocator, io_service_t service) {
  if (announce("IOHIDDeviceCreate", Detail{allocator}, Detail{EntryHandle{service}})) {
    return nullptr;
  }
  {
    auto& registry = vel::platform::registry();
    const std::lock_guard lock(registry.mutex);
    const auto* const entry = registry.byHandle(service);
    if (entry == nullptr || !entry->facts.isHIDDevice) {
      return nullptr;
    }
  }
  return vel::platform::create<IOHIDDeviceObject>(allocator, 0);
}

namespace vel::control {

IOHIDServiceRef createHIDService(HIDService service) {
  return platform::create<IOHIDServiceObject>(nullptr, 0, std::move(service));
}

IOHIDSessionRef createHIDSession() {
  return platform::create<IOHIDSessionObject>(nullptr, 0);
}

} // namespace vel::control
