// Puts the records of captures in order: each record once, by time and sequence number, in runs between restarts.
#pragma once

#include <sources/record.h>
#include <sources/source.h>

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace vel::sources {

struct CapturedRecord {
  std::array<unsigned char, recordSize> bytes;
  Details details;         // origin and calendar time
  std::uint32_t log = 0;   // its log: an index into the names below
  std::uint32_t batch = 0; // counted over all captures
};

struct RecordsInOrder {
  std::vector<CapturedRecord> records; // with run and gaps in their details
  std::vector<Run> runs;               // counted from 0 in the order of their first record
};

// `records` are in the order of the captures, with those of a batch next to each other. With `all`, this order and
// every occurrence are kept.
RecordsInOrder putInOrder(std::vector<CapturedRecord> records, const std::vector<std::string>& logs, bool all);

// Whether a restart or a clock that went back lies between a record and the next one of the same log; nothing if not.
std::optional<Run::Start> breakBetween(const unsigned char* record, const unsigned char* next) noexcept;

} // namespace vel::sources
