// Property lists: the objects are copied into a tree of libplist, which writes the binary form.

#include "announce.h"
#include "cf/array.h"
#include "cf/data.h"
#include "cf/dictionary.h"
#include "cf/make.h"
#include "cf/number.h"
#include "cf/string.h"

#include <CoreFoundation/CFPropertyList.h>

#include <memory>
#include <plist/plist.h>

using namespace vel::platform;

namespace {

// Nesting beyond this is refused, since libplist walks its trees by recursion.
constexpr int mostLevels = 512;

struct FreeNode {
  void operator()(void* node) const { plist_free(node); }
};
using Node = std::unique_ptr<void, FreeNode>;

Node nodeOf(CFTypeRef reference, int levels);

Node arrayNode(const CFArrayObject& array, int levels) {
  Node node(array.holdsObjects() ? plist_new_array() : nullptr);
  for (const void* value : node ? array.values() : std::span<const void* const>()) {
    Node item = nodeOf(value, levels);
    if (!item) {
      return nullptr;
    }
    plist_array_append_item(node.get(), item.release());
  }
  return node;
}

Node dictionaryNode(const CFDictionaryObject& dictionary, int levels) {
  Node node(dictionary.holdsObjects() ? plist_new_dict() : nullptr);
  for (const auto& pair : node ? dictionary.pairs() : std::span<const CFDictionaryObject::Pair>()) {
    const auto* key = as<CFStringObject>(objectAt(pair.key, "CFPropertyListCreateData"));
    Node item = key == nullptr ? nullptr : nodeOf(pair.value, levels);
    if (!item) {
      return nullptr;
    }
    plist_dict_set_item(node.get(), key->text(), item.release());
  }
  return node;
}

// Null for what a property list cannot hold.
Node nodeOf(CFTypeRef reference, int levels) {
  const Object& object = objectAt(reference, "CFPropertyListCreateData");
  if (const auto* string = as<CFStringObject>(object)) {
    return Node(plist_new_string(string->text()));
  }
  if (const auto* number = as<CFNumberObject>(object)) {
    // libplist takes the bits of an integer as 64; the sign of a 32-bit one has been extended to them already.
    return Node(number->isReal() ? plist_new_real(number->real())
                                 : plist_new_uint(static_cast<std::uint64_t>(number->integer())));
  }
  if (const auto* boolean = as<CFBooleanObject>(object)) {
    return Node(plist_new_bool(boolean->value));
  }
  if (const auto* data = as<CFDataObject>(object)) {
    return Node(plist_new_data(reinterpret_cast<const char*>(data->bytes().data()), data->bytes().size()));
  }
  if (levels == 0) {
    return nullptr;
  }
  if (const auto* array = as<CFArrayObject>(object)) {
    return arrayNode(*array, levels - 1);
  }
  if (const auto* dictionary = as<CFDictionaryObject>(object)) {
    return dictionaryNode(*dictionary, levels - 1);
  }
  return nullptr;
}

} // namespace

CFDataRef CFPropertyListCreateData(CFAllocatorRef allocator, CFPropertyListRef propertyList,
                                   CFPropertyListFormat format, CFOptionFlags options, CFErrorRef*) {
  if (announce("CFPropertyListCreateData", format, options) || propertyList == nullptr ||
      format != kCFPropertyListBinaryFormat_v1_0 || options != 0) {
    return nullptr;
  }
  const Node node = nodeOf(propertyList, mostLevels);
  if (!node) {
    return nullptr;
  }
  char* bytes = nullptr; // written through only when it is null
  std::uint32_t length = 0;
  plist_to_bin(node.get(), &bytes, &length);
  const std::unique_ptr<char, decltype(&plist_to_bin_free)> owner(bytes, &plist_to_bin_free);
  if (bytes == nullptr) {
    return nullptr;
  }
  // NOLINTNEXTLINE(clang-analyzer-osx.cocoa.RetainCount): the new object's one reference is the caller's
  return makeData(allocator, {reinterpret_cast<const std::uint8_t*>(bytes), length});
}
