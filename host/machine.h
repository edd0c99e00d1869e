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

// The platform's registry is one for the process, so there is one machine at a time; making a second while the first
// lives throws std::logic_error. What making one throws, for instance for a property that is no UTF-8, leaves nothing
// in force. [one thread, for making and ending it]
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
  // What is in force for the process, until the object or the making of it ends.
  struct Force {
    Force();
    ~Force();
  };
  void addService(const ServiceModel& model);
  std::uint64_t addEntry(const EntryModel& model, std::uint64_t parent, std::uint64_t id = 0);

  std::string name_;
  std::set<std::uint64_t> taken_; // ids that the model gives out itself
  std::uint64_t nextID_;
  std::vector<MachineService> services_;
  Force force_; // ends before the devices
};

} // namespace vel::host
