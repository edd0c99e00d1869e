// Adds the model's entries, clocks, user clients and services to the platform, and removes them at the end.
#include "host/machine.h"

#include <control/clock.h>
#include <control/hid.h>
#include <control/registry.h>
#include <host/cf_values.h>

#include <atomic>
#include <limits>
#include <stdexcept>

namespace vel::host {

namespace {

std::atomic<bool> inForce = false;

constexpr std::uint64_t firstID = 0x100000200;
constexpr std::uint64_t unmatchedID = std::numeric_limits<std::uint64_t>::max(); // larger than any id in a model

std::optional<std::uint64_t> answeredID(RegistryID answer, std::uint64_t entryID) {
  switch (answer) {
  case RegistryID::missing:
    return std::nullopt;
  case RegistryID::unmatched:
    return unmatchedID;
  case RegistryID::ofEntry:
    break;
  }
  return entryID;
}

} // namespace

Machine::Force::Force() {
  if (inForce.exchange(true)) {
    throw std::logic_error("a machine is in force already");
  }
}

Machine::Force::~Force() {
  control::resetRegistry(); // must come before the devices are destroyed: its plug-ins refer to them
  control::setBootTime(std::nullopt);
  inForce = false;
}

Machine::Machine(const DeviceModel& model) : name_(model.name), nextID_(firstID) {
  control::setBootTime(model.bootTime);
  for (const ServiceModel& service : model.services) {
    taken_.insert(service.entryID);
  }
  for (const NamedServiceModel& service : model.namedServices) {
    control::attachUserClient(addEntry(service.entry, 0), std::make_shared<ModelledUserClient>(service));
  }
  if (model.timeSync) {
    formats::Dictionary pair = {{"vel", {model.timeSync->vel}}, {"calendar", {model.timeSync->calendar}}};
    addEntry(
        {.name = "TavikVELTimesync", .className = "TavikVELTimesync", .properties = {{"timesync", {std::move(pair)}}}},
        0);
  }
  for (const ServiceModel& service : model.services) {
    addService(service);
  }
}

Machine::~Machine() = default;

void Machine::dropCallbacks() {
  for (const MachineService& service : services_) {
    service.device->dropCallback();
  }
}

std::uint64_t Machine::addEntry(const EntryModel& model, std::uint64_t parent, std::uint64_t id) {
  if (id == 0) {
    while (taken_.contains(nextID_)) {
      ++nextID_;
    }
    id = nextID_++;
  }
  control::RegistryEntry entry;
  entry.name = model.name;
  entry.className = model.className;
  entry.properties = makeDictionary(model.properties);
  entry.parent = parent;
  entry.id = id;
  entry.isHIDDevice = model.isHIDDevice;
  control::addRegistryEntry(std::move(entry));
  if (model.brokenParent) {
    control::breakParent(id, *model.brokenParent);
  }
  return id;
}

void Machine::addService(const ServiceModel& model) {
  // From the root down to the service. The chain of children comes before the parent, since the plug-in looks at the
  // first child of the grandparent.
  std::uint64_t parent = 0;
  std::uint64_t grandparent = 0;
  for (std::size_t level = model.entries.size() - 1; level > 0; --level) {
    parent = addEntry(model.entries[level], parent);
    if (level == 2) {
      grandparent = parent;
      std::uint64_t above = grandparent;
      for (const EntryModel& child : model.children) {
        above = addEntry(child, above);
      }
    }
  }

  MachineService service;
  service.name = model.name;
  service.usages = model.usages;
  service.entryID = addEntry(model.entries.front(), parent, model.entryID);
  service.device = std::make_unique<ModelledDevice>(model.driver, model.device);
  ModelledDevice* const device = service.device.get();
  if (model.driver) {
    control::attachPlugIn(service.entryID, kVELDriverUserClientTypeID,
                          [device](IOCFPlugInInterface*** plugIn) { return device->createDriverPlugIn(plugIn); });
  }
  if (model.device) {
    control::attachPlugIn(grandparent, kVELDeviceUserClientTypeID,
                          [device](IOCFPlugInInterface*** plugIn) { return device->createDevicePlugIn(plugIn); });
  }

  control::HIDService hid;
  hid.properties = makeDictionary(model.properties);
  for (const UsageModel& usage : model.usages) {
    hid.usages.push_back({usage.page, usage.usage});
  }
  hid.registryID = answeredID(model.registryID, service.entryID);
  service.service = control::Ref<IOHIDServiceRef>::adopt(control::createHIDService(std::move(hid)));
  services_.push_back(std::move(service));
}

} // namespace vel::host
