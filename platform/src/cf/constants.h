// The constant objects of one type, one for each value: found without a lock, added under one, never removed.
#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <mutex>

namespace vel::platform {

// Constant initialisation and no destruction: usable in any static constructor and destructor.
template <class T>
class Constants {
public:
  // The object whose value has `hash` and which `matches` accepts, or else the one that `make` returns. [any thread]
  template <class Matches, class Make>
  const T* get(std::size_t hash, Matches matches, Make make) {
    std::atomic<Link*>& chain = chains_[hash % chains_.size()];
    if (const T* object = find(chain, matches)) {
      return object;
    }
    const std::lock_guard lock(adding_);
    if (const T* object = find(chain, matches)) {
      return object; // another thread was faster
    }
    auto* link = new Link{make(), chain.load(std::memory_order_relaxed)};
    chain.store(link, std::memory_order_release);
    return link->object;
  }

private:
  struct Link {
    const T* object;
    Link* next;
  };

  template <class Matches>
  static const T* find(const std::atomic<Link*>& chain, Matches matches) {
    for (const Link* link = chain.load(std::memory_order_acquire); link != nullptr; link = link->next) {
      if (matches(*link->object)) {
        return link->object;
      }
    }
    return nullptr;
  }

  std::array<std::atomic<Link*>, 1024> chains_ = {};
  std::mutex adding_;
};

} // namespace vel::platform
