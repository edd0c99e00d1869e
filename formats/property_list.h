// Reads property lists into trees.
#pragma once

#include <formats/value.h>

#include <span>
#include <stdexcept>
#include <string_view>

namespace vel::formats {

// An error in the bytes, without a file name: the caller knows where they came from.
class PropertyListError : public std::runtime_error {
public:
  using std::runtime_error::runtime_error;
};

// The binary format, version 1.0, untrusted. The list begins at offset `base` of its file; errors name offsets in the
// file.
Value readPropertyList(std::span<const std::byte> bytes, std::size_t base = 0);
// The XML format, from anywhere, within the bounds of xml_limits.h. Dates and what else a tree has no type for are
// refused.
Value readPropertyListXML(std::string_view text);

} // namespace vel::formats
