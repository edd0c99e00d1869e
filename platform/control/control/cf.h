// CF objects from the outside: custom allocators, and counts for leak checks.
#pragma once

#include <CoreFoundation/CoreFoundation.h>

#include <cstddef>
#include <functional>
#include <map>
#include <string>
#include <string_view>

namespace vel::control {

// What a custom allocator does. `allocate` may return null.
struct AllocatorHooks {
  std::function<void*(std::size_t size)> allocate;
  std::function<void(void* pointer)> deallocate;
};
// An allocator for every function that takes one; the hooks run on the threads that make and release objects.
// [create: caller releases, after everything made with it]
CFAllocatorRef createAllocator(AllocatorHooks hooks);

// How many objects live now, by type name ("CFString", "CFNumber", ...); constant objects do not count, and
// types without objects are left out. [any thread]
std::map<std::string, std::size_t> liveObjects();
// The instances registered with CFPlugInAddInstanceForFactory for one factory. [any thread]
std::size_t plugInInstances(CFUUIDRef factoryID);
// The current reference count of an object, for tests; the largest value for a constant, which is not counted.
// [any thread]
std::size_t retainCount(CFTypeRef object);

// "7F1A3AE6-3E3D-470A-BD15-A2DD7E1BB719". Parsing takes either case; null for anything else.
// [any thread]
std::string uuidString(CFUUIDRef uuid);
CFUUIDRef createUUID(std::string_view text); // [create: caller releases; any thread]
// The content of a string as UTF-8. [any thread]
std::string utf8(CFStringRef string);

} // namespace vel::control
