// Numbers in the texts of options.
#pragma once

#include <charconv>
#include <stdexcept>
#include <string>
#include <string_view>

namespace vel::stat {

// The text as a whole. Throws std::invalid_argument, "'text' is not `what`", if it is none or out of range.
template <class Number>
Number parseNumber(std::string_view text, const char* what) {
  Number number{};
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc{} || end != text.data() + text.size()) {
    throw std::invalid_argument("'" + std::string(text) + "' is not " + what);
  }
  return number;
}

} // namespace vel::stat
