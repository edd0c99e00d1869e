// Entries by handle: navigation, names, properties, references, and the plug-ins in front of them.
#include "announce.h"
#include "services/iokit/registry.h"

#include <CoreFoundation/CoreFoundation.h>
#include <IOKit/IOCFPlugIn.h>
#include <IOKit/IOKitLib.h>

#include <algorithm>
#include <string_view>

using vel::control::Ref;
using vel::platform::announce;
using vel::platform::Detail;
using vel::platform::Entry;
using vel::platform::EntryHandle;
using vel::platform::Registry;

namespace {

// kIOCFPlugInInterfaceID as text: a use of the constant here would be recorded as a call of the plug-in.
constexpr std::string_view plugInInterface = "C244E858-109C-11D4-91D4-0050E4C6426F";

// Stores a reference to what `step` finds from the entry, or 0.
template <class Step>
kern_return_t navigate(const char* function, io_registry_entry_t handle, const char* plane, io_registry_entry_t* found,
                       Step step) {
  if (const auto failure = announce(function, Detail{EntryHandle{handle}}, plane)) {
    return *failure;
  }
  if (found == nullptr || plane == nullptr || std::string_view(plane) != kIOServicePlane) {
    return kIOReturnBadArgument;
  }
  *found = 0;
  auto& registry = vel::platform::registry();
  const std::lock_guard lock(registry.mutex);
  const auto* const entry = registry.byHandle(handle);
  return entry == nullptr ? kIOReturnBadArgument : step(registry, *entry);
}

kern_return_t store(Registry& registry, std::uint64_t id, io_registry_entry_t* found) {
  auto* const entry = registry.byID(id);
  if (entry == nullptr) {
    return kIOReturnNoDevice;
  }
  *found = registry.reference(*entry);
  return kIOReturnSuccess;
}

} // namespace

kern_return_t IORegistryEntryGetParentEntry(io_registry_entry_t entry, const char* plane, io_registry_entry_t* parent) {
  return navigate("IORegistryEntryGetParentEntry", entry, plane, parent, [&](Registry& registry, const Entry& from) {
    return from.brokenParent ? *from.brokenParent : store(registry, from.facts.parent, parent);
  });
}

kern_return_t IORegistryEntryGetChildEntry(io_registry_entry_t entry, const char* plane, io_registry_entry_t* child) {
  return navigate("IORegistryEntryGetChildEntry", entry, plane, child, [&](Registry& registry, const Entry& from) {
    return from.children.empty() ? kIOReturnNoDevice : store(registry, from.children.front(), child);
  });
}

kern_return_t IORegistryEntryGetName(io_registry_entry_t entry, io_name_t name) {
  if (const auto failure = announce("IORegistryEntryGetName", Detail{EntryHandle{entry}})) {
    return *failure;
  }
  auto& registry = vel::platform::registry();
  const std::lock_guard lock(registry.mutex);
  const auto* const found = registry.byHandle(entry);
  if (found == nullptr || name == nullptr) {
    return kIOReturnBadArgument;
  }
  name[found->facts.name.copy(name, sizeof(io_name_t) - 1)] = '\0';
  return kIOReturnSuccess;
}

CFTypeRef IORegistryEntryCreateCFProperty(io_registry_entry_t entry, CFStringRef key, CFAllocatorRef allocator,
                                          IOOptionBits /*options*/) {
  if (announce("IORegistryEntryCreateCFProperty", Detail{EntryHandle{entry}}, key, Detail{allocator})) {
    return nullptr;
  }
  Ref<CFDictionaryRef> properties;
  {
    auto& registry = vel::platform::registry();
    const std::lock_guard lock(registry.mutex);
    if (const auto* const found = registry.byHandle(entry)) {
      properties = found->facts.properties;
    }
  }
  if (!properties || key == nullptr) {
    return nullptr;
  }
  return Ref<CFTypeRef>::share(CFDictionaryGetValue(properties.get(), key)).release();
}

kern_return_t IOObjectRelease(io_object_t object) {
  if (const auto failure = announce("IOObjectRelease", Detail{EntryHandle{object}})) {
    return *failure;
  }
  auto& registry = vel::platform::registry();
  const std::lock_guard lock(registry.mutex);
  return registry.dereference(object) ? kIOReturnSuccess : kIOReturnBadArgument;
}

kern_return_t IOCreatePlugInInterfaceForService(io_service_t service, CFUUIDRef pluginType, CFUUIDRef interfaceType,
                                                IOCFPlugInInterface*** plugin, SInt32* score) {
  if (const auto failure = announce("IOCreatePlugInInterfaceForService", Detail{EntryHandle{service}}, pluginType)) {
    return *failure;
  }
  if (pluginType == nullptr || interfaceType == nullptr || plugin == nullptr) {
    return kIOReturnBadArgument;
  }
  *plugin = nullptr;
  if (score != nullptr) {
    *score = 0;
  }
  if (vel::platform::describe(interfaceType) != plugInInterface) {
    return kIOReturnUnsupported;
  }
  vel::control::PlugInFactory factory;
  {
    auto& registry = vel::platform::registry();
    const std::lock_guard lock(registry.mutex);
    const auto* const entry = registry.byHandle(service);
    if (entry == nullptr) {
      return kIOReturnBadArgument;
    }
    const auto found = std::find_if(entry->plugIns.rbegin(), entry->plugIns.rend(),
                                    [&](const auto& row) { return CFEqual(row.type.get(), pluginType); });
    if (found == entry->plugIns.rend()) {
      return kIOReturnNotFound;
    }
    factory = found->factory;
  }
  return factory(plugin);
}
