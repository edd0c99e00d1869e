// The records that the page holds: all of them or, if there are too many, those around findings and presses, and
// samples.
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

// Records are numbered from 1, like the rowid of velstat query.
struct PageRecords {
  std::uint64_t count = 0;                                    // all records of the sources
  std::array<std::uint64_t, 256> categories{};                // the number of records of each category
  std::vector<std::pair<std::uint64_t, std::uint64_t>> parts; // the number of the first record, and how many
  std::vector<unsigned char> bytes;                           // of all parts
};

// About 5 MB of bytes.
constexpr std::size_t mostPageRecords = 100'000;

// Counts all records, and keeps their bytes if they are not too many.
PageRecords countRecords(sources::Sources& sources, std::size_t most = mostPageRecords);

// The numbers of the records at these places; nullopt for a place without a record.
std::vector<std::optional<std::uint64_t>> numbersOf(sources::Sources& sources,
                                                    std::span<const std::optional<sources::Location>> locations);

// For sources with too many records: keeps those around `wanted`, then the first and the last, those of the spans, and
// blocks spread evenly over the rest.
void sampleRecords(PageRecords& records, sources::Sources& sources, std::span<const std::uint64_t> wanted,
                   std::span<const std::pair<std::uint64_t, std::uint64_t>> spans, std::size_t most = mostPageRecords);

// The time zones of the page's records: from which record on local time is how many seconds east of Greenwich. Empty
// without a clock relation.
std::vector<std::pair<std::size_t, long>> timeZones(const PageRecords& records, const profile::TimePolicy& times);

} // namespace vel::stat
