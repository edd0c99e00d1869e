// The frame of a binary property list: where its objects and its offset table are.
#pragma once

#include <formats/property_list.h>

#include <fmt/format.h>

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace vel::formats {

// The bytes of the list. It begins at offset `base` of its file, and errors name offsets in the file.
class BinarySource {
public:
  BinarySource(std::span<const std::byte> bytes, std::size_t base) : bytes_(bytes), base_(base) {}

  std::size_t size() const { return bytes_.size(); }
  // The caller must have checked that what is read is inside the bytes.
  unsigned byteAt(std::size_t offset) const { return std::to_integer<unsigned>(bytes_[offset]); }
  std::uint64_t numberAt(std::size_t offset, std::size_t width) const; // of at most 8 bytes
  std::string_view textAt(std::size_t offset, std::size_t length) const;
  std::span<const std::byte> part(std::size_t offset, std::size_t length) const {
    return bytes_.subspan(offset, length);
  }

  // Converts an offset in the list to one in the file. The offset may be an unchecked number from the list.
  std::string inFile(std::uint64_t offset) const;

  template <class... Arguments>
  [[noreturn]] void fail(std::size_t offset, fmt::format_string<Arguments...> text, Arguments&&... arguments) const {
    throw PropertyListError(
        fmt::format("offset {}: {}", inFile(offset), fmt::format(text, std::forward<Arguments>(arguments)...)));
  }

private:
  std::span<const std::byte> bytes_;
  std::size_t base_;
};

struct BinaryLayout {
  std::size_t referenceWidth = 0; // of references to objects in arrays and dictionaries; at most 8
  std::uint64_t topObject = 0;    // its number, not checked
  std::size_t topReference = 0;   // the offset of that number
  std::size_t objectsEnd = 0;     // the objects are between the head and this offset
  std::uint64_t objects = 0;      // how many there are
  std::size_t offsetWidth = 0;    // of the table's entries; at most 8

  // Where an object begins; fails if that is outside the objects. `referrer` is the offset of the reference to it.
  std::size_t offsetOf(std::uint64_t object, std::size_t referrer, const BinarySource& source) const;
};

// Checks the head and the trailer; the whole offset table is then inside the bytes.
BinaryLayout readBinaryLayout(const BinarySource& source);

} // namespace vel::formats
