// Converts the leaf values of binary property lists from bytes.
#pragma once

#include <formats/value.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>

namespace vel::formats {

// A big-endian number of at most 8 bytes.
std::uint64_t bigEndian(std::span<const std::byte> bytes);

// A dictionary of one key, for a value that the tree has no type for.
Value taggedValue(const char* tag, Value value);

// Numbers of 1, 2 and 4 bytes are unsigned, of 8 and 16 signed.
Value integerValue(std::span<const std::byte> bytes);
// At most 8 bytes, unsigned.
Value uidValue(std::span<const std::byte> bytes);
// 4 or 8 bytes.
double realValue(std::span<const std::byte> bytes);
// 8 bytes: seconds from the first moment of 2001.
Value dateValue(std::span<const std::byte> bytes);

// An error in text: its byte offset, and what was found there.
struct TextFault {
  std::size_t offset = 0;
  std::string what;
};
// Append UTF-8; return the error, if there is one.
std::optional<TextFault> appendASCII(std::string& out, std::span<const std::byte> bytes);
std::optional<TextFault> appendUTF16(std::string& out,
                                     std::span<const std::byte> bytes); // an even number of bytes, big-endian
// An upper bound of the size as UTF-8.
std::size_t lengthOfUTF16(std::span<const std::byte> bytes);

} // namespace vel::formats
