// Compares a word with every known name.
#include "formats/nearest_name.h"

#include <algorithm>
#include <cstddef>
#include <numeric>
#include <utility>
#include <vector>

namespace vel::formats {

namespace {

char lowerCase(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

bool sameLetter(char a, char b) {
  return lowerCase(a) == lowerCase(b);
}

// How many letters must be changed, added, removed or swapped with a neighbour to turn one word into the other. If
// there are more than `most`, any number above `most` is returned.
std::size_t distance(std::string_view a, std::string_view b, std::size_t most) {
  std::vector<std::size_t> beforeLast;
  std::vector<std::size_t> last;
  std::vector<std::size_t> row(b.size() + 1);
  std::iota(row.begin(), row.end(), 0);
  for (std::size_t i = 1; i <= a.size(); ++i) {
    beforeLast = std::exchange(last, row);
    row[0] = i;
    for (std::size_t j = 1; j <= b.size(); ++j) {
      const std::size_t changed = last[j - 1] + (sameLetter(a[i - 1], b[j - 1]) ? 0 : 1);
      row[j] = std::min({changed, last[j] + 1, row[j - 1] + 1});
      if (i > 1 && j > 1 && sameLetter(a[i - 1], b[j - 2]) && sameLetter(a[i - 2], b[j - 1])) {
        row[j] = std::min(row[j], beforeLast[j - 2] + 1);
      }
    }
    const auto least = [](const std::vector<std::size_t>& each) { return *std::min_element(each.begin(), each.end()); };
    if (std::min(least(row), least(last)) > most) {
      break; // later rows cannot be smaller
    }
  }
  return row.back();
}

} // namespace

bool equalIgnoringCase(std::string_view a, std::string_view b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(), sameLetter);
}

std::optional<std::string_view> nearestName(std::string_view word, std::span<const std::string_view> names) {
  constexpr std::size_t longestGuess = 64;
  if (word.empty() || word.size() > longestGuess) {
    return std::nullopt;
  }
  std::optional<std::string_view> nearest;
  std::size_t least = longestGuess;
  for (const std::string_view name : names) {
    const std::size_t longer = std::max(word.size(), name.size());
    const std::size_t shorter = std::min(word.size(), name.size());
    const std::size_t allowed = std::max<std::size_t>(1, name.size() / 3);
    if (longer - shorter > allowed || longer - shorter >= least) {
      continue; // the difference in length is a lower bound of the distance
    }
    if (const std::size_t steps = distance(word, name, allowed); steps <= allowed && steps < least) {
      nearest = name;
      least = steps;
    }
  }
  return nearest;
}

} // namespace vel::formats
