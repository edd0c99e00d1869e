// Numbers and ranges of them in short form, for people and for programs.
#pragma once

#include <formats/value.h>

#include <fmt/format.h>

#include <cmath>
#include <cstdint>
#include <string>

namespace vel::stat {

constexpr double exactIntegers = 9007199254740992; // a double holds every integer up to here

inline bool isExactInteger(double number) {
  return std::fabs(number) < exactIntegers && std::trunc(number) == number;
}

// An integer with all of its digits; any other number with six.
inline std::string shortNumber(double number) {
  return isExactInteger(number) ? fmt::format("{:.0f}", number) : fmt::format("{:.6g}", number);
}

// "3" or "3..90".
inline std::string rangeText(double min, double max) {
  return min == max ? shortNumber(min) : fmt::format("{}..{}", shortNumber(min), shortNumber(max));
}

inline formats::Value numberValue(double number) {
  return isExactInteger(number) ? formats::Value{static_cast<std::int64_t>(number)} : formats::Value{number};
}

} // namespace vel::stat
