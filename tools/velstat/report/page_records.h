// The records that the page holds: all of them, or those around what matters if there are too many.
#pragma once

#include <profile/render.h>
#include <sources/source.h>

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <utility>
#include <vector>

namespace vel::stat {

// Numbers of records count from 1, as the rowid of velstat query does.
struct PageRecords {
  std::uint64_t count = 0;                                    // of the sources
  std::array<std::uint64_t, 256> categories{};                // how many of each
  std::vector<std::pair<std::uint64_t, std::uint64_t>> parts; // the number of the first, and how many
  std::vector<unsigned char> bytes;                           // of all parts
};

// About 5 MB of bytes.
constexpr std::size_t mostPageRecords = 100'000;

// Counts all records; the bytes are theirs if they are not too many.
PageRecords countRecords(sources::Sources& sources, std::size_t most = mostPageRecords);

// The numbers of the records at these places; none for a place that has no record.
std::vector<std::optional<std::uint64_t>> numbersOf(sources::Sources& sources,
                                                    std::span<const std::optional<sources::Location>> locations);

// Of a source with too many records, takes those around `wanted`, then those of the spans, the first and the last, and
// blocks spread evenly over the rest.
void sampleRecords(PageRecords& records, sources::Sources& sources, std::span<const std::uint64_t> wanted,
                   std::span<const std::pair<std::uint64_t, std::uint64_t>> spans, std::size_t most = mostPageRecords);

// From which of the page's records on local time is how many seconds east of Greenwich; empty without a clock relation.
std::vector<std::pair<std::size_t, long>> timeZones(const PageRecords& records, const profile::TimePolicy& times);

} // namespace vel::stat
