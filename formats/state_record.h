// State records: a header of 200 bytes and a binary property list behind it.
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
  Bytes bytes; // the whole record

  // The property list as it stands behind the header.
  std::span<const std::byte> data() const;
};

constexpr std::size_t recordHeaderSize = 200;

// What is wrong with the bytes and at which offset, without a file name.
class StateRecordError : public std::runtime_error {
public:
  using std::runtime_error::runtime_error;
};

// Reads a whole record; bytes behind it are refused.
StateRecord parseStateRecord(std::span<const std::byte> bytes);

} // namespace vel::formats
