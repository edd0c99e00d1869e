// Numbers of things.
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

} // namespace vel::stat
