// Connections to user clients: opened on an entry, called by selector, closed.
#include "announce.h"
#include "services/iokit/registry.h"

#include <IOKit/IOKitLib.h>
#include <mach/mach.h>

#include <cstddef>
#include <span>

using vel::platform::announce;
using vel::platform::Detail;
using vel::platform::EntryHandle;

namespace {

std::shared_ptr<vel::control::UserClient> clientOf(io_connect_t connection) {
  auto& registry = vel::platform::registry();
  const std::lock_guard lock(registry.mutex);
  return registry.client(connection);
}

} // namespace

kern_return_t IOServiceOpen(io_service_t service, mach_port_t owningTask, uint32_t type, io_connect_t* connection) {
  if (const auto failure = announce("IOServiceOpen", Detail{EntryHandle{service}}, Detail{owningTask}, type)) {
    return *failure;
  }
  if (connection == nullptr) {
    return kIOReturnBadArgument;
  }
  *connection = 0;
  auto& registry = vel::platform::registry();
  std::shared_ptr<vel::control::UserClient> client;
  {
    const std::lock_guard lock(registry.mutex);
    const auto* const entry = registry.byHandle(service);
    if (entry == nullptr) {
      return kIOReturnBadArgument;
    }
    client = entry->userClient;
  }
  if (client == nullptr) {
    return kIOReturnUnsupported;
  }
  if (const auto result = client->open(type); result != kIOReturnSuccess) {
    return result;
  }
  const std::lock_guard lock(registry.mutex);
  *connection = registry.connect(std::move(client));
  return kIOReturnSuccess;
}

kern_return_t IOServiceClose(io_connect_t connection) {
  if (const auto failure = announce("IOServiceClose")) {
    return *failure;
  }
  const auto client = clientOf(connection); // destroyed after the lock is released, as this may be the last reference
  auto& registry = vel::platform::registry();
  const std::lock_guard lock(registry.mutex);
  return registry.disconnect(connection) ? kIOReturnSuccess : kIOReturnBadArgument;
}

kern_return_t IOConnectCallMethod(io_connect_t connection, uint32_t selector, const uint64_t* input,
                                  uint32_t inputCount, const void* inputStruct, size_t inputStructSize,
                                  uint64_t* /*output*/, uint32_t* outputCount, void* outputStruct,
                                  size_t* outputStructSize) {
  const std::uint64_t room = outputStructSize == nullptr ? 0 : *outputStructSize;
  if (const auto failure = announce("IOConnectCallMethod", selector, Detail{std::uint64_t{inputCount}},
                                    Detail{std::uint64_t{inputStructSize}}, Detail{room})) {
    return *failure;
  }
  const auto client = clientOf(connection);
  if (client == nullptr) {
    return kIOReturnBadArgument;
  }
  const auto* const bytesIn = static_cast<const std::byte*>(inputStruct);
  auto* const bytesOut = static_cast<std::byte*>(outputStruct);
  const auto capacity = bytesOut == nullptr || outputStructSize == nullptr ? 0 : *outputStructSize;
  std::size_t reported = 0;
  const auto result = client->call(selector, std::span(input, input == nullptr ? 0 : inputCount),
                                   std::span(bytesIn, bytesIn == nullptr ? 0 : inputStructSize),
                                   std::span(bytesOut, capacity), reported);
  if (result != kIOReturnSuccess) {
    return result;
  }
  if (outputCount != nullptr) {
    *outputCount = 0; // no method has scalar outputs
  }
  if (outputStructSize != nullptr) {
    *outputStructSize = reported;
  }
  return kIOReturnSuccess;
}
