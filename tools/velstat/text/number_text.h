// Numbers and counted nouns as text.
#pragma once

#include <fmt/format.h>

#include <cstddef>
#include <string>
#include <string_view>

namespace vel::stat {

// "1 line", "2 lines"; "1 entry", "2 entries".
inline std::string countText(std::size_t number, std::string_view one, std::string_view many) {
  return fmt::format("{} {}", number, number == 1 ? one : many);
}
inline std::string countText(std::size_t number, std::string_view one) {
  return countText(number, one, fmt::format("{}s", one));
}

// The shortest text that reads back as the same double. A whole number gets a fraction, to show that it is a real.
inline std::string realText(double number) {
  std::string text = fmt::format("{}", number);
  return text.find_first_not_of("-0123456789") == std::string::npos ? text + ".0" : text;
}

} // namespace vel::stat
