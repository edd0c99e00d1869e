// Memory of objects and of the collections inside them.
#pragma once

#include <CoreFoundation/CFBase.h>

#include <cstddef>
#include <new>

namespace vel::platform {

// Like CFAllocatorAllocate and CFAllocatorDeallocate, but not announced: for the platform's own use.
void* allocate(CFAllocatorRef allocator, std::size_t size);
void deallocate(CFAllocatorRef allocator, void* pointer);

// A capacity that a caller asks for is a hint; more than this is not reserved ahead.
inline constexpr CFIndex mostReserved = 1024;

// A standard allocator, for containers whose memory comes from a CF allocator.
template <class T>
struct Storage {
  using value_type = T;

  explicit Storage(CFAllocatorRef from) : allocator(from) {}
  template <class U>
  Storage(const Storage<U>& other) : allocator(other.allocator) {}

  T* allocate(std::size_t count) {
    void* memory = vel::platform::allocate(allocator, count * sizeof(T));
    if (memory == nullptr) {
      throw std::bad_alloc();
    }
    return static_cast<T*>(memory);
  }
  void deallocate(T* pointer, std::size_t) { vel::platform::deallocate(allocator, pointer); }
  template <class U>
  bool operator==(const Storage<U>& other) const {
    return allocator == other.allocator;
  }

  CFAllocatorRef allocator;
};

} // namespace vel::platform
