// Names chosen by patterns, as a shell chooses files.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace vel::stat {

// `*` stands for any characters, `?` for one, `[a-z]` for one of these, `[!a-z]` for one of the others; a backslash
// takes the special meaning from the character behind it. A character is a code point; bytes that are not UTF-8 are a
// character each. The whole name must match. Time is bounded by pattern times name.
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
  // The bracket expression behind its "[", of which it consumes the "]" too.
  static Step bracket(const std::u32string& pattern, std::size_t& next);

  std::vector<Step> steps_;
};

} // namespace vel::stat
