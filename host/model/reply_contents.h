// The contents that a reply can have instead of hex, by their keys in a device model; one row each in
// reply_contents.cpp. docs/device-model.md describes how they are written.
#pragma once

#include <formats/json_node.h>
#include <formats/value.h>

#include <span>
#include <string_view>
#include <vector>

namespace vel::host {

struct ReplyContent {
  std::string_view name;
  // The bytes of one reply, or of several in order. Throws formats::Error for values that do not fit.
  std::vector<formats::Bytes> (*read)(const formats::JsonNode& value);
};

std::span<const ReplyContent> replyContents();

constexpr std::size_t replyLimit = 1 << 16; // bytes of one

// Profile records as a modelled co-processor writes them.
std::vector<formats::Bytes> readProfileRecords(const formats::JsonNode& node);

} // namespace vel::host
