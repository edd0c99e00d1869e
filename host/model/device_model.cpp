// One reader for each object of the document; every key is checked.
#include "host/model/device_model.h"

#include <formats/files.h>
#include <host/model/analytics.h>
#include <host/model/extended_model.h>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <limits>
#include <set>

namespace vel::host {

namespace {

constexpr std::size_t fileLimit = 16 << 20;
constexpr std::size_t nameLimit = 127; // the longest registry name
constexpr std::size_t servicesLimit = 256;
constexpr std::size_t usagesLimit = 64;
constexpr std::size_t batchesLimit = 4096;

// How reading the entry's parent fails: with a code, or with success and no parent.
IOReturn readBrokenParent(const formats::JsonNode& node) {
  if (node.isString() && node.text(nameLimit) == "none") {
    return kIOReturnSuccess;
  }
  const IOReturn result = node.code();
  if (result == kIOReturnSuccess) {
    node.fail("is 0, must be \"none\" or a failure code");
  }
  return result;
}

// Reads an entry; `entry` has the default values.
EntryModel readEntry(const formats::JsonNode& node, EntryModel entry) {
  node.allowKeys({"name", "class", "properties", "parent-read", "hid-device"});
  if (const auto name = node.find("name")) {
    entry.name = name->text(nameLimit);
  }
  if (const auto className = node.find("class")) {
    entry.className = className->text(nameLimit);
  }
  if (const auto properties = node.find("properties")) {
    entry.properties = properties->properties();
  }
  if (const auto read = node.find("parent-read")) {
    entry.brokenParent = readBrokenParent(*read);
  }
  if (const auto hid = node.find("hid-device")) {
    entry.isHIDDevice = hid->flag();
  }
  return entry;
}

void readRegistry(const std::optional<formats::JsonNode>& node, ServiceModel& service) {
  struct Level {
    std::string_view key;
    EntryModel standard;
  };
  const std::array<Level, 4> levels = {{
      {"service", {.name = service.name, .className = "TavikVELHIDDriver"}},
      {"parent", {.name = "TavikVELHIDInterface", .className = "TavikVELHIDInterface"}},
      {"grandparent", {.name = "TavikVELHIDDevice", .className = "TavikVELHIDDevice", .isHIDDevice = true}},
      {"great-grandparent", {.name = service.name, .className = "TavikVELEndpoint"}},
  }};
  if (node) {
    node->allowKeys({"service", "parent", "grandparent", "great-grandparent", "children"});
  }
  bool ended = false;
  for (const Level& level : levels) {
    const auto entry = node ? node->find(level.key) : std::nullopt;
    if (ended) {
      if (entry) {
        entry->fail("has no place: the entry below it is null");
      }
    } else if (entry && entry->isNull() && level.key != "service") {
      ended = true;
    } else {
      service.entries.push_back(entry ? readEntry(*entry, level.standard) : level.standard);
    }
  }
  static constexpr std::array<const char*, 3> chain = {"interface", "driver", "user client"};
  const auto children = node ? node->find("children") : std::nullopt;
  if (!children) {
    return;
  }
  if (service.entries.size() < 3) {
    children->fail("has no place: there is no grandparent");
  }
  for (const formats::JsonNode& child : children->items(chain.size())) {
    const char* const name = chain[service.children.size()];
    service.children.push_back(readEntry(child, {.name = name, .className = name}));
  }
}

// The keys that driver and device share.
PlugInModel readPlugIn(const formats::JsonNode& node) {
  PlugInModel plugIn;
  if (const auto result = node.find("create-result")) {
    plugIn.createResult = result->code();
    plugIn.yieldsPlugIn = plugIn.createResult == kIOReturnSuccess;
  }
  if (const auto present = node.find("plug-in")) {
    plugIn.yieldsPlugIn = present->flag();
    if (plugIn.yieldsPlugIn && plugIn.createResult != kIOReturnSuccess) {
      present->fail("is true, but creating the plug-in fails");
    }
  }
  if (const auto present = node.find("interface")) {
    plugIn.hasInterface = present->flag();
    plugIn.queryResult = plugIn.hasInterface ? S_OK : E_NOINTERFACE;
  }
  if (const auto result = node.find("query-result")) {
    plugIn.queryResult = result->code();
  }
  if (const auto result = node.find("open-result")) {
    plugIn.openResult = result->code();
  }
  return plugIn;
}

DriverModel readDriver(const formats::JsonNode& node, ReplyBudget& budget) {
  node.allowKeys(
      {"create-result", "plug-in", "interface", "query-result", "open-result", "property-replies", "command-replies"});
  return {readPlugIn(node), readReplies(node, budget)};
}

DeviceUserClientModel readDevice(const formats::JsonNode& node) {
  node.allowKeys({"create-result", "plug-in", "interface", "query-result", "open-result", "analytics"});
  DeviceUserClientModel device{readPlugIn(node), {}};
  if (const auto batches = node.find("analytics")) {
    for (const formats::JsonNode& batch : batches->items(batchesLimit)) {
      device.analytics.push_back(readAnalyticsBatch(batch));
    }
  }
  return device;
}

void readRegistryID(const formats::JsonNode& node, ServiceModel& service) {
  if (node.isString() && node.text(nameLimit) == "none") {
    service.registryID = RegistryID::missing;
  } else if (node.isString() && node.text(nameLimit) == "unmatched") {
    service.registryID = RegistryID::unmatched;
  } else {
    service.entryID = node.unsignedNumber(std::numeric_limits<std::int64_t>::max());
    if (service.entryID == 0) {
      node.fail("is 0, which no registry entry has");
    }
  }
}

ServiceModel readService(const formats::JsonNode& node, ReplyBudget& budget) {
  node.allowKeys({"name", "transport", "properties", "usages", "registry-id", "registry", "driver", "device"});
  node.requireKeys({"name"});
  ServiceModel service;
  service.name = node.find("name")->text(nameLimit);
  if (const auto transport = node.find("transport")) {
    service.properties.push_back({"Transport", transport->propertyValue()});
  }
  if (const auto properties = node.find("properties")) {
    for (formats::Member& property : properties->properties()) {
      if (property.key == "Transport") {
        properties->fail("holds \"Transport\", which is written as the service's \"transport\"");
      }
      service.properties.push_back(std::move(property));
    }
  }
  if (const auto usages = node.find("usages")) {
    for (const formats::JsonNode& usage : usages->items(usagesLimit)) {
      usage.allowKeys({"page", "usage"});
      usage.requireKeys({"page", "usage"});
      constexpr auto most = std::numeric_limits<std::uint32_t>::max();
      service.usages.push_back({static_cast<std::uint32_t>(usage.find("page")->unsignedNumber(most)),
                                static_cast<std::uint32_t>(usage.find("usage")->unsignedNumber(most))});
    }
  }
  if (const auto id = node.find("registry-id")) {
    readRegistryID(*id, service);
  }
  readRegistry(node.find("registry"), service);
  if (const auto driver = node.find("driver"); driver && !driver->isNull()) {
    service.driver = readDriver(*driver, budget);
  }
  if (const auto device = node.find("device"); device && !device->isNull()) {
    if (service.entries.size() < 3) {
      device->fail("has no place: there is no grandparent");
    }
    service.device = readDevice(*device);
  }
  return service;
}

NamedServiceModel readNamedService(const formats::JsonNode& node, ReplyBudget& budget) {
  node.allowKeys({"name", "class", "properties", "open-result", "property-replies", "command-replies"});
  node.requireKeys({"name"});
  NamedServiceModel service;
  service.entry.name = node.find("name")->text(nameLimit);
  service.entry.className = service.entry.name;
  if (const auto className = node.find("class")) {
    service.entry.className = className->text(nameLimit);
  }
  if (const auto properties = node.find("properties")) {
    service.entry.properties = properties->properties();
  }
  if (const auto result = node.find("open-result")) {
    service.openResult = result->code();
  }
  service.replies = readReplies(node, budget);
  return service;
}

constexpr std::int64_t leastInteger = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t mostInteger = std::numeric_limits<std::int64_t>::max();

TimeSyncModel readTimeSync(const formats::JsonNode& node) {
  node.allowKeys({"vel", "calendar"});
  node.requireKeys({"vel", "calendar"});
  return {node.find("vel")->signedNumber(leastInteger, mostInteger),
          node.find("calendar")->signedNumber(leastInteger, mostInteger)};
}

DeviceModel readDocument(const formats::JsonNode& document) {
  DeviceModel model;
  for (const char* const prose : {"$schema", "description"}) {
    if (const auto text = document.find(prose)) {
      static_cast<void>(text->text(fileLimit)); // for readers and editors
    }
  }
  if (const auto name = document.find("name")) {
    model.name = name->text(nameLimit);
  }
  if (const auto bootTime = document.find("boot-time")) {
    model.bootTime = bootTime->signedNumber(leastInteger, mostInteger);
  }
  if (const auto timeSync = document.find("time-sync")) {
    model.timeSync = readTimeSync(*timeSync);
  }
  ReplyBudget budget;
  std::set<std::uint64_t> ids;
  if (const auto services = document.find("services")) {
    for (const formats::JsonNode& node : services->items(servicesLimit)) {
      model.services.push_back(readService(node, budget));
      const std::uint64_t id = model.services.back().entryID;
      if (id != 0 && !ids.insert(id).second) {
        node.find("registry-id")->fail("is that of an earlier service");
      }
    }
  }
  if (const auto services = document.find("named-services")) {
    for (const formats::JsonNode& node : services->items(servicesLimit)) {
      model.namedServices.push_back(readNamedService(node, budget));
    }
  }
  return model;
}

} // namespace

DeviceModel parseDeviceModel(std::string_view text, const std::string& source, const ModelReader& readModel) {
  std::string sources = source;
  const formats::Json document = withBase(formats::parseJson(text, source), sources, readModel);
  return readDocument(formats::JsonNode(document, sources));
}

DeviceModel readDeviceModel(const std::filesystem::path& path) {
  const auto readNeighbour = [&](const std::string& name) {
    return formats::readRegularFile(path.parent_path() / name, fileLimit);
  };
  return parseDeviceModel(formats::readFile(path, fileLimit), formats::inputName(path),
                          path == "-" ? ModelReader() : ModelReader(readNeighbour));
}

} // namespace vel::host
