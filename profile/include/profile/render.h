// Records to text without streams, locales or allocation: the engine behind every text rendering.
#pragma once

#include "profile/VelProfileReport.h"
#include "profile/wall_time.h"

#include <cstddef>
#include <cstdint>
#include <optional>

namespace vel::profile {

// The most bytes that one text takes, and the room that a caller provides for each record. The engine copies pieces of
// up to 64 bytes, so it may write beyond a text's end, but not beyond this bound. engine.cpp proves the figure from the
// tables.
inline constexpr std::size_t text_capacity = 1408;

// What follows the byte dump: "calendar-time" if there is a time sync, and "boot-timestamp" if there is a boot time.
struct TimePolicy {
  std::optional<TimeSync> sync;
  std::optional<std::uint64_t> boot; // microseconds since the epoch
};

// What separates the texts of a block.
enum class Framing : std::uint8_t {
  none,          // nothing; the caller renders one record per call
  newline,       // '\n' after each text
  length_prefix, // its length as u32, little-endian, before each text
};

// The most bytes that one record takes in a block, framing included.
inline constexpr std::size_t frame_capacity = text_capacity + sizeof(std::uint32_t);

// Renders blocks of records with the same times. A new time zone or locale takes effect with the next renderer, as it
// does with the next WallClock. [one thread at a time; as many objects as threads]
class BulkRenderer {
public:
  explicit BulkRenderer(const TimePolicy& times = {}, Framing framing = Framing::newline) noexcept;

  // Renders `count` consecutive records, at any address, into `out`, which has room for count * frame_capacity bytes.
  // Returns the bytes written.
  std::size_t render(const void* records, std::size_t count, char* out) noexcept;

private:
  char* render_one(const unsigned char* record, char* p) noexcept;

  std::optional<WallClock> wall_;
  Framing framing_;
  std::uint8_t ending_length_ = 0;
  char ending_[48]; // boot time, brace and newline: the same for every record
};

} // namespace vel::profile
