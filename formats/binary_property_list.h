// Reads binary property lists into trees. The bytes are untrusted: nothing outside them is read, and stack, memory and
// time are bounded.
//
// A value that the tree has no type for becomes a dictionary of one key, as data does in JSON:
//   {"$date": "2024-02-29T12:00:00Z"}   a date; in UTC, to the microsecond
//   {"$uid": 7}                         a reference of an archive
//   {"$set": [...]}                     a set, in the order of the file
//   {"$null": true}                     null
//   {"$integer": "9223372036854775808"} an integer that needs more than 64 bits with its sign
#pragma once

#include <formats/property_list.h>

#include <cstddef>
#include <span>

namespace vel::formats {

// About how many bytes of memory the tree of a file may take. Objects may be shared, so that a tree can be far larger
// than its file: each of twenty arrays that holds the next one twice makes a million.
std::size_t expansionLimit(std::size_t fileSize);

// Throws PropertyListError. The list begins at offset `base` of its file: errors give offsets in the file.
Value readBinaryPropertyList(std::span<const std::byte> bytes, std::size_t base, std::size_t memoryLimit);

} // namespace vel::formats
