// Compiles a pattern into steps, and matches them without recursion.
#include "velstat/text/wildcard.h"

#include <velstat/text/escape.h>

#include <algorithm>
#include <optional>
#include <stdexcept>

namespace vel::stat {

namespace {

// Takes the first character from the text. A byte that is not UTF-8 becomes a number beyond Unicode, so that it never
// matches a character.
char32_t takeCharacter(std::string_view& text) {
  constexpr char32_t strayByte = 0x200000;
  const CodePoint point = decodeUTF8(text);
  text.remove_prefix(point.length);
  return static_cast<char32_t>(point.value + (point.valid ? 0 : strayByte));
}

std::u32string codePoints(std::string_view text) {
  std::u32string points;
  while (!text.empty()) {
    points += takeCharacter(text);
  }
  return points;
}

// The character at `next`, or the one after a backslash there.
char32_t take(const std::u32string& pattern, std::size_t& next) {
  if (next < pattern.size() && pattern[next] == '\\') {
    ++next;
  }
  if (next == pattern.size()) {
    throw std::invalid_argument("a backslash at the end");
  }
  return pattern[next++];
}

} // namespace

Wildcard::Wildcard(std::string_view pattern) {
  const std::u32string points = codePoints(pattern);
  for (std::size_t next = 0; next < points.size();) {
    switch (points[next]) {
    case '*':
      ++next;
      steps_.push_back({.kind = Step::Kind::anyNumber});
      break;
    case '?':
      ++next;
      steps_.push_back({.kind = Step::Kind::any});
      break;
    case '[':
      ++next;
      steps_.push_back(bracket(points, next));
      break;
    default:
      steps_.push_back({.kind = Step::Kind::character, .character = take(points, next)});
    }
  }
}

Wildcard::Step Wildcard::bracket(const std::u32string& pattern, std::size_t& next) {
  Step step{.kind = Step::Kind::oneOf};
  if (next < pattern.size() && (pattern[next] == '!' || pattern[next] == '^')) {
    step.kind = Step::Kind::noneOf;
    ++next;
  }
  // A "]" in the first place is one of the characters.
  while (next < pattern.size() && (pattern[next] != ']' || step.ranges.empty())) {
    const char32_t first = take(pattern, next);
    char32_t last = first;
    if (next + 1 < pattern.size() && pattern[next] == '-' && pattern[next + 1] != ']') {
      ++next;
      last = take(pattern, next);
    }
    if (last < first) {
      throw std::invalid_argument("a range that ends before it begins");
    }
    step.ranges.push_back({first, last});
  }
  if (next == pattern.size()) {
    throw std::invalid_argument("a \"[\" without its \"]\"");
  }
  ++next;
  return step;
}

bool Wildcard::accepts(const Step& step, char32_t c) {
  const auto listed = [&] {
    return std::any_of(step.ranges.begin(), step.ranges.end(),
                       [&](const Range& range) { return range.first <= c && c <= range.last; });
  };
  switch (step.kind) {
  case Step::Kind::character:
    return c == step.character;
  case Step::Kind::oneOf:
    return listed();
  case Step::Kind::noneOf:
    return !listed();
  default:
    return true;
  }
}

bool Wildcard::matches(std::string_view name) const {
  std::size_t step = 0;
  std::string_view rest = name;
  // Where to continue if the text after the last "*" does not match: that "*" then takes one more character. Earlier
  // stars never need another attempt, so attempts do not nest.
  std::optional<std::size_t> star;
  std::string_view afterStar;
  while (!rest.empty() || step < steps_.size()) {
    if (step < steps_.size() && steps_[step].kind == Step::Kind::anyNumber) {
      star = step++;
      afterStar = rest;
      continue;
    }
    if (step < steps_.size() && !rest.empty()) {
      std::string_view after = rest;
      if (accepts(steps_[step], takeCharacter(after))) {
        ++step;
        rest = after;
        continue;
      }
    }
    if (!star || afterStar.empty()) {
      return false;
    }
    takeCharacter(afterStar);
    step = *star + 1;
    rest = afterStar;
  }
  return true;
}

} // namespace vel::stat
