// Parses decimal numbers.
#pragma once

#include <fmt/format.h>

#include <charconv>
#include <limits>
#include <stdexcept>
#include <string_view>

namespace vel::formats {

// Parses the whole text as a decimal number. Throws std::invalid_argument, "'text' is not a number from `least` to
// `most`".
template <class Number>
Number parseNumber(std::string_view text, Number least = std::numeric_limits<Number>::min(),
                   Number most = std::numeric_limits<Number>::max()) {
  Number number{};
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc{} || end != text.data() + text.size() || !(number >= least && number <= most)) {
    throw std::invalid_argument(fmt::format("'{}' is not a number from {} to {}", text, least, most));
  }
  return number;
}

} // namespace vel::formats
