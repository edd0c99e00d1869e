// Creates HID services and sessions for plug-ins.
#pragma once

#include <control/ref.h>

#include <IOKit/hid/IOHIDService.h>

#include <cstdint>
#include <optional>
#include <vector>

namespace vel::control {

struct HIDUsage {
  std::uint32_t page = 0;
  std::uint32_t usage = 0;
};

struct HIDService {
  Ref<CFDictionaryRef> properties; // may be empty
  std::vector<HIDUsage> usages;
  std::optional<std::uint64_t> registryID; // none: IOHIDServiceGetRegistryID returns null
};

// [create: caller releases]
IOHIDServiceRef createHIDService(HIDService service);
IOHIDSessionRef createHIDSession();

} // namespace vel::control
