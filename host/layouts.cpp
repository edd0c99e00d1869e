#include <host/layouts.h>

#include <array>
#include <limits>

namespace vel::host {

namespace {

using enum FieldKind;

// Latency statistics of the solid-state button.
constexpr Field zorbStatistics[] = {
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

// One entry of an analytics batch.
constexpr Field analytics[] = {
    {"version", 0, 1, unsignedNumber, 0, 0x30},
    {"op", 1, 1, unsignedNumber},
    {"key", 2, 1, unsignedNumber},
    {"value", 3, 4, signedNumber},
};

constexpr std::array replies = {
    Layout{"zorb-statistics", 330, zorbStatistics},
};
constexpr Layout entryLayout = {"analytics-entry", 7, analytics};

constexpr bool inside(const Layout& layout) {
  for (const Field& field : layout.fields) {
    if (field.width == 0 || field.width > 8 || field.offset + field.width > layout.size) {
      return false;
    }
  }
  return true;
}
static_assert(std::all_of(replies.begin(), replies.end(), inside) && inside(entryLayout));

std::uint64_t read(const Field& field, const JsonNode& value) {
  const std::size_t bits = field.width * 8;
  if (field.kind == signedNumber) {
    const std::int64_t most = std::numeric_limits<std::int64_t>::max() >> (64 - bits);
    return static_cast<std::uint64_t>(value.signedNumber(-most - 1, most));
  }
  return value.unsignedNumber(std::numeric_limits<std::uint64_t>::max() >> (64 - bits) >> field.shift) << field.shift;
}

} // namespace

std::span<const Layout> layouts() {
  return replies;
}

const Layout& analyticsEntry() {
  return entryLayout;
}

Bytes encode(const Layout& layout, const JsonNode& object) {
  std::vector<std::string_view> keys;
  for (const Field& field : layout.fields) {
    keys.push_back(field.key);
  }
  object.allowKeys(keys);

  Bytes record(layout.size);
  for (const Field& field : layout.fields) {
    const auto value = object.find(field.key);
    const std::uint64_t word = value ? read(field, *value) : field.unlessGiven;
    for (std::size_t i = 0; i < field.width; ++i) {
      record[field.offset + i] |= static_cast<std::byte>(word >> (8 * i));
    }
  }
  return record;
}

} // namespace vel::host
