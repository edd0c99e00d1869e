// State records: a header of 200 bytes, then a binary property list.
#pragma once

#include <formats/value.h>

#include <cstdint>
#include <span>
#include <stdexcept>
#include <string>

namespace vel::formats {

struct StateRecord {
  std::uint32_t type = 0;
  std::uint32_t dataSize = 0;
  std::string decoderLibrary;
  std::string decoderType;
  std::string title;
  Value value;
};

constexpr std::size_t recordHeaderSize = 200;

// An error in the bytes and its offset, without a file name.
class StateRecordError : public std::runtime_error {
public:
  using std::runtime_error::runtime_error;
};

// Reads a whole record; extra bytes after it are an error.
StateRecord parseStateRecord(std::span<const std::byte> bytes);

} // namespace vel::formats
