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

// Reads the binary format ("bplist00") from untrusted bytes. The list begins at offset `base` of its file; errors name
// offsets in the file.
Value readPropertyList(std::span<const std::byte> bytes, std::size_t base = 0);
// Reads the XML format from untrusted text, within the bounds of xml_limits.h. Refuses dates and other values that a
// tree has no type for.
Value readPropertyListXML(std::string_view text);

} // namespace vel::formats
