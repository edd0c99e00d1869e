// The interface tables of the modelled user clients, and the reference counts of their objects.
#include "host/modelled_device.h"

#include <control/queue.h>
#include <host/model/analytics.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <type_traits>
#include <utility>

namespace vel::host {

namespace {

constexpr std::uint32_t readPropertyCommand = 10;
constexpr std::uint32_t readPropertySelector = 2;

bool same(const CFUUIDBytes& bytes, CFUUIDRef uuid) {
  const CFUUIDBytes other = CFUUIDGetUUIDBytes(uuid);
  return std::memcmp(&bytes, &other, sizeof bytes) == 0;
}

std::span<std::byte> outputOf(void* output, const std::size_t* size) {
  return output == nullptr || size == nullptr ? std::span<std::byte>()
                                              : std::span(static_cast<std::byte*>(output), *size);
}

} // namespace

// Where batches go. It may be set on one thread while a batch is delivered on another.
struct ModelledDevice::Channel {
  std::mutex mutex;
  VELDataCallback callback = nullptr;
  void* refcon = nullptr;
  dispatch_queue_t queue = nullptr;
};

// The object that callers hold a pointer to. Its first word is the table.
struct ModelledDevice::Object {
  Object(const void* itsTable, ModelledDevice* itsOwner, Kind itsKind)
      : table(itsTable), owner(itsOwner), kind(itsKind) {}

  const void* table;
  ModelledDevice* owner;
  Kind kind;
  std::atomic<std::uint32_t> count = 1;
};

struct ModelledDevice::Tables {
  static_assert(std::is_standard_layout_v<Object>);

  static Object& of(void* self) {
    auto& object = *static_cast<Object*>(self);
    if (object.count == 0) {
      std::fputs("modelled device: an object without references was used\n", stderr);
      std::abort();
    }
    return object;
  }

  static std::atomic<std::size_t>& outstanding(const Object& object) {
    return object.owner->references_[static_cast<std::size_t>(object.kind)];
  }

  static ULONG addRef(void* self) {
    Object& object = of(self);
    ++outstanding(object);
    return ++object.count;
  }

  static ULONG release(void* self) {
    Object& object = of(self);
    --outstanding(object);
    return --object.count;
  }

  // A plug-in makes its interface as the model says. Every other query returns the object itself, or fails.
  static HRESULT queryInterface(void* self, REFIID iid, LPVOID* interface) {
    Object& object = of(self);
    *interface = nullptr;
    const bool isDriver = object.kind == Kind::driverPlugIn || object.kind == Kind::driver;
    const bool isPlugIn = object.kind == Kind::driverPlugIn || object.kind == Kind::devicePlugIn;
    const bool wantsInterface = same(iid, isDriver ? kVELDriverInterfaceID : kVELDeviceInterfaceID);
    if (isPlugIn && wantsInterface) {
      const PlugInModel& model = isDriver ? *object.owner->driver_ : object.owner->device_->plugIn;
      if (model.hasInterface) {
        *interface = object.owner->create(isDriver ? Kind::driver : Kind::device);
      }
      return model.queryResult;
    }
    if (wantsInterface || same(iid, IUnknownUUID) || (isPlugIn && same(iid, kIOCFPlugInInterfaceID))) {
      addRef(self);
      *interface = self;
      return S_OK;
    }
    return E_NOINTERFACE;
  }

  static IOReturn openDriver(void* self, std::uint32_t) { return of(self).owner->driver_->openResult; }

  static IOReturn command(void* self, std::uint32_t command, const void* input, std::size_t inputSize, void* output,
                          std::size_t* outputSize) {
    ReplyBook& replies = of(self).owner->replies_;
    std::size_t ignored = 0;
    std::size_t& reported = outputSize == nullptr ? ignored : *outputSize;
    const auto capacity = outputOf(output, outputSize);
    if (command == readPropertyCommand && input != nullptr && inputSize == sizeof(std::uint32_t)) {
      std::uint32_t property = 0;
      std::memcpy(&property, input, sizeof property);
      return replies.property(property, capacity, reported);
    }
    return replies.command(command, capacity, reported);
  }

  static IOReturn openDevice(void* self, std::uint32_t) { return of(self).owner->device_->plugIn.openResult; }

  static void setDataCallback(void* self, VELDataCallback callback, void* refcon) {
    Channel& channel = *of(self).owner->channel_;
    const std::scoped_lock lock(channel.mutex);
    channel.callback = callback;
    channel.refcon = refcon;
  }

  static void setDispatchQueue(void* self, dispatch_queue_t queue) {
    Channel& channel = *of(self).owner->channel_;
    const std::scoped_lock lock(channel.mutex);
    channel.queue = queue;
  }

  static constexpr IOCFPlugInInterface plugIn = {
      ._reserved = nullptr, .QueryInterface = queryInterface, .AddRef = addRef, .Release = release};
  static constexpr VELDriverInterface driver = {._reserved = nullptr,
                                                .QueryInterface = queryInterface,
                                                .AddRef = addRef,
                                                .Release = release,
                                                .slot4 = nullptr,
                                                .slot5 = nullptr,
                                                .slot6 = nullptr,
                                                .slot7 = nullptr,
                                                .open = openDriver,
                                                .slot9 = nullptr,
                                                .command = command};
  static constexpr VELDeviceInterface device = {._reserved = nullptr,
                                                .QueryInterface = queryInterface,
                                                .AddRef = addRef,
                                                .Release = release,
                                                .slot4 = nullptr,
                                                .slot5 = nullptr,
                                                .slot6 = nullptr,
                                                .slot7 = nullptr,
                                                .open = openDevice,
                                                .slot9 = nullptr,
                                                .slot10 = nullptr,
                                                .slot11 = nullptr,
                                                .slot12 = nullptr,
                                                .slot13 = nullptr,
                                                .slot14 = nullptr,
                                                .slot15 = nullptr,
                                                .slot16 = nullptr,
                                                .setDataCallback = setDataCallback,
                                                .setDispatchQueue = setDispatchQueue};

  static const void* of(Kind kind) {
    switch (kind) {
    case Kind::driver:
      return &driver;
    case Kind::device:
      return &device;
    default:
      return &plugIn;
    }
  }
};

ModelledDevice::ModelledDevice(std::optional<DriverModel> driver, std::optional<DeviceUserClientModel> device)
    : driver_(driver ? std::optional(driver->plugIn) : std::nullopt), device_(std::move(device)),
      replies_(driver ? std::move(driver->replies) : ReplyModel()), channel_(std::make_shared<Channel>()) {}

ModelledDevice::~ModelledDevice() = default;

void* ModelledDevice::create(Kind kind) {
  auto object = std::make_unique<Object>(Tables::of(kind), this, kind);
  void* const handle = object.get();
  ++references_[static_cast<std::size_t>(kind)];
  const std::scoped_lock lock(mutex_);
  objects_.push_back(std::move(object));
  return handle;
}

IOReturn ModelledDevice::createPlugIn(const PlugInModel& model, Kind kind, IOCFPlugInInterface*** plugIn) {
  *plugIn = model.yieldsPlugIn ? static_cast<IOCFPlugInInterface**>(create(kind)) : nullptr;
  return model.createResult;
}

IOReturn ModelledDevice::createDriverPlugIn(IOCFPlugInInterface*** plugIn) {
  return createPlugIn(driver_.value(), Kind::driverPlugIn, plugIn);
}

IOReturn ModelledDevice::createDevicePlugIn(IOCFPlugInInterface*** plugIn) {
  return createPlugIn(device_.value().plugIn, Kind::devicePlugIn, plugIn);
}

const std::vector<formats::Bytes>& ModelledDevice::analytics() const {
  static const std::vector<formats::Bytes> none;
  return device_ ? device_->analytics : none;
}

bool ModelledDevice::deliverAnalytics(formats::Bytes batch, Around around) {
  dispatch_queue_t queue = nullptr;
  {
    const std::scoped_lock lock(channel_->mutex);
    if (channel_->callback == nullptr || channel_->queue == nullptr) {
      return false;
    }
    queue = channel_->queue;
  }
  control::async(queue, [channel = channel_, entries = std::move(batch), around = std::move(around)]() mutable {
    VELDataCallback callback = nullptr;
    void* refcon = nullptr;
    {
      const std::scoped_lock lock(channel->mutex);
      callback = channel->callback;
      refcon = channel->refcon;
    }
    if (callback == nullptr) {
      return;
    }
    const auto call = [&] { callback(refcon, entries.data(), entries.size() / entrySize); };
    around ? around(call) : call();
  });
  return true;
}

bool ModelledDevice::hasCallback() const {
  const std::scoped_lock lock(channel_->mutex);
  return channel_->callback != nullptr;
}

void ModelledDevice::dropCallback() {
  const std::scoped_lock lock(channel_->mutex);
  channel_->callback = nullptr;
  channel_->refcon = nullptr;
  channel_->queue = nullptr;
}

References ModelledDevice::references() const {
  const auto count = [&](Kind kind) { return references_[static_cast<std::size_t>(kind)].load(); };
  return {.plugIns = count(Kind::driverPlugIn) + count(Kind::devicePlugIn),
          .drivers = count(Kind::driver),
          .devices = count(Kind::device)};
}

IOReturn ModelledUserClient::open(std::uint32_t) {
  return openResult_;
}

IOReturn ModelledUserClient::call(std::uint32_t selector, std::span<const std::uint64_t> scalars,
                                  std::span<const std::byte>, std::span<std::byte> output, std::size_t& reported) {
  if (selector == readPropertySelector && scalars.size() == 1) {
    return scalars[0] > UINT32_MAX ? kIOReturnUnsupported
                                   : replies_.property(static_cast<std::uint32_t>(scalars[0]), output, reported);
  }
  return replies_.command(selector, output, reported);
}

} // namespace vel::host
