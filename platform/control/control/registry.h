// The I/O registry from the outside: add entries, plug-ins and user clients. resetRegistry drops everything that was
// added here. [any thread]
#pragma once

#include <control/ref.h>

#include <CoreFoundation/CoreFoundation.h>
#include <IOKit/IOCFPlugIn.h>
#include <IOKit/IOKitLib.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>

namespace vel::control {

struct RegistryEntry {
  std::string name;
  std::string className;
  Ref<CFDictionaryRef> properties = {}; // may be empty
  std::uint64_t parent = 0;             // registry id of an entry added before; 0: a root
  std::uint64_t id = 0;                 // 0: the next free one
  bool isHIDDevice = false;             // whether IOHIDDeviceCreate succeeds on it
};
// Adds an entry as its parent's last child; returns its registry id. An id that is taken or a parent that is unknown
// throws std::invalid_argument.
std::uint64_t addRegistryEntry(RegistryEntry entry);
// Replaces an entry's properties (a counter that moved, a new time-sync pair). Here and below an unknown id throws
// std::invalid_argument.
void setRegistryProperties(std::uint64_t id, Ref<CFDictionaryRef> properties);
// Makes reads of the entry's parent fail with `result`; with 0 they succeed and store parent 0.
void breakParent(std::uint64_t id, IOReturn result);

// Stores the plug-in through `plugin` (a reference for the caller) and returns 0, or returns an error code.
using PlugInFactory = std::function<IOReturn(IOCFPlugInInterface*** plugin)>;
// Attaches a user-client plug-in of this type to an entry; a later one of the same type replaces it.
void attachPlugIn(std::uint64_t id, CFUUIDRef plugInType, PlugInFactory factory);

// The kernel side of a connection. One object serves all connections of its entry.
class UserClient {
public:
  virtual ~UserClient() = default;
  // The result of IOServiceOpen.
  virtual IOReturn open(std::uint32_t type) = 0;
  // A method call. Writes at most output.size() bytes to `output`, and through `reported` the length that it claims
  // (any number). No scalar outputs.
  virtual IOReturn call(std::uint32_t selector, std::span<const std::uint64_t> scalars,
                        std::span<const std::byte> input, std::span<std::byte> output, std::size_t& reported) = 0;
};
void attachUserClient(std::uint64_t id, std::shared_ptr<UserClient> client);

// References to registry objects and connections that were handed out and not given back.
std::size_t registryReferences();
std::size_t openConnections();
// Removes all entries, plug-ins, user clients and handles.
void resetRegistry();

} // namespace vel::control
