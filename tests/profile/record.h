// Hand-made records for tests.
#pragma once

#include "profile/KIPLogDecoder.h"
#include "profile/render.h"

#include <cstring>
#include <initializer_list>
#include <string>
#include <string_view>

struct Record {
  unsigned char bytes[48] = {};

  Record() = default;
  Record(unsigned category, unsigned component, unsigned event, unsigned type) {
    bytes[0] = static_cast<unsigned char>(type);
    bytes[1] = static_cast<unsigned char>(event);
    bytes[2] = static_cast<unsigned char>(component);
    bytes[3] = static_cast<unsigned char>(category);
  }

  Record& put(unsigned offset, std::uint64_t value, unsigned size) {
    for (unsigned i = 0; i < size; ++i) {
      bytes[offset + i] = static_cast<unsigned char>(value >> (8 * i));
    }
    return *this;
  }
  Record& u8(unsigned offset, unsigned value) { return put(offset, value, 1); }
  Record& u16(unsigned offset, unsigned value) { return put(offset, value, 2); }
  Record& u32(unsigned offset, std::uint32_t value) { return put(offset, value, 4); }
  Record& u64(unsigned offset, std::uint64_t value) { return put(offset, value, 8); }
  Record& sequence(std::uint32_t value) { return u32(4, value); }
  Record& timestamp(std::uint64_t value) { return u64(8, value); }
  Record& text(unsigned offset, std::string_view value) {
    std::memcpy(bytes + offset, value.data(), value.size());
    return *this;
  }
  // Bytes 16 to 47 count up from `first`.
  Record& counting(unsigned first) {
    for (unsigned i = 16; i < 48; ++i) {
      bytes[i] = static_cast<unsigned char>(first + i - 16);
    }
    return *this;
  }

  const _VelProfileReport& report() const { return *reinterpret_cast<const _VelProfileReport*>(bytes); }
};

inline std::string text_of(const Record& record) {
  return KIPLogDecoder::to_string(record.report());
}

// The part of a text between the "sequence_num" field and "type-id".
inline std::string payload_of(std::string_view text) {
  constexpr std::string_view before = " 'sequence_num':";
  const std::size_t sequence = text.find(before);
  const std::size_t begin = text.find(',', sequence) + 1;
  return std::string(text.substr(begin, text.find(" 'type-id':", begin) - begin));
}

inline std::string payload_of(const Record& record) {
  return payload_of(text_of(record));
}
