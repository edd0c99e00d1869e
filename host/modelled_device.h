// The driver side of one HID service or one named service: user-client plug-ins with their interfaces, and user
// clients, all answering from the model.
#pragma once

#include <control/registry.h>
#include <host/model/device_model.h>
#include <host/model/replies.h>

#include <IOKit/IOCFPlugIn.h>
#include <VEL/VELUserClient.h>
#include <dispatch/dispatch.h>

#include <array>
#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace vel::host {

// References that callers hold.
struct References {
  std::size_t plugIns = 0;
  std::size_t drivers = 0;
  std::size_t devices = 0;

  bool operator==(const References&) const = default;
};

// One HID service's driver and device. The objects that it returns are freed with it, so it must outlive their users.
// Using an object without references aborts the process.
class ModelledDevice {
public:
  ModelledDevice(std::optional<DriverModel> driver, std::optional<DeviceUserClientModel> device);
  ~ModelledDevice();
  ModelledDevice(const ModelledDevice&) = delete;
  ModelledDevice& operator=(const ModelledDevice&) = delete;

  bool hasDriver() const { return driver_.has_value(); }
  bool hasDevice() const { return device_.has_value(); }
  // Stores a new plug-in with one reference, or null if the model says so. [any thread]
  IOReturn createDriverPlugIn(IOCFPlugInInterface*** plugIn);
  IOReturn createDevicePlugIn(IOCFPlugInInterface*** plugIn);

  // The batches that the model has for the data callback.
  const std::vector<formats::Bytes>& analytics() const;
  // Gets the call of the data callback as a function. It must call this function, and may act before and after that.
  using Around = std::function<void(const std::function<void()>& call)>;
  // Queues a batch of whole entries for the data callback; false when no callback or no queue was set. If the callback
  // is dropped before the batch's turn, neither the callback nor `around` is called. `around` may be null. [any thread]
  bool deliverAnalytics(formats::Bytes batch, Around around = nullptr);
  bool hasCallback() const;
  void dropCallback();

  References references() const;

private:
  struct Channel;
  struct Object;
  struct Tables;
  enum class Kind : std::size_t { driverPlugIn, devicePlugIn, driver, device };
  IOReturn createPlugIn(const PlugInModel& model, Kind kind, IOCFPlugInInterface*** plugIn);
  void* create(Kind kind);

  const std::optional<PlugInModel> driver_;
  const std::optional<DeviceUserClientModel> device_;
  ReplyBook replies_;
  std::shared_ptr<Channel> channel_; // also held by queued batches
  std::array<std::atomic<std::size_t>, 4> references_ = {};
  std::mutex mutex_;
  std::vector<std::unique_ptr<Object>> objects_; // including released ones, so that a later use is detected
};

// The user client of a named service. Selector 2 with one scalar reads the property of that id; any other call is a
// command with the selector's number.
class ModelledUserClient : public control::UserClient {
public:
  explicit ModelledUserClient(NamedServiceModel model)
      : openResult_(model.openResult), replies_(std::move(model.replies)) {}

  IOReturn open(std::uint32_t type) override;
  IOReturn call(std::uint32_t selector, std::span<const std::uint64_t> scalars, std::span<const std::byte> input,
                std::span<std::byte> output, std::size_t& reported) override;

private:
  const IOReturn openResult_;
  ReplyBook replies_;
};

} // namespace vel::host
