#include <host/contents.h>
#include <host/layouts.h>

#include <fmt/format.h>

#include <array>
#include <limits>

namespace vel::host {

namespace {

constexpr std::string_view speeds[] = {"Slow", "Medium", "Fast"};
// As the report names them; the last one has no name.
constexpr std::string_view events[] = {
    "SingleDown",  "SingleUp",     "DoubleDown",  "DoubleUp",     "TripleDown",  "TripleUp",
    "SingleTapOn", "SingleTapOff", "DoubleTapOn", "DoubleTapOff", "TripleTapOn", "TripleTapOff",
    "DeepDown",    "DeepUp",       "LongPress",   "LongPressUp",  "(null)",
};

constexpr std::size_t listLimit = 4096;

std::vector<Bytes> one(Bytes bytes, const JsonNode& node) {
  if (bytes.size() > replyLimit) {
    node.fail(fmt::format("makes {} bytes, at most {} are allowed", bytes.size(), replyLimit));
  }
  return {std::move(bytes)};
}

std::vector<Bytes> readAssets(const JsonNode& node) {
  std::vector<std::string> names;
  for (const std::string_view speed : speeds) {
    for (const std::string_view event : events) {
      names.push_back(fmt::format("{}-{}", speed, event));
    }
  }
  node.allowKeys(std::vector<std::string_view>(names.begin(), names.end()));
  Bytes bytes;
  const Layout& asset = layout("zorb-asset");
  for (const std::string& name : names) {
    const auto setting = node.find(name);
    append(bytes, setting ? encode(asset, *setting) : Bytes(asset.size));
  }
  return one(std::move(bytes), node);
}

// Pairs of register and value, behind their number.
std::vector<Bytes> readRegisters(const JsonNode& node) {
  constexpr Field word = {"", 0, 2, FieldKind::unsignedNumber};
  constexpr Grid pair = {"", 1, 2, word};
  const std::vector<JsonNode> pairs = node.items(listLimit);
  Bytes bytes;
  append(bytes, pairs.size(), 4);
  for (const JsonNode& item : pairs) {
    append(bytes, encode(pair, item));
  }
  return one(std::move(bytes), node);
}

// Slots, of which those that are null are not in use.
std::vector<Bytes> readClients(const JsonNode& node) {
  const Layout& client = layout("client");
  Bytes bytes;
  for (const JsonNode& slot : node.items(listLimit)) {
    append(bytes, slot.isNull() ? Bytes(client.size) : encode(client, slot));
  }
  return one(std::move(bytes), node);
}

struct StreamWord {
  std::string_view word;
  std::uint8_t tag;
};
constexpr StreamWord streamWords[] = {{"end", 3}, {"hex", 4}, {"decimal", 5}};

void appendElement(Bytes& bytes, const JsonNode& element) {
  if (element.isString()) {
    const std::string word = element.text(listLimit);
    for (const auto& [known, tag] : streamWords) {
      if (word == known) {
        return append(bytes, tag, 1);
      }
    }
    element.fail(fmt::format("{} is not one of end, hex, decimal", inQuotes(word)));
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

std::vector<Bytes> readStream(const JsonNode& node) {
  Bytes bytes;
  for (const JsonNode& element : node.items(listLimit)) {
    appendElement(bytes, element);
  }
  return one(std::move(bytes), node);
}

template <const char* Name>
std::vector<Bytes> readRecord(const JsonNode& node) {
  return {encode(layout(Name), node)};
}

template <const char* Name>
std::vector<Bytes> readGrid(const JsonNode& node) {
  return {encode(grid(Name), node)};
}

constexpr char statistics[] = "zorb-statistics";
constexpr char location[] = "location";
constexpr char intervals[] = "intervals";
constexpr char matrix[] = "calibration-matrix";
constexpr char offset[] = "calibration-offset";
constexpr char orientation[] = "orientation-matrix";

constexpr std::array all = {
    Content{statistics, readRecord<statistics>},
    Content{"zorb-assets", readAssets},
    Content{location, readRecord<location>},
    Content{intervals, readRecord<intervals>},
    Content{matrix, readGrid<matrix>},
    Content{offset, readGrid<offset>},
    Content{orientation, readGrid<orientation>},
    Content{"registers", readRegisters},
    Content{"text-stream", readStream},
    Content{"clients", readClients},
    Content{"profile-records", readProfileRecords},
};

} // namespace

std::span<const Content> contents() {
  return all;
}

} // namespace vel::host
