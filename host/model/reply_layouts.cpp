// The tables of layouts, and the encoder that walks their rows.
#include "host/model/reply_layouts.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <stdexcept>

namespace vel::host {

namespace {

using enum ReplyFieldKind;

// Latency statistics of the solid-state button.
constexpr ReplyField zorbStatistics[] = {
    {"finger on ts", 0, 8, unsignedNumber},
    {"finger off ts", 8, 8, unsignedNumber},
    {"start haptic ts", 16, 8, unsignedNumber},
    {"finger detect to button down", 24, 8, unsignedNumber},
    {"click 1 button down ts", 88, 8, unsignedNumber},
    {"click 1 button up ts", 96, 8, unsignedNumber},
    {"click 2 button down ts", 104, 8, unsignedNumber},
    {"click 2 button up ts", 112, 8, unsignedNumber},
    {"click 3 button down ts", 120, 8, unsignedNumber},
    {"click 3 button up ts", 128, 8, unsignedNumber},
    {"click 1 down play asset ts", 136, 8, unsignedNumber},
    {"click 1 up play asset ts", 144, 8, unsignedNumber},
    {"click 2 down play asset ts", 152, 8, unsignedNumber},
    {"click 2 up play asset ts", 160, 8, unsignedNumber},
    {"click 3 down play asset ts", 168, 8, unsignedNumber},
    {"click 3 up play asset ts", 176, 8, unsignedNumber},
    {"click 1 button down to play asset", 184, 8, unsignedNumber},
    {"click 1 button up to play asset", 192, 8, unsignedNumber},
    {"click 2 button down to play asset", 200, 8, unsignedNumber},
    {"click 2 button up to play asset", 208, 8, unsignedNumber},
    {"click 3 button down to play asset", 216, 8, unsignedNumber},
    {"click 3 button up to play asset", 224, 8, unsignedNumber},
    {"click count", 233, 4, unsignedNumber, 1}, // bit 0 of its word means something else
    {"second scan ts", 266, 8, unsignedNumber},
    {"turtle scans", 274, 4, unsignedNumber},
    {"min_nz_latency_FD_to_BD", 282, 8, unsignedNumber},
    {"max_latency_FD_to_BD", 290, 8, unsignedNumber},
    {"min_nz_latency_BC_to_PlayAsset", 298, 8, unsignedNumber},
    {"max_latency_BC_to_PlayAsset", 306, 8, unsignedNumber},
    {"min_latency_Total", 314, 8, unsignedNumber},
    {"max_latency_Total", 322, 8, unsignedNumber},
};

// The setting of a haptic asset.
constexpr ReplyField zorbAsset[] = {
    {"enable", 0, 1, unsignedNumber}, {"gain", 1, 4, fraction},      {"min", 5, 8, signedNumber},
    {"max", 13, 8, signedNumber},     {"slot", 21, 4, signedNumber}, // and 4 bytes that are not reported
};

// Location of a sensor.
constexpr ReplyField location[] = {
    {"letter", 0, 1, text},
    {"alternate", 1, 4, signedNumber},
};

// Intervals of a sensor's stages.
constexpr ReplyField intervals[] = {
    {"sensorBatchInterval", 0, 4, unsignedNumber}, {"muxBatchInterval", 4, 4, unsignedNumber},
    {"apBatchInterval", 8, 4, unsignedNumber},     {"apReportInterval", 12, 4, unsignedNumber},
    {"endpointBatchCount", 16, 4, unsignedNumber},
};

// A subscriber of a sensor.
constexpr ReplyField client[] = {
    {"name", 0, 12, text},
    {"report", 12, 4, signedNumber},
    {"batch", 16, 4, signedNumber},
    {"threshold", 20, 4, signedNumber},
    {"timelimit", 24, 4, signedNumber},
    {"active", 28, 1, unsignedNumber, 0, 1}, // a slot that is described is in use by default
};

// One entry of an analytics batch.
constexpr ReplyField analytics[] = {
    {"version", 0, 1, unsignedNumber, 0, 0x30},
    {"op", 1, 1, unsignedNumber},
    {"key", 2, 1, unsignedNumber},
    {"value", 3, 4, signedNumber},
};

constexpr ReplyLayout allLayouts[] = {
    {"zorb-statistics", 330, zorbStatistics},
    {"zorb-asset", 29, zorbAsset},
    {"location", 5, location},
    {"intervals", 20, intervals},
    {"client", 31, client},
    {"analytics-entry", 7, analytics},
};

constexpr Grid grids[] = {
    {"calibration-matrix", 3, 3, {"", 0, 4, fraction}},
    {"calibration-offset", 1, 3, {"", 0, 4, signedNumber}},
    {"orientation-matrix", 3, 3, {"", 0, 1, signedNumber}},
};

constexpr bool inside(const ReplyLayout& layout) {
  for (const ReplyField& field : layout.fields) {
    if (field.width == 0 || (field.kind != text && field.width > 8) || field.offset + field.width > layout.size) {
      return false;
    }
  }
  return true;
}
static_assert(std::all_of(std::begin(allLayouts), std::end(allLayouts), inside));

template <std::size_t Count, class Row>
const Row& named(const Row (&rows)[Count], std::string_view name) {
  const Row* const found = std::find_if(rows, rows + Count, [&](const Row& row) { return row.name == name; });
  if (found == rows + Count) {
    throw std::invalid_argument(fmt::format("no layout is called {}", name));
  }
  return *found;
}

void storeText(const ReplyField& field, const formats::JsonNode& value, std::span<std::byte> at) {
  const std::string characters = value.text(field.width);
  std::transform(characters.begin(), characters.end(), at.begin(), [](char c) { return static_cast<std::byte>(c); });
}

} // namespace

std::span<const ReplyLayout> replyLayouts() {
  return allLayouts;
}

const ReplyLayout& replyLayout(std::string_view name) {
  return named(allLayouts, name);
}

const Grid& grid(std::string_view name) {
  return named(grids, name);
}

const ReplyLayout& analyticsEntry() {
  static const ReplyLayout& entry = replyLayout("analytics-entry");
  return entry;
}

void store(std::uint64_t number, std::size_t width, std::span<std::byte> at) {
  for (std::size_t i = 0; i < width; ++i) {
    at[i] |= static_cast<std::byte>(number >> (8 * i));
  }
}

void append(formats::Bytes& bytes, std::uint64_t number, std::size_t width) {
  bytes.resize(bytes.size() + width);
  store(number, width, std::span(bytes).last(width));
}

void append(formats::Bytes& bytes, const formats::Bytes& more) {
  bytes.insert(bytes.end(), more.begin(), more.end());
}

std::uint64_t encode(const ReplyField& field, const formats::JsonNode& value) {
  const std::size_t bits = field.width * 8;
  // NOLINTNEXTLINE(clang-analyzer-core.UndefinedBinaryOperatorResult): a field has at least one byte
  const std::int64_t most = std::numeric_limits<std::int64_t>::max() >> (64 - bits);
  switch (field.kind) {
  case signedNumber:
    return static_cast<std::uint64_t>(value.signedNumber(-most - 1, most));
  case fraction: {
    constexpr double one = 1 << 16;
    return static_cast<std::uint64_t>(
        std::llround(value.real(static_cast<double>(-most - 1) / one, static_cast<double>(most) / one) * one));
  }
  default:
    return value.unsignedNumber(std::numeric_limits<std::uint64_t>::max() >> (64 - bits) >> field.shift) << field.shift;
  }
}

formats::Bytes encode(const ReplyLayout& layout, const formats::JsonNode& object) {
  std::vector<std::string_view> keys;
  for (const ReplyField& field : layout.fields) {
    keys.push_back(field.key);
  }
  object.allowKeys(keys);

  formats::Bytes record(layout.size);
  for (const ReplyField& field : layout.fields) {
    const auto value = object.find(field.key);
    const auto at = std::span(record).subspan(field.offset, field.width);
    if (field.kind != text) {
      store(value ? encode(field, *value) : field.defaultValue, field.width, at);
    } else if (value) {
      storeText(field, *value, at);
    }
  }
  return record;
}

formats::Bytes encode(const Grid& grid, const formats::JsonNode& list) {
  const auto items = [](const formats::JsonNode& node, std::size_t count) {
    std::vector<formats::JsonNode> nodes = node.items(count);
    if (nodes.size() < count) {
      node.fail(fmt::format("has {} items, must have {}", nodes.size(), count));
    }
    return nodes;
  };
  formats::Bytes bytes;
  const std::vector<formats::JsonNode> rows = grid.rows == 1 ? std::vector{list} : items(list, grid.rows);
  for (const formats::JsonNode& row : rows) {
    for (const formats::JsonNode& number : items(row, grid.columns)) {
      append(bytes, encode(grid.element, number), grid.element.width);
    }
  }
  return bytes;
}

} // namespace vel::host
