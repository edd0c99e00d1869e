// Reads binary property lists into trees. The bytes are untrusted: nothing outside them is read, and stack, memory and
// time are bounded.
//
// A value that the tree has no type for becomes a dictionary of one key, as data does in JSON:
//   {"$date": "2024-02-29T12:00:00Z"}   a date; in UTC, to the microsecond
//   {"$uid": 7}                         an object reference in an archive
//   {"$set": [...]}                     a set, in the order of the file
//   {"$null": true}                     null
//   {"$integer": "9223372036854775808"} an integer outside the range of signed 64-bit numbers
#pragma once

#include <formats/property_list.h>

#include <cstddef>
#include <span>

namespace vel::formats {

// The approximate limit for the memory of a file's tree, in bytes. Objects may be shared, so a tree can be far larger
// than its file: twenty arrays that each hold the next one twice make a million values.
std::size_t expansionLimit(std::size_t fileSize);

// Throws PropertyListError. The list begins at offset `base` of its file: errors give offsets in the file.
Value readBinaryPropertyList(std::span<const std::byte> bytes, std::size_t base, std::size_t memoryLimit);

} // namespace vel::formats
