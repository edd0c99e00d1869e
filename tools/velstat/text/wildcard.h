// Patterns for names, like those of a shell for files.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace vel::stat {

// `*` matches any characters, `?` any one character, `[a-z]` one of these, `[!a-z]` one of all others; a backslash
// removes the special meaning of the character after it. A character is a code point; each byte that is not UTF-8
// counts as a character. The whole name must match. The time is at most proportional to the length of the pattern times
// that of the name.
class Wildcard {
public:
  // Throws std::invalid_argument that says what is wrong with the pattern.
  explicit Wildcard(std::string_view pattern);

  bool matches(std::string_view name) const;

private:
  struct Range {
    char32_t first;
    char32_t last;
  };
  struct Step {
    enum class Kind { character, oneOf, noneOf, any, anyNumber } kind;
    char32_t character = 0;
    std::vector<Range> ranges;
  };

  static bool accepts(const Step& step, char32_t c);
  // Parses a bracket expression; `next` moves from after its "[" to after its "]".
  static Step bracket(const std::u32string& pattern, std::size_t& next);

  std::vector<Step> steps_;
};

} // namespace vel::stat
