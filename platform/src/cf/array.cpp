// Arrays on an allocator, and the functions of CFArray.h.
#include "cf/array.h"

#include "announce.h"
#include "cf/make.h"
#include "control/ref.h"

#include <algorithm>

using namespace vel::platform;

Type CFArrayObject::kind("CFArray");

extern const CFArrayCallBacks kCFTypeArrayCallBacks = {CFRetain, vel::control::dropReference, CFEqual};

CFArrayObject::CFArrayObject(CFAllocatorRef allocator, CFIndex capacity, const CFArrayCallBacks* callBacks)
    : Object(kind, allocator), callBacks_(callBacks == nullptr ? CFArrayCallBacks{} : *callBacks),
      values_(Storage<const void*>(allocator)) {
  values_.reserve(static_cast<std::size_t>(std::clamp<CFIndex>(capacity, 0, mostReserved)));
}

CFArrayObject::~CFArrayObject() {
  if (callBacks_.release != nullptr) {
    std::ranges::for_each(values_, callBacks_.release);
  }
}

bool CFArrayObject::equals(const Object& other) const {
  const auto& array = static_cast<const CFArrayObject&>(other);
  return callBacks_.equal == array.callBacks_.equal &&
         std::ranges::equal(values_, array.values_, [this](const void* a, const void* b) {
           return a == b || (callBacks_.equal != nullptr && callBacks_.equal(a, b));
         });
}

CFHashCode CFArrayObject::hash() const {
  CFHashCode hash = values_.size();
  if (callBacks_.equal == CFEqual) { // otherwise it is unknown which values are equal
    for (const void* value : values_) {
      hash = hash * 31 + CFHash(value);
    }
  }
  return hash;
}

void CFArrayObject::append(const void* value) {
  try {
    values_.push_back(value);
  } catch (const std::bad_alloc&) {
    misuse("CFArrayAppendValue", "out of memory at %zu values", values_.size());
  }
  if (callBacks_.retain != nullptr) {
    values_.back() = callBacks_.retain(value);
  }
}

namespace vel::platform {

CFMutableArrayRef makeArray(CFAllocatorRef allocator, CFIndex capacity, const CFArrayCallBacks* callBacks) {
  return create<CFArrayObject>(allocator, 0, capacity, callBacks);
}

void append(CFMutableArrayRef array, const void* value) {
  expect(array, "CFArrayAppendValue").append(value);
}

} // namespace vel::platform

CFTypeID CFArrayGetTypeID(void) {
  return CFArrayObject::kind.id();
}

CFMutableArrayRef CFArrayCreateMutable(CFAllocatorRef allocator, CFIndex capacity, const CFArrayCallBacks* callBacks) {
  if (announce("CFArrayCreateMutable", Detail{allocator}, capacity)) {
    return nullptr;
  }
  return makeArray(allocator, capacity, callBacks);
}

void CFArrayAppendValue(CFMutableArrayRef array, const void* value) {
  note("CFArrayAppendValue");
  append(array, value);
}

CFIndex CFArrayGetCount(CFArrayRef array) {
  return static_cast<CFIndex>(expect(array, "CFArrayGetCount").values().size());
}

const void* CFArrayGetValueAtIndex(CFArrayRef array, CFIndex index) {
  const std::span<const void* const> values = expect(array, "CFArrayGetValueAtIndex").values();
  if (index < 0 || static_cast<std::size_t>(index) >= values.size()) {
    misuse("CFArrayGetValueAtIndex", "index %ld in an array of %zu", index, values.size());
  }
  return values[static_cast<std::size_t>(index)];
}
