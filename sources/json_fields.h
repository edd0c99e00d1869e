// The parts of a record that JSON and CSV share. docs/velstat-decode.md describes both formats.
#pragma once

#include <profile/fields.h>
#include <profile/names.h>
#include <sources/output_buffer.h>

#include <array>
#include <cstdint>
#include <span>
#include <string_view>

namespace vel::sources {

// Bytes as a JSON string, each byte as the code point of the same number: no byte is lost, and the output is always
// printable ASCII.
void appendJsonBytesAsString(OutputBuffer& out, std::string_view bytes);

// The value of one field of a payload.
void appendJsonField(OutputBuffer& out, const profile::Field& field);

// "[1,2,3]"
void appendJsonList(OutputBuffer& out, std::string_view bytes);

// A 64-bit number as a string of digits: readers that keep numbers in doubles would lose its low bits.
void appendJsonU64(OutputBuffer& out, std::uint64_t number);

// The payload: one object for each layout that the record shows, in order.
void appendJsonPayload(OutputBuffer& out, const unsigned char* record);

// The four names of a record's ids.
class RecordNames {
public:
  explicit RecordNames(const unsigned char* record) noexcept;
  RecordNames(const RecordNames&) = delete;
  RecordNames& operator=(const RecordNames&) = delete;

  std::string_view category;
  std::string_view component;
  std::string_view event;
  std::string_view type;

private:
  profile::DecimalText digits_[4];
};

} // namespace vel::sources
