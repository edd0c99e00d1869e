// Hostile spools: entries are read or refused, and are not larger than the file. The input is read as a spool, and then
// as an entry with the right digest.
#include "require.h"
#include <fleet/content_id.h>
#include <fleet/error.h>
#include <fleet/row_counts.h>
#include <fleet/spool.h>
#include <formats/error.h>

#include <cstdint>
#include <string>
#include <string_view>

namespace {

using vel::fuzz::require;
using namespace vel::fleet;

void check(const SpoolEntry& entry) {
  if (entry.kind != SpoolEntry::Kind::check) {
    return;
  }
  try {
    const TableCounts counts = decodeCounts(entry.rows);
    require(decodeCounts(encodeCounts(counts)) == counts, "counts that change");
  } catch (const Error&) {
  }
}

void read(std::string_view content) {
  try {
    SpoolReader reader(content, "fuzz");
    std::size_t entries = 0;
    while (const auto entry = reader.next()) {
      require(entry->rows.size() + entry->table.size() < content.size(), "an entry larger than the file");
      require(++entries <= content.size(), "entries without bytes");
      check(*entry);
    }
  } catch (const Error& error) {
    require(std::string_view(error.what()).find('\n') == std::string_view::npos, "an error of several lines");
  }
}

std::string withDigest(std::string entry) {
  const std::uint64_t digest = sipHash(entry);
  for (unsigned shift = 0; shift < 64; shift += 8) {
    entry += static_cast<char>(digest >> shift);
  }
  return entry;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string input(reinterpret_cast<const char*>(data), size);
  read(input);
  const std::string first(30, '\0'); // kind `tables`, everything else empty
  read("velstat-spool-1\n" + withDigest(first) + withDigest(input));
  return 0;
}
