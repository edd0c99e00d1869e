// Typed layouts: byte-packed little-endian records of the co-processor, written in a device model by key instead of
// as hex. One table of rows for all of them; docs/device-model.md lists the same keys.
#pragma once

#include <host/json_node.h>
#include <host/value.h>

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

namespace vel::host {

enum class FieldKind {
  unsignedNumber,
  signedNumber,
};

struct Field {
  std::string_view key;
  std::size_t offset;
  std::size_t width; // in bytes: 1, 4 or 8
  FieldKind kind;
  unsigned shift = 0;            // the value stands this many bits up in its word
  std::uint64_t unlessGiven = 0; // what a record that does not have the key holds
};

struct Layout {
  std::string_view name;
  std::size_t size; // of a record; bytes that no field covers are zero
  std::span<const Field> fields;
};

// All layouts that a reply can be written in.
std::span<const Layout> layouts();
// An analytics entry, which is no reply.
const Layout& analyticsEntry();

// The record that the object describes. Refuses keys that the layout does not have and values that do not fit.
Bytes encode(const Layout& layout, const JsonNode& object);

} // namespace vel::host
