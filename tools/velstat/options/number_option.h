// Options that take a whole number.
#pragma once

#include <formats/parse_number.h>

#include <CLI/CLI.hpp>

namespace vel::stat {

constexpr unsigned longestTimeout = 1'000'000; // seconds, of --timeout

// For Option::transform. Without it, the option parser reads 010 as eight, and clamps numbers that are too large.
template <class Number>
CLI::Validator decimal(Number least = std::numeric_limits<Number>::min(),
                       Number most = std::numeric_limits<Number>::max()) {
  const auto parse = [=](std::string& text) {
    try {
      text = fmt::format("{}", formats::parseNumber(text, least, most));
      return std::string();
    } catch (const std::invalid_argument& error) {
      return std::string(error.what());
    }
  };
  return {parse, ""};
}

} // namespace vel::stat
