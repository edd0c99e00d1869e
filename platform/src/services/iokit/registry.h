// The entries of the I/O registry and the handles to them: what the IOKit functions work on.
//
// A handle is a number that is never given out twice. An entry has at most one handle at a time; every look-up that
// yields the entry adds a reference to it.
#pragma once

#include <control/registry.h>

#include <IOKit/IOTypes.h>

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <unordered_map>
#include <utility>
#include <vector>

namespace vel::platform {

struct PlugIn {
  control::Ref<CFUUIDRef> type;
  control::PlugInFactory factory;
};

struct Entry {
  control::RegistryEntry facts; // `id` is never 0 here
  std::vector<std::uint64_t> children;
  std::optional<IOReturn> brokenParent;
  std::vector<PlugIn> plugIns; // the last one of a type is used
  std::shared_ptr<control::UserClient> userClient;
  io_object_t handle = 0;       // 0: the entry has no outside references
  std::uint32_t references = 0; // to the handle
};

// All members are called under `mutex`, which is never held while a plug-in's, host's or allocator's code may run.
class Registry {
public:
  std::mutex mutex;

  Entry& add(control::RegistryEntry facts);
  // Null when there is none.
  Entry* byID(std::uint64_t id);
  Entry* byHandle(io_object_t handle);
  // The first entry, in the order of adding, that `matches`; null when there is none.
  Entry* first(const std::function<bool(const Entry&)>& matches);

  // The entry's handle, with one more reference that the caller drops.
  io_object_t reference(Entry& entry);
  // False unless this is a handle with references.
  bool dereference(io_object_t handle);

  io_connect_t connect(std::shared_ptr<control::UserClient> client);
  // Null unless this is a connection.
  std::shared_ptr<control::UserClient> client(io_connect_t connection);
  bool disconnect(io_connect_t connection);

  std::size_t references() const;
  std::size_t connections() const { return connections_.size(); }

  // Hands all entries, handles and connections to the caller, who destroys them after releasing the mutex.
  struct Contents {
    std::map<std::uint64_t, Entry> entries;
    std::unordered_map<io_connect_t, std::shared_ptr<control::UserClient>> connections;
  };
  Contents clear();

private:
  io_object_t nextHandle() { return nextHandle_++; }

  std::map<std::uint64_t, Entry> entries_;
  std::vector<std::uint64_t> order_; // ids, as they were added
  std::unordered_map<io_object_t, std::uint64_t> handles_;
  std::unordered_map<io_connect_t, std::shared_ptr<control::UserClient>> connections_;
  io_object_t nextHandle_ = 0x1001;
  std::uint64_t nextID_ = firstID;

  static constexpr std::uint64_t firstID = 0x100000001; // above 32 bits, as on the host OS
};

Registry& registry();

} // namespace vel::platform
