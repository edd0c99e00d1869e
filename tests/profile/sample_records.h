// Many records: random ones from a fixed seed, and walks through products of ids.
#pragma once

#include "record.h"

#include <random>
#include <vector>

#if defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
inline constexpr bool sanitized = true;
#else
inline constexpr bool sanitized = false;
#endif
#else
inline constexpr bool sanitized = false;
#endif

// Random bytes, with ids drawn so that every decoder and layout is met often.
class RandomRecords {
public:
  explicit RandomRecords(std::uint64_t seed) : engine_(seed) {}

  Record next() {
    Record record;
    for (unsigned offset = 0; offset < sizeof record.bytes; offset += 8) {
      record.u64(offset, engine_());
    }
    const std::uint64_t choice = engine_();
    if ((choice & 1) != 0) { // small numbers, short texts
      for (unsigned offset = 4; offset < sizeof record.bytes; ++offset) {
        if ((choice >> (offset % 31 + 1) & 1) != 0) {
          record.u8(offset, 0);
        }
      }
    }
    if ((choice >> 32) % 8 != 0) { // else ids are random too
      record.u8(0, static_cast<unsigned>((choice >> 36) % 14));
      record.u8(1, static_cast<unsigned>((choice >> 40) % 20));
      record.u8(2, static_cast<unsigned>((choice >> 45) % 8));
      record.u8(3, static_cast<unsigned>((choice >> 48) % 11));
      if (record.bytes[0] == 10) {
        record.u16(16, static_cast<unsigned>((choice >> 52) % 9));
      }
    }
    return record;
  }

private:
  std::mt19937_64 engine_;
};
