// What a reply may say instead of hex: each content by its key in a device model, in host/contents.cpp one row each.
// docs/device-model.md tells how they are written.
#pragma once

#include <formats/json_node.h>
#include <formats/value.h>

#include <span>
#include <string_view>
#include <vector>

namespace vel::host {

struct Content {
  std::string_view name;
  // What the value describes: one reply, or several in their order. Throws Error for what does not fit.
  std::vector<formats::Bytes> (*read)(const formats::JsonNode& value);
};

std::span<const Content> contents();

constexpr std::size_t replyLimit = 1 << 16; // bytes of one

// Profile records as a modelled co-processor leaves them behind.
std::vector<formats::Bytes> readProfileRecords(const formats::JsonNode& node);

} // namespace vel::host
