// The comments at the beginning of an SQL file that describe it: "-- key: words". Continuation lines begin with "--"
// and two blanks.
#pragma once

#include <query/database.h>

#include <cstddef>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace vel::query {

struct HeaderKeys {
  std::span<const std::string_view> names;
  std::span<const std::size_t> required; // of `names`
  std::span<const std::size_t> repeated; // of `names`: those that may appear more than once
  const char* what;                      // "a rule", in messages
  const char* document;                  // that lists the keys
};

struct HeaderEntry {
  std::size_t key = 0; // of HeaderKeys::names
  std::string text;
  std::size_t line = 0; // of the file, from 1
};

// The entries in the order of the file. `file` is its name in messages. Throws Error.
std::vector<HeaderEntry> readHeader(std::string_view content, const std::string& file, const HeaderKeys& keys);

// The text without blanks at both ends.
std::string_view trimmed(std::string_view text);

} // namespace vel::query
