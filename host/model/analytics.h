// Analytics batches as a device model writes them: 7-byte entries by operation and key.
#pragma once

#include <formats/json_node.h>
#include <formats/value.h>

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

namespace vel::host {

constexpr std::size_t entrySize = 7;
constexpr std::uint8_t entryVersion = 0x30; // of the key table, in the first byte of every entry

// The firmware's metrics, in the order of their indices.
std::span<const std::string_view> metricKeys();

// A batch: a list of entries, or {"hex": …} of whole entries.
formats::Bytes readAnalyticsBatch(const formats::JsonNode& node);

} // namespace vel::host
