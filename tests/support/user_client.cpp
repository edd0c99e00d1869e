#include "user_client.h"

#include <control/calls.h>

#include <algorithm>
#include <cstring>

namespace vel::test {

namespace {

FakePlugIn& plugIn(void* self) {
  return *static_cast<FakePlugIn*>(self);
}
FakeDriver& driver(void* self) {
  return *static_cast<FakeDriver*>(self);
}
FakeDevice& device(void* self) {
  return *static_cast<FakeDevice*>(self);
}

void remember(std::vector<std::string>& calls, const char* who, const std::string& call) {
  calls.push_back(call);
  control::addToRecording(std::string(who) + "." + call);
}

IOCFPlugInInterface plugInTable = {
    ._reserved = nullptr,
    .QueryInterface =
        [](void* self, REFIID iid, LPVOID* ppv) {
          remember(*plugIn(self).calls, plugIn(self).name, "QueryInterface");
          plugIn(self).queried = iid;
          *ppv = plugIn(self).interface;
          return plugIn(self).queryResult;
        },
    .AddRef = nullptr, // not needed
    .Release =
        [](void* self) {
          remember(*plugIn(self).calls, plugIn(self).name, "Release");
          return ULONG{0};
        },
};

VELDriverInterface driverTable = [] {
  VELDriverInterface table = {};
  table.open = [](void* self, std::uint32_t options) {
    remember(driver(self).calls, "driver", "open(" + std::to_string(options) + ")");
    return driver(self).openResult;
  };
  table.command = [](void* self, std::uint32_t command, const void* input, std::size_t inputSize, void* output,
                     std::size_t* outputSize) {
    remember(driver(self).calls, "driver",
             "command(" + std::to_string(command) + ", " + std::to_string(inputSize) + ", " +
                 std::to_string(*outputSize) + ")");
    const auto* bytes = static_cast<const std::uint8_t*>(input);
    driver(self).input.assign(bytes, bytes + inputSize);
    if (command != 10) {
      return answer(driver(self).command(command), output, *outputSize, outputSize);
    }
    std::uint32_t property = 0;
    std::memcpy(&property, input, std::min(inputSize, sizeof property));
    driver(self).propertiesRead.push_back(property);
    return answer(driver(self).property(property), output, *outputSize, outputSize);
  };
  return table;
}();

VELDeviceInterface deviceTable = [] {
  VELDeviceInterface table = {};
  table.open = [](void* self, std::uint32_t options) {
    remember(device(self).calls, "device", "open(" + std::to_string(options) + ")");
    return device(self).openResult;
  };
  table.setDataCallback = [](void* self, VELDataCallback callback, void* refcon) {
    remember(device(self).calls, "device", "setDataCallback");
    device(self).callback = callback;
    device(self).refcon = refcon;
  };
  table.setDispatchQueue = [](void* self, dispatch_queue_t queue) {
    remember(device(self).calls, "device", "setDispatchQueue");
    device(self).queue = queue;
  };
  return table;
}();

} // namespace

FakePlugIn::FakePlugIn() : vtbl(&plugInTable) {}
FakeDriver::FakeDriver() : vtbl(&driverTable) {}
FakeDevice::FakeDevice() : vtbl(&deviceTable) {}

kern_return_t FakePlugIn::create(IOCFPlugInInterface*** plugin) {
  if (createsPlugIn && (createResult == 0 || storesDespiteFailure)) {
    *plugin = &vtbl;
  }
  return createResult;
}

IOReturn FakeService::open(std::uint32_t type) {
  openedWith = type;
  return openResult;
}

IOReturn FakeService::call(std::uint32_t method, std::span<const std::uint64_t> arguments,
                           std::span<const std::byte> in, std::span<std::byte> output, std::size_t& reported) {
  ++calls;
  selector = method;
  scalars.assign(arguments.begin(), arguments.end());
  const auto* bytes = reinterpret_cast<const std::uint8_t*>(in.data());
  input.assign(bytes, bytes + in.size());
  capacity = output.size();
  return answer(reply, output.data(), output.size(), &reported);
}

IOReturn answer(const Reply& reply, void* output, std::size_t capacity, std::size_t* reported) {
  if (!reply.bytes.empty()) {
    std::memcpy(output, reply.bytes.data(), std::min(reply.bytes.size(), capacity));
  }
  if (reply.result == 0) {
    *reported = reply.length >= 0 ? static_cast<std::size_t>(reply.length) : std::min(reply.bytes.size(), capacity);
  }
  return reply.result;
}

Bytes text(const std::string& characters, std::size_t size) {
  Bytes bytes(characters.begin(), characters.end());
  bytes.resize(std::max(size, bytes.size()));
  return bytes;
}

Bytes operator+(Bytes a, const Bytes& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

} // namespace vel::test
