// Property lists, written only in the binary format.

#include "announce.h"
#include "cf/binary_list.h"
#include "cf/make.h"

#include <CoreFoundation/CFPropertyList.h>

using namespace vel::platform;

namespace {

// Nesting beyond this is refused, since lists are walked by recursion.
constexpr int mostLevels = 512;

} // namespace

CFDataRef CFPropertyListCreateData(CFAllocatorRef allocator, CFPropertyListRef propertyList,
                                   CFPropertyListFormat format, CFOptionFlags options, CFErrorRef*) {
  if (announce("CFPropertyListCreateData", Detail{allocator}, format, options) || propertyList == nullptr ||
      format != kCFPropertyListBinaryFormat_v1_0 || options != 0) {
    return nullptr;
  }
  BinaryList list;
  // NOLINTNEXTLINE(clang-analyzer-osx.cocoa.RetainCount): the new object's one reference is the caller's
  return list.add(propertyList, mostLevels) ? makeData(allocator, list.write()) : nullptr;
}
