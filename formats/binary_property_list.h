// Binary property lists from anywhere, into trees. The bytes are not trusted: whatever they say, nothing outside them
// is read, and neither stack, memory nor time grow beyond fixed bounds.
//
// What a tree has no type for becomes a dictionary of one key, as data is in JSON:
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

// Throws PropertyListError. `base` is where in its file the list begins: errors give offsets in the file.
Value readBinaryPropertyList(std::span<const std::byte> bytes, std::size_t base, std::size_t memoryLimit);

} // namespace vel::formats
