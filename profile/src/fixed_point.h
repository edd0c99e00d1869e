// The firmware's fractions: signed 32 bits, 16 of them behind the point.
#pragma once

#include <cstdint>

namespace vel::profile {

constexpr double from_fixed_point(std::uint32_t word) noexcept {
  return static_cast<double>(static_cast<std::int32_t>(word)) * 1.52587890625e-05;
}

} // namespace vel::profile
