// Dictionaries: pairs in the order in which they were set; large ones also have a hash index.
#pragma once

#include "cf/object.h"

#include <CoreFoundation/CFDictionary.h>

#include <cstdint>
#include <span>
#include <vector>

struct CFDictionaryObject final : vel::platform::Object {
  static vel::platform::Type kind;

  struct Pair {
    const void* key;
    const void* value;
    CFHashCode hash;
  };

  CFDictionaryObject(CFAllocatorRef allocator, CFIndex capacity, const CFDictionaryKeyCallBacks* keyCallBacks,
                     const CFDictionaryValueCallBacks* valueCallBacks);
  ~CFDictionaryObject() override;

  bool equals(const Object& other) const override;
  CFHashCode hash() const override;

  void set(const void* key, const void* value);
  const Pair* find(const void* key) const { return find(key, hashOf(key)); }
  std::span<const Pair> pairs() const { return pairs_; }
  // Whether keys and values are known to be CF objects.
  bool holdsObjects() const;

private:
  template <class T>
  using Vector = std::vector<T, vel::platform::Storage<T>>;

  CFHashCode hashOf(const void* key) const;
  const Pair* find(const void* key, CFHashCode hash) const;
  bool isKey(const Pair& pair, const void* key, CFHashCode hash) const;
  std::size_t firstSlot(CFHashCode hash) const;
  void addToIndex(std::size_t position);
  void growIndex();

  CFDictionaryKeyCallBacks keyCallBacks_;
  CFDictionaryValueCallBacks valueCallBacks_;
  Vector<Pair> pairs_;
  // Open addressing, at most half full, a power of two long: a pair's position plus 1, or 0. Empty for few pairs.
  Vector<std::uint32_t> slots_;
};
