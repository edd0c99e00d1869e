// Records to text without streams, locales or allocation: the engine behind every text rendering.
#pragma once

#include "profile/VelProfileReport.h"
#include "profile/wall_time.h"

#include <cstddef>
#include <cstdint>
#include <optional>

namespace vel::profile {

// Bytes that one text can take at most, and that a caller must offer for each record. The engine writes in pieces of
// up to 64 bytes and may touch, but never claims, what lies between the text's end and this bound; the source proves
// the figure from the layouts.
inline constexpr std::size_t text_capacity = 1408;

// What follows the byte dump; without a time sync there is no "calendar-time", without a boot time no
// "boot-timestamp".
struct TimePolicy {
  std::optional<TimeSync> sync;
  std::optional<std::uint64_t> boot; // microseconds since the epoch
};

// What sets the texts of a block apart.
enum class Framing : std::uint8_t {
  none,          // nothing: the caller renders one record a call
  newline,       // '\n' after each text
  length_prefix, // its length as u32, little-endian, before each text
};

// Bytes of a block that one record can take at most, framing included.
inline constexpr std::size_t frame_capacity = text_capacity + sizeof(std::uint32_t);

// Renders blocks of records under one policy. A new time zone takes effect with the next renderer, as with any
// WallClock. [one thread at a time; as many objects as threads]
class BulkRenderer {
public:
  explicit BulkRenderer(const TimePolicy& times = {}, Framing framing = Framing::newline) noexcept;

  // Renders `count` records of 48 bytes, lying one after the other at any address, into `out`, which holds at least
  // count * frame_capacity bytes. Returns the bytes written.
  std::size_t render(const void* records, std::size_t count, char* out) noexcept;

private:
  char* render_one(const unsigned char* record, char* p) noexcept;

  std::optional<WallClock> wall_;
  Framing framing_;
  std::uint8_t ending_length_ = 0;
  char ending_[48]; // boot time, brace and newline: the same for every record
};

} // namespace vel::profile
