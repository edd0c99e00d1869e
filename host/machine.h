// A device model in force: the platform's registry, clocks and HID services show it while the object lives.
#pragma once

#include <control/ref.h>
#include <host/model/device_model.h>
#include <host/modelled_device.h>

#include <IOKit/hid/IOHIDService.h>

#include <cstdint>
#include <memory>
#include <set>
#include <string>
#include <vector>

namespace vel::host {

// One HID service of the machine.
struct MachineService {
  std::string name;
  std::vector<UsageModel> usages;
  std::uint64_t entryID = 0; // of its registry entry
  control::Ref<IOHIDServiceRef> service;
  std::unique_ptr<ModelledDevice> device;
};

// The platform has one registry in a process, so there is one machine at a time: constructing a second one throws
// std::logic_error. A constructor that throws, for instance because a property is not UTF-8, leaves nothing in force.
// [construct and destroy on one thread]
class Machine {
public:
  explicit Machine(const DeviceModel& model);
  ~Machine();
  Machine(const Machine&) = delete;
  Machine& operator=(const Machine&) = delete;

  const std::string& name() const { return name_; }
  const std::vector<MachineService>& services() const { return services_; }
  // Forgets the data callbacks of all devices.
  void dropCallbacks();

private:
  // The process-wide state, undone when the object or its construction ends.
  struct Force {
    Force();
    ~Force();
  };
  void addService(const ServiceModel& model);
  std::uint64_t addEntry(const EntryModel& model, std::uint64_t parent, std::uint64_t id = 0);

  std::string name_;
  std::set<std::uint64_t> taken_; // ids that the model assigns
  std::uint64_t nextID_;
  std::vector<MachineService> services_;
  Force force_; // destroyed before the devices
};

} // namespace vel::host
