// Writes the binary format of property lists, version 1.0.
#pragma once

#include "cf/array.h"
#include "cf/dictionary.h"
#include "cf/object.h"
#include "cf/string.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace vel::platform {

// Objects are numbered in the order in which they are met; strings, integers and booleans that are met again keep their
// number.
class BinaryList {
public:
  // Numbers the object and all that it holds. False for what a property list cannot hold, or for containers that are
  // nested in more than `levels` levels; the list must then not be used. [borrowed: until write]
  bool add(CFTypeRef object, int levels) { return number(object, levels).has_value(); }
  // The list, with the first object that was added as its top.
  std::vector<std::uint8_t> write() const;

private:
  using Number = std::uint32_t;
  struct Entry {
    const Object* object;
    std::size_t firstReference = 0; // of a container
    std::size_t references = 0;
  };

  std::optional<Number> number(CFTypeRef object, int levels);
  std::optional<Number> numberArray(const CFArrayObject& array, int levels);
  std::optional<Number> numberDictionary(const CFDictionaryObject& dictionary, int levels);
  Number numberString(const CFStringObject& string);
  Number addEntry(const Object& object);
  void setReferences(Number container, const std::vector<Number>& numbers);
  void writeObject(std::vector<std::uint8_t>& out, const Entry& entry, std::size_t referenceWidth) const;

  std::vector<Entry> entries_;
  std::vector<Number> references_;
  std::unordered_map<std::string_view, Number> strings_;
  std::unordered_map<std::int64_t, Number> integers_;
  std::optional<Number> booleans_[2];
};

} // namespace vel::platform
