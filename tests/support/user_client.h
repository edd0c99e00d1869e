// Driver, device and named-service user clients for white-box tests: answer what the test says, remember what they were
// asked. Plug-ins, driver and device also add it to a recording of everything, as "driver.open(0)".
#pragma once

#include <control/registry.h>

#include <IOKit/IOCFPlugIn.h>
#include <VEL/VELUserClient.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <vector>

namespace vel::test {

// The plug-in of a user client, registered under a plug-in type.
struct FakePlugIn {
  FakePlugIn();
  IOCFPlugInInterface* vtbl;    // first
  const char* name = "plug-in"; // in recordings
  kern_return_t createResult = 0;
  bool createsPlugIn = true;
  bool storesDespiteFailure = false;
  HRESULT queryResult = S_OK;
  void* interface = nullptr;                 // what QueryInterface stores; null: nothing is there
  CFUUIDBytes queried = {};                  // the last interface that was asked for
  std::vector<std::string>* calls = nullptr; // where QueryInterface and Release are remembered

  // For vel::control::attachPlugIn.
  kern_return_t create(IOCFPlugInInterface*** plugin);
};

using Bytes = std::vector<std::uint8_t>;

// A reply to a command: the bytes, or a failure; `length` claims another length than that of the bytes.
struct Reply {
  Bytes bytes;
  IOReturn result = 0;
  std::ptrdiff_t length = -1;
};

struct FakeDriver {
  FakeDriver();
  VELDriverInterface* vtbl; // first
  IOReturn openResult = 0;
  // Answers command 10 by property id, and other commands by their code.
  std::function<Reply(std::uint32_t property)> property = [](std::uint32_t) { return Reply{}; };
  std::function<Reply(std::uint32_t command)> command = [](std::uint32_t) { return Reply{}; };
  std::vector<std::uint32_t> propertiesRead; // in their order
  Bytes input;                               // of the last command
  std::vector<std::string> calls;
};

struct FakeDevice {
  FakeDevice();
  VELDeviceInterface* vtbl; // first
  IOReturn openResult = 0;
  dispatch_queue_t queue = nullptr;
  VELDataCallback callback = nullptr;
  void* refcon = nullptr;
  std::vector<std::string> calls;
};

// The kernel side of a named service, for vel::control::attachUserClient. Remembers the last call.
struct FakeService : control::UserClient {
  IOReturn open(std::uint32_t type) override;
  IOReturn call(std::uint32_t method, std::span<const std::uint64_t> arguments, std::span<const std::byte> in,
                std::span<std::byte> output, std::size_t& reported) override;

  IOReturn openResult = 0;
  Reply reply;
  std::uint32_t openedWith = 99;
  std::uint32_t selector = 0;
  std::vector<std::uint64_t> scalars;
  Bytes input;
  std::size_t capacity = 0;
  int calls = 0;
};

// Copies as much of the reply as fits into `capacity` bytes at `output`; stores the claimed length.
IOReturn answer(const Reply& reply, void* output, std::size_t capacity, std::size_t* reported);

// Little-endian bytes of a number, and pieces put together.
template <class T>
Bytes le(T value) {
  Bytes bytes(sizeof value);
  for (std::size_t i = 0; i < sizeof value; ++i) {
    bytes[i] = static_cast<std::uint8_t>(static_cast<std::uint64_t>(value) >> (8 * i));
  }
  return bytes;
}
Bytes text(const std::string& characters, std::size_t size = 0); // padded with NULs to `size`
Bytes operator+(Bytes a, const Bytes& b);

} // namespace vel::test
