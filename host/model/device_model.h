// A device as a JSON file describes it: HID services with their registry entries and drivers, named services, clocks.
// docs/device-model.md explains the file, models/device-model.schema.json describes it to editors.
#pragma once

#include <formats/value.h>
#include <host/model/extended_model.h>
#include <host/model/replies.h>

#include <CoreFoundation/CFPlugInCOM.h>
#include <IOKit/IOTypes.h>

#include <array>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vel::host {

struct EntryModel {
  std::string name;
  std::string className;
  formats::Dictionary properties = {};
  std::optional<IOReturn> brokenParent = {}; // the result of reading the parent; 0: success, but no parent
  bool isHIDDevice = false;
};

// How the user-client plug-in of an entry behaves.
struct PlugInModel {
  IOReturn createResult = kIOReturnSuccess;
  bool yieldsPlugIn = true; // false: creating it returns createResult and null
  bool hasInterface = true;
  HRESULT queryResult = S_OK;
  IOReturn openResult = kIOReturnSuccess;
};

struct DriverModel {
  PlugInModel plugIn;
  ReplyModel replies;
};

struct DeviceUserClientModel {
  PlugInModel plugIn;
  std::vector<formats::Bytes> analytics; // batches of whole entries
};

struct UsageModel {
  std::uint32_t page = 0;
  std::uint32_t usage = 0;
};

enum class RegistryID { ofEntry, missing, unmatched };

struct ServiceModel {
  std::string name;
  formats::Dictionary properties; // with "Transport", if it has one
  std::vector<UsageModel> usages;
  RegistryID registryID = RegistryID::ofEntry;
  std::uint64_t entryID = 0; // 0: any
  // The service's own entry, its parent, and so on up to the root of the tree.
  std::vector<EntryModel> entries;
  // A chain below the grandparent, placed before the parent; each entry is the child of the one before.
  std::vector<EntryModel> children;
  std::optional<DriverModel> driver;
  std::optional<DeviceUserClientModel> device;
};

struct NamedServiceModel {
  EntryModel entry;
  IOReturn openResult = kIOReturnSuccess;
  ReplyModel replies;
};

struct TimeSyncModel {
  std::int64_t vel = 0;
  std::int64_t calendar = 0;
};

struct DeviceModel {
  std::string name;
  std::optional<std::int64_t> bootTime; // microseconds since the Unix epoch
  std::optional<TimeSyncModel> timeSync;
  std::vector<ServiceModel> services;
  std::vector<NamedServiceModel> namedServices;
};

// Throws formats::Error with file, JSON pointer and reason. "-" is the standard input, which cannot extend a model.
DeviceModel readDeviceModel(const std::filesystem::path& path);
// Reads a model from text, which errors call `source`.
DeviceModel parseDeviceModel(std::string_view text, const std::string& source, const ModelReader& readModel = {});

} // namespace vel::host
