// The functions of CFData.h.
#include "cf/data.h"

#include "announce.h"
#include "cf/make.h"

#include <algorithm>
#include <functional>
#include <string_view>

using namespace vel::platform;

Type CFDataObject::kind("CFData");

CFDataObject::CFDataObject(CFAllocatorRef allocator, std::span<const std::uint8_t> bytes)
    : Object(kind, allocator), size_(bytes.size()) {
  std::copy(bytes.begin(), bytes.end(), reinterpret_cast<std::uint8_t*>(this + 1));
}

bool CFDataObject::equals(const Object& other) const {
  return std::ranges::equal(bytes(), static_cast<const CFDataObject&>(other).bytes());
}

CFHashCode CFDataObject::hash() const {
  return std::hash<std::string_view>()({reinterpret_cast<const char*>(bytes().data()), size_});
}

CFDataRef vel::platform::makeData(CFAllocatorRef allocator, std::span<const std::uint8_t> bytes) {
  return create<CFDataObject>(allocator, bytes.size(), bytes);
}

CFTypeID CFDataGetTypeID(void) {
  return CFDataObject::kind.id();
}

CFDataRef CFDataCreate(CFAllocatorRef allocator, const UInt8* bytes, CFIndex length) {
  if (announce("CFDataCreate", Detail{allocator}, length) || length < 0 || (bytes == nullptr && length > 0)) {
    return nullptr;
  }
  return makeData(allocator, {bytes, static_cast<std::size_t>(length)});
}

const UInt8* CFDataGetBytePtr(CFDataRef data) {
  return expect(data, "CFDataGetBytePtr").bytes().data();
}

CFIndex CFDataGetLength(CFDataRef data) {
  return static_cast<CFIndex>(expect(data, "CFDataGetLength").bytes().size());
}
