// Counts the rows of captures in each table of a shard, compares the counts with what was sent, and removes rows that
// were written twice.
//
// Replicated tables ignore blocks that are sent again. Rows can still be there twice: a server without replicas keeps
// no record of blocks, and loads whose lists overlap pack the same captures into other blocks. The tables are
// ReplacingMergeTree tables, so merging removes these rows at some time; the check forces the merge before a capture
// counts as loaded.
#pragma once

#include <fleet/http.h>

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace vel::fleet {

struct CaptureKey {
  std::string device;
  std::string capture;
  auto operator<=>(const CaptureKey&) const = default;
};

using CaptureCounts = std::map<CaptureKey, std::uint64_t>;

// "device IN ('a', 'b')"
std::string amongDevices(const std::vector<std::string>& devices);
std::string amongCaptures(const std::vector<std::string>& captures);

// Runs a SELECT whose rows are device, capture and a number.
CaptureCounts askCounts(Http& http, const std::string& select);

using TableCounts = std::map<std::string, CaptureCounts>; // by the table's name

// Counts as the bytes of a SpoolEntry, and back. The bytes are not trusted: decodeCounts throws Error if they are
// damaged.
std::string encodeCounts(const TableCounts& counts);
TableCounts decodeCounts(std::string_view bytes);

// Merges the partitions where any of these captures has more rows than expected. Waits for a replica that is behind,
// for a limited time.
void removeDoubles(Http& http, const TableCounts& expected);

} // namespace vel::fleet
