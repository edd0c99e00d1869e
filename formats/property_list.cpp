// Reads the binary format with our own reader, and XML with libplist.
#include "formats/property_list.h"

#include <formats/binary_property_list.h>
#include <formats/xml_limits.h>

#include <plist/plist.h>

#include <cstdlib>
#include <memory>

namespace vel::formats {

namespace {

struct FreeList {
  void operator()(void* list) const { plist_free(list); }
};
using List = std::unique_ptr<void, FreeList>;

struct FreeMemory {
  void operator()(void* memory) const { std::free(memory); }
};
template <class T>
using Memory = std::unique_ptr<T, FreeMemory>;

Value convert(plist_t node, int depth);

Value convertDictionary(plist_t node, int depth) {
  Dictionary members;
  plist_dict_iter raw = nullptr;
  plist_dict_new_iter(node, &raw);
  const Memory<void> iterator(raw);
  while (true) {
    char* key = nullptr;
    plist_t item = nullptr;
    plist_dict_next_item(node, iterator.get(), &key, &item);
    const Memory<char> ownedKey(key);
    if (item == nullptr) {
      return {std::move(members)};
    }
    members.push_back({key, convert(item, depth + 1)});
  }
}

Value convertArray(plist_t node, int depth) {
  Array values;
  const std::uint32_t count = plist_array_get_size(node);
  for (std::uint32_t i = 0; i < count; ++i) {
    values.push_back(convert(plist_array_get_item(node, i), depth + 1));
  }
  return {std::move(values)};
}

Value convert(plist_t node, int depth) {
  if (depth > maximumDepth) {
    throw PropertyListError("property list nested too deep");
  }
  switch (plist_get_node_type(node)) {
  case PLIST_DICT:
    return convertDictionary(node, depth);
  case PLIST_ARRAY:
    return convertArray(node, depth);
  case PLIST_STRING: {
    std::uint64_t length = 0;
    const char* text = plist_get_string_ptr(node, &length);
    return {std::string(text, length)};
  }
  case PLIST_UINT: {
    std::uint64_t number = 0;
    plist_get_uint_val(node, &number); // negative numbers arrive as two's complement
    return {static_cast<std::int64_t>(number)};
  }
  case PLIST_REAL: {
    double number = 0;
    plist_get_real_val(node, &number);
    return {number};
  }
  case PLIST_BOOLEAN: {
    std::uint8_t flag = 0;
    plist_get_bool_val(node, &flag);
    return {flag != 0};
  }
  case PLIST_DATA: {
    std::uint64_t length = 0;
    const char* data = plist_get_data_ptr(node, &length);
    const auto* bytes = reinterpret_cast<const std::byte*>(data);
    return {Bytes(bytes, bytes + length)};
  }
  default:
    throw PropertyListError("property list holds a value of a type that is not read here");
  }
}

} // namespace

Value readPropertyList(std::span<const std::byte> bytes, std::size_t base) {
  return readBinaryPropertyList(bytes, base, expansionLimit(bytes.size()));
}

Value readPropertyListXML(std::string_view text) {
  checkXMLLimits(text);
  plist_t list = nullptr;
  plist_from_xml(text.data(), static_cast<std::uint32_t>(text.size()), &list);
  const List owned(list);
  if (list == nullptr) {
    throw PropertyListError("malformed property list: not an XML property list");
  }
  return convert(list, 0);
}

} // namespace vel::formats
