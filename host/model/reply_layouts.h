// Typed layouts: byte-packed little-endian records of the co-processor, written in a device model by key instead of
// as hex. One table of rows for all of them; docs/device-model.md lists the same keys.
#pragma once

#include <formats/json_node.h>
#include <formats/value.h>

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

namespace vel::host {

enum class ReplyFieldKind {
  unsignedNumber,
  signedNumber,
  fraction, // signed, with 16 fraction bits; written as a decimal number
  text,     // padded with zeros; text that fills its field has no NUL
};

struct ReplyField {
  std::string_view key;
  std::size_t offset;
  std::size_t width; // in bytes; of a number 1, 2, 4 or 8
  ReplyFieldKind kind;
  unsigned shift = 0;             // the value begins at this bit of its word
  std::uint64_t defaultValue = 0; // if the model leaves the key out
};

struct ReplyLayout {
  std::string_view name;
  std::size_t size; // of a record; bytes that no field covers are zero
  std::span<const ReplyField> fields;
};

// Consecutive numbers of one kind: a list, or a list of rows.
struct Grid {
  std::string_view name;
  std::size_t rows; // 1: not a list of lists
  std::size_t columns;
  ReplyField element; // with the offset of the first
};

// All layouts, for the schema.
std::span<const ReplyLayout> replyLayouts();
// A layout or grid by name, which must exist.
const ReplyLayout& replyLayout(std::string_view name);
const Grid& grid(std::string_view name);
// An entry of an analytics batch.
const ReplyLayout& analyticsEntry();

// The record that the object describes. Throws formats::Error for unknown keys and for values that do not fit.
formats::Bytes encode(const ReplyLayout& layout, const formats::JsonNode& object);
// The numbers of a list; it must have as many as the grid.
formats::Bytes encode(const Grid& grid, const formats::JsonNode& list);
// One number.
std::uint64_t encode(const ReplyField& field, const formats::JsonNode& value);
void store(std::uint64_t number, std::size_t width, std::span<std::byte> at);
void append(formats::Bytes& bytes, std::uint64_t number, std::size_t width);
void append(formats::Bytes& bytes, const formats::Bytes& more);

} // namespace vel::host
