// The tables of the registry, and how a host fills them.
#include "services/iokit/registry.h"

#include "announce.h"
#include "services/immortal.h"

#include <numeric>
#include <stdexcept>
#include <string>

namespace vel::platform {

Registry& registry() {
  return immortal<Registry>();
}

std::string describe(EntryHandle entry) {
  const std::lock_guard lock(registry().mutex);
  const auto* const found = registry().byHandle(entry.handle);
  return found == nullptr ? "none" : found->facts.name;
}

Entry& Registry::add(control::RegistryEntry facts) {
  if (facts.id == 0) {
    while (entries_.contains(nextID_)) {
      ++nextID_;
    }
    facts.id = nextID_;
  } else if (entries_.contains(facts.id)) {
    throw std::invalid_argument("registry id " + std::to_string(facts.id) + " is taken");
  }
  if (facts.parent != 0) {
    auto* const parent = byID(facts.parent);
    if (parent == nullptr) {
      throw std::invalid_argument("no registry entry " + std::to_string(facts.parent) + " to be a parent");
    }
    parent->children.push_back(facts.id);
  }
  order_.push_back(facts.id);
  auto& entry = entries_[facts.id];
  entry.facts = std::move(facts);
  return entry;
}

Entry* Registry::byID(std::uint64_t id) {
  const auto found = entries_.find(id);
  return found == entries_.end() ? nullptr : &found->second;
}

Entry* Registry::byHandle(io_object_t handle) {
  const auto found = handles_.find(handle);
  return found == handles_.end() ? nullptr : byID(found->second);
}

Entry* Registry::first(const std::function<bool(const Entry&)>& matches) {
  for (const auto id : order_) {
    if (auto* const entry = byID(id); matches(*entry)) {
      return entry;
    }
  }
  return nullptr;
}

io_object_t Registry::reference(Entry& entry) {
  if (entry.references == 0) {
    entry.handle = nextHandle();
    handles_.emplace(entry.handle, entry.facts.id);
  }
  ++entry.references;
  return entry.handle;
}

bool Registry::dereference(io_object_t handle) {
  auto* const entry = byHandle(handle);
  if (entry == nullptr) {
    return false;
  }
  if (--entry->references == 0) {
    handles_.erase(handle);
    entry->handle = 0;
  }
  return true;
}

io_connect_t Registry::connect(std::shared_ptr<control::UserClient> client) {
  const auto connection = nextHandle();
  connections_.emplace(connection, std::move(client));
  return connection;
}

std::shared_ptr<control::UserClient> Registry::client(io_connect_t connection) {
  const auto found = connections_.find(connection);
  return found == connections_.end() ? nullptr : found->second;
}

bool Registry::disconnect(io_connect_t connection) {
  return connections_.erase(connection) == 1;
}

std::size_t Registry::references() const {
  return std::accumulate(entries_.begin(), entries_.end(), connections_.size(),
                         [](std::size_t sum, const auto& row) { return sum + row.second.references; });
}

Registry::Contents Registry::clear() {
  handles_.clear();
  order_.clear();
  nextID_ = firstID;
  return {std::exchange(entries_, {}), std::exchange(connections_, {})};
}

} // namespace vel::platform

namespace vel::control {

namespace {

// Runs `change` on an entry that must be there.
template <class Change>
void changeEntry(std::uint64_t id, Change change) {
  auto& registry = platform::registry();
  const std::lock_guard lock(registry.mutex);
  auto* const entry = registry.byID(id);
  if (entry == nullptr) {
    throw std::invalid_argument("no registry entry " + std::to_string(id));
  }
  change(*entry);
}

} // namespace

std::uint64_t addRegistryEntry(RegistryEntry entry) {
  auto& registry = platform::registry();
  const std::lock_guard lock(registry.mutex);
  return registry.add(std::move(entry)).facts.id;
}

void setRegistryProperties(std::uint64_t id, Ref<CFDictionaryRef> properties) {
  // The old properties are released with the argument, after the lock is released.
  changeEntry(id, [&](platform::Entry& entry) { std::swap(entry.facts.properties, properties); });
}

void breakParent(std::uint64_t id, IOReturn result) {
  changeEntry(id, [&](platform::Entry& entry) { entry.brokenParent = result; });
}

void attachPlugIn(std::uint64_t id, CFUUIDRef plugInType, PlugInFactory factory) {
  changeEntry(id, [&](platform::Entry& entry) {
    entry.plugIns.push_back({Ref<CFUUIDRef>::share(plugInType), std::move(factory)});
  });
}

void attachUserClient(std::uint64_t id, std::shared_ptr<UserClient> client) {
  changeEntry(id, [&](platform::Entry& entry) { entry.userClient.swap(client); });
}

std::size_t registryReferences() {
  auto& registry = platform::registry();
  const std::lock_guard lock(registry.mutex);
  return registry.references();
}

std::size_t openConnections() {
  auto& registry = platform::registry();
  const std::lock_guard lock(registry.mutex);
  return registry.connections();
}

void resetRegistry() {
  platform::Registry::Contents dropped; // destroyed after the lock is given back
  auto& registry = platform::registry();
  const std::lock_guard lock(registry.mutex);
  dropped = registry.clear();
}

} // namespace vel::control
