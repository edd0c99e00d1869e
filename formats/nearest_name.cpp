// Compares a word with every known name.
#include "formats/nearest_name.h"

#include <algorithm>
#include <cstddef>
#include <numeric>
#include <vector>

namespace vel::formats {

namespace {

// The edit distance of two words.
std::size_t distance(std::string_view a, std::string_view b) {
  std::vector<std::size_t> row(b.size() + 1);
  std::iota(row.begin(), row.end(), 0);
  for (std::size_t i = 0; i < a.size(); ++i) {
    std::size_t diagonal = row[0];
    row[0] = i + 1;
    for (std::size_t j = 0; j < b.size(); ++j) {
      const std::size_t changed = diagonal + (a[i] == b[j] ? 0 : 1);
      diagonal = row[j + 1];
      row[j + 1] = std::min({changed, row[j] + 1, row[j + 1] + 1});
    }
  }
  return row.back();
}

} // namespace

std::optional<std::string_view> nearestName(std::string_view word, std::span<const std::string_view> names) {
  constexpr std::size_t longestGuess = 64;
  if (word.size() > longestGuess || names.empty()) {
    return std::nullopt;
  }
  const std::string_view* const nearest = std::min_element(
      names.data(), names.data() + names.size(), [&](auto a, auto b) { return distance(word, a) < distance(word, b); });
  if (distance(word, *nearest) > std::max<std::size_t>(1, nearest->size() / 3)) {
    return std::nullopt;
  }
  return *nearest;
}

} // namespace vel::formats
