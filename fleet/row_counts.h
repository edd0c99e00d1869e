// How many rows captures have in each table: counted on a shard, compared with what has been sent, and made equal where
// rows were written twice.
//
// Blocks that are sent again are ignored by replicated tables. Rows can still come twice: a server without replicas
// keeps no record of blocks, and loads whose lists overlap pack the same captures into other blocks. The tables are
// replacing ones, so merging removes these rows at some time; the check makes that happen before a capture counts as
// loaded.
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

// What the SELECT gives: rows of device, capture and a number.
CaptureCounts askCounts(Http& http, const std::string& select);

using TableCounts = std::map<std::string, CaptureCounts>; // by the table's name

// As bytes, to be sent or kept in order with rows, and back. The bytes are not trusted: throws Error.
std::string encodeCounts(const TableCounts& counts);
TableCounts decodeCounts(std::string_view bytes);

// Merges the partitions where any of these captures has more rows than expected. Waits for a replica that is behind,
// but not for ever.
void removeDoubles(Http& http, const TableCounts& expected);

} // namespace vel::fleet
