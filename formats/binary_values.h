// The leaves of binary property lists, from their bytes.
#pragma once

#include <formats/value.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>

namespace vel::formats {

// Big-endian, of at most 8 bytes.
std::uint64_t bigEndian(std::span<const std::byte> bytes);

// A dictionary of one key: what a tree has no type for.
Value taggedValue(const char* tag, Value value);

// 1, 2 and 4 bytes hold no sign, 8 and 16 do.
Value integerValue(std::span<const std::byte> bytes);
// Of at most 8 bytes, without a sign.
Value uidValue(std::span<const std::byte> bytes);
// 4 or 8 bytes.
double realValue(std::span<const std::byte> bytes);
// 8 bytes: seconds from the first moment of 2001.
Value dateValue(std::span<const std::byte> bytes);

// What is wrong with text: the offset in its bytes, and what stands there.
struct TextFault {
  std::size_t offset = 0;
  std::string what;
};
// Append UTF-8; what they return is the fault, if there is one.
std::optional<TextFault> appendASCII(std::string& out, std::span<const std::byte> bytes);
std::optional<TextFault> appendUTF16(std::string& out, std::span<const std::byte> bytes); // an even number, big-endian

} // namespace vel::formats
