// Dictionaries on an allocator, their hash index, and the functions of CFDictionary.h.
#include "cf/dictionary.h"

#include "announce.h"
#include "cf/make.h"
#include "control/ref.h"

#include <algorithm>
#include <bit>
#include <utility>

using namespace vel::platform;

Type CFDictionaryObject::kind("CFDictionary");

extern const CFDictionaryKeyCallBacks kCFTypeDictionaryKeyCallBacks = {CFRetain, vel::control::dropReference, CFEqual,
                                                                       CFHash};
extern const CFDictionaryValueCallBacks kCFTypeDictionaryValueCallBacks = {CFRetain, vel::control::dropReference,
                                                                           CFEqual};

namespace {

// For up to this many pairs, comparing hashes one by one is faster than an index.
constexpr std::size_t fewPairs = 8;

} // namespace

CFDictionaryObject::CFDictionaryObject(CFAllocatorRef allocator, CFIndex capacity,
                                       const CFDictionaryKeyCallBacks* keyCallBacks,
                                       const CFDictionaryValueCallBacks* valueCallBacks)
    : Object(kind, allocator), keyCallBacks_(keyCallBacks == nullptr ? CFDictionaryKeyCallBacks{} : *keyCallBacks),
      valueCallBacks_(valueCallBacks == nullptr ? CFDictionaryValueCallBacks{} : *valueCallBacks),
      pairs_(Storage<Pair>(allocator)), slots_(Storage<std::uint32_t>(allocator)) {
  pairs_.reserve(static_cast<std::size_t>(std::clamp<CFIndex>(capacity, 0, mostReserved)));
}

CFDictionaryObject::~CFDictionaryObject() {
  for (const Pair& pair : pairs_) {
    if (keyCallBacks_.release != nullptr) {
      keyCallBacks_.release(pair.key);
    }
    if (valueCallBacks_.release != nullptr) {
      valueCallBacks_.release(pair.value);
    }
  }
}

bool CFDictionaryObject::equals(const Object& other) const {
  const auto& dictionary = static_cast<const CFDictionaryObject&>(other);
  if (pairs_.size() != dictionary.pairs_.size() || keyCallBacks_.equal != dictionary.keyCallBacks_.equal ||
      keyCallBacks_.hash != dictionary.keyCallBacks_.hash ||
      valueCallBacks_.equal != dictionary.valueCallBacks_.equal) {
    return false;
  }
  return std::ranges::all_of(pairs_, [&](const Pair& pair) {
    const Pair* found = dictionary.find(pair.key, pair.hash);
    return found != nullptr && (found->value == pair.value ||
                                (valueCallBacks_.equal != nullptr && valueCallBacks_.equal(pair.value, found->value)));
  });
}

CFHashCode CFDictionaryObject::hash() const {
  CFHashCode hash = pairs_.size();
  for (const Pair& pair : pairs_) { // a sum, since the order does not count
    const CFHashCode value = valueCallBacks_.equal == CFEqual ? CFHash(pair.value) : 0;
    hash += (pair.hash ^ std::rotl(value, 17)) * 31;
  }
  return hash;
}

bool CFDictionaryObject::holdsObjects() const {
  return keyCallBacks_.retain == kCFTypeDictionaryKeyCallBacks.retain &&
         valueCallBacks_.retain == kCFTypeDictionaryValueCallBacks.retain;
}

CFHashCode CFDictionaryObject::hashOf(const void* key) const {
  if (keyCallBacks_.hash != nullptr) {
    return keyCallBacks_.hash(key);
  }
  // Equal keys need equal hashes. Without a hash function, only keys that are compared as pointers can have different
  // ones.
  return keyCallBacks_.equal != nullptr ? 0 : reinterpret_cast<CFHashCode>(key);
}

bool CFDictionaryObject::isKey(const Pair& pair, const void* key, CFHashCode hash) const {
  return pair.hash == hash &&
         (pair.key == key || (keyCallBacks_.equal != nullptr && keyCallBacks_.equal(pair.key, key)));
}

std::size_t CFDictionaryObject::firstSlot(CFHashCode hash) const {
  // Pointers and small numbers differ in few bits; the multiplication spreads them to the top ones.
  return (hash * 0x9E3779B97F4A7C15U) >> (64 - std::countr_zero(slots_.size()));
}

const CFDictionaryObject::Pair* CFDictionaryObject::find(const void* key, CFHashCode hash) const {
  if (slots_.empty()) {
    const auto found = std::ranges::find_if(pairs_, [&](const Pair& pair) { return isKey(pair, key, hash); });
    return found == pairs_.end() ? nullptr : &*found;
  }
  for (std::size_t slot = firstSlot(hash); slots_[slot] != 0; slot = (slot + 1) & (slots_.size() - 1)) {
    const Pair& pair = pairs_[slots_[slot] - 1];
    if (isKey(pair, key, hash)) {
      return &pair;
    }
  }
  return nullptr;
}

void CFDictionaryObject::addToIndex(std::size_t position) {
  std::size_t slot = firstSlot(pairs_[position].hash);
  while (slots_[slot] != 0) {
    slot = (slot + 1) & (slots_.size() - 1);
  }
  slots_[slot] = static_cast<std::uint32_t>(position + 1);
}

void CFDictionaryObject::growIndex() {
  slots_.assign(std::bit_ceil(pairs_.size() * 4), 0);
  for (std::size_t position = 0; position < pairs_.size(); ++position) {
    addToIndex(position);
  }
}

void CFDictionaryObject::set(const void* key, const void* value) {
  const CFHashCode hash = hashOf(key);
  const void* kept = valueCallBacks_.retain == nullptr ? value : valueCallBacks_.retain(value);
  if (const Pair* found = find(key, hash)) {
    const void* old = std::exchange(const_cast<Pair*>(found)->value, kept);
    if (valueCallBacks_.release != nullptr) {
      valueCallBacks_.release(old);
    }
    return;
  }
  try {
    pairs_.push_back({key, kept, hash});
    if (pairs_.size() * 2 > slots_.size() && pairs_.size() > fewPairs) {
      growIndex();
    } else if (!slots_.empty()) {
      addToIndex(pairs_.size() - 1);
    }
  } catch (const std::bad_alloc&) {
    misuse("CFDictionarySetValue", "out of memory at %zu pairs", pairs_.size());
  }
  if (keyCallBacks_.retain != nullptr) {
    pairs_.back().key = keyCallBacks_.retain(key);
  }
}

CFMutableDictionaryRef vel::platform::makeDictionary(CFAllocatorRef allocator, CFIndex capacity,
                                                     const CFDictionaryKeyCallBacks* keys,
                                                     const CFDictionaryValueCallBacks* values) {
  return create<CFDictionaryObject>(allocator, 0, capacity, keys, values);
}

CFTypeID CFDictionaryGetTypeID(void) {
  return CFDictionaryObject::kind.id();
}

CFMutableDictionaryRef CFDictionaryCreateMutable(CFAllocatorRef allocator, CFIndex capacity,
                                                 const CFDictionaryKeyCallBacks* keyCallBacks,
                                                 const CFDictionaryValueCallBacks* valueCallBacks) {
  if (announce("CFDictionaryCreateMutable", Detail{allocator}, capacity)) {
    return nullptr;
  }
  return makeDictionary(allocator, capacity, keyCallBacks, valueCallBacks);
}

void CFDictionarySetValue(CFMutableDictionaryRef dictionary, const void* key, const void* value) {
  expect(dictionary, "CFDictionarySetValue").set(key, value);
}

const void* CFDictionaryGetValue(CFDictionaryRef dictionary, const void* key) {
  const auto* pair = expect(dictionary, "CFDictionaryGetValue").find(key);
  return pair == nullptr ? nullptr : pair->value;
}

CFIndex CFDictionaryGetCount(CFDictionaryRef dictionary) {
  return static_cast<CFIndex>(expect(dictionary, "CFDictionaryGetCount").pairs().size());
}

void CFDictionaryGetKeysAndValues(CFDictionaryRef dictionary, const void** keys, const void** values) {
  for (const auto& pair : expect(dictionary, "CFDictionaryGetKeysAndValues").pairs()) {
    if (keys != nullptr) {
      *keys++ = pair.key;
    }
    if (values != nullptr) {
      *values++ = pair.value;
    }
  }
}
