// A reader for each content, and the table of all readers.
#include "host/model/reply_contents.h"

#include <host/model/reply_layouts.h>

#include <fmt/format.h>

#include <array>
#include <limits>

namespace vel::host {

namespace {

constexpr std::string_view speeds[] = {"Slow", "Medium", "Fast"};
// The names that the report uses; the last event has no name there.
constexpr std::string_view events[] = {
    "SingleDown",  "SingleUp",     "DoubleDown",  "DoubleUp",     "TripleDown",  "TripleUp",
    "SingleTapOn", "SingleTapOff", "DoubleTapOn", "DoubleTapOff", "TripleTapOn", "TripleTapOff",
    "DeepDown",    "DeepUp",       "LongPress",   "LongPressUp",  "(null)",
};

constexpr std::size_t listLimit = 4096;

std::vector<formats::Bytes> singleReply(formats::Bytes bytes, const formats::JsonNode& node) {
  if (bytes.size() > replyLimit) {
    node.fail(fmt::format("makes {} bytes, at most {} are allowed", bytes.size(), replyLimit));
  }
  return {std::move(bytes)};
}

std::vector<formats::Bytes> readAssets(const formats::JsonNode& node) {
  std::vector<std::string> names;
  for (const std::string_view speed : speeds) {
    for (const std::string_view event : events) {
      names.push_back(fmt::format("{}-{}", speed, event));
    }
  }
  node.allowKeys(std::vector<std::string_view>(names.begin(), names.end()));
  formats::Bytes bytes;
  const ReplyLayout& asset = replyLayout("zorb-asset");
  for (const std::string& name : names) {
    const auto setting = node.find(name);
    append(bytes, setting ? encode(asset, *setting) : formats::Bytes(asset.size));
  }
  return singleReply(std::move(bytes), node);
}

// The number of pairs, then each register and value.
std::vector<formats::Bytes> readRegisters(const formats::JsonNode& node) {
  constexpr ReplyField word = {"", 0, 2, ReplyFieldKind::unsignedNumber};
  constexpr Grid pair = {"", 1, 2, word};
  const std::vector<formats::JsonNode> pairs = node.items(listLimit);
  formats::Bytes bytes;
  append(bytes, pairs.size(), 4);
  for (const formats::JsonNode& item : pairs) {
    append(bytes, encode(pair, item));
  }
  return singleReply(std::move(bytes), node);
}

// A list of slots; null is an unused slot.
std::vector<formats::Bytes> readClients(const formats::JsonNode& node) {
  const ReplyLayout& client = replyLayout("client");
  formats::Bytes bytes;
  for (const formats::JsonNode& slot : node.items(listLimit)) {
    append(bytes, slot.isNull() ? formats::Bytes(client.size) : encode(client, slot));
  }
  return singleReply(std::move(bytes), node);
}

struct StreamWord {
  std::string_view word;
  std::uint8_t tag;
};
constexpr StreamWord streamWords[] = {{"end", 3}, {"hex", 4}, {"decimal", 5}};

void appendElement(formats::Bytes& bytes, const formats::JsonNode& element) {
  if (element.isString()) {
    const std::string word = element.text(listLimit);
    for (const auto& [known, tag] : streamWords) {
      if (word == known) {
        return append(bytes, tag, 1);
      }
    }
    element.fail(fmt::format("{} is not one of end, hex, decimal", formats::inQuotes(word)));
  }
  element.allowKeys({"u32", "u64", "text"});
  const auto u32 = element.find("u32");
  const auto u64 = element.find("u64");
  const auto text = element.find("text");
  if (u32.has_value() + u64.has_value() + text.has_value() != 1) {
    element.fail("must have one of the keys u32, u64, text");
  }
  if (u32) {
    append(bytes, 0, 1);
    append(bytes, u32->unsignedNumber(std::numeric_limits<std::uint32_t>::max()), 4);
  } else if (u64) {
    append(bytes, 1, 1);
    append(bytes, u64->unsignedNumber(std::numeric_limits<std::uint64_t>::max()), 8);
  } else {
    append(bytes, 2, 1);
    for (const char c : text->text(replyLimit)) {
      bytes.push_back(static_cast<std::byte>(c));
    }
    append(bytes, 0, 1);
  }
}

std::vector<formats::Bytes> readStream(const formats::JsonNode& node) {
  formats::Bytes bytes;
  for (const formats::JsonNode& element : node.items(listLimit)) {
    appendElement(bytes, element);
  }
  return singleReply(std::move(bytes), node);
}

template <const char* Name>
std::vector<formats::Bytes> readRecord(const formats::JsonNode& node) {
  return {encode(replyLayout(Name), node)};
}

template <const char* Name>
std::vector<formats::Bytes> readGrid(const formats::JsonNode& node) {
  return {encode(grid(Name), node)};
}

constexpr char statisticsName[] = "zorb-statistics";
constexpr char locationName[] = "location";
constexpr char intervalsName[] = "intervals";
constexpr char matrixName[] = "calibration-matrix";
constexpr char offsetName[] = "calibration-offset";
constexpr char orientationName[] = "orientation-matrix";

constexpr std::array allContents = {
    ReplyContent{statisticsName, readRecord<statisticsName>},
    ReplyContent{"zorb-assets", readAssets},
    ReplyContent{locationName, readRecord<locationName>},
    ReplyContent{intervalsName, readRecord<intervalsName>},
    ReplyContent{matrixName, readGrid<matrixName>},
    ReplyContent{offsetName, readGrid<offsetName>},
    ReplyContent{orientationName, readGrid<orientationName>},
    ReplyContent{"registers", readRegisters},
    ReplyContent{"text-stream", readStream},
    ReplyContent{"clients", readClients},
    ReplyContent{"profile-records", readProfileRecords},
};

} // namespace

std::span<const ReplyContent> replyContents() {
  return allContents;
}

} // namespace vel::host
