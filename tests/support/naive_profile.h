// The text of a profile record, written as literally as can be: string streams, widths, one insertion a value. It
// shares nothing with the engine and is the other side of every comparison with it.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace naive {

// Times are given ready, as the two time functions would return them.
struct Times {
  std::optional<std::string> wall;
  std::optional<std::uint64_t> boot;
};

// `record` points at 48 bytes.
std::string to_string(const unsigned char* record, const Times& times = {});

// The local wall-clock text by localtime, strftime and snprintf.
std::string wall_time(std::uint64_t timestamp, std::int64_t vel, std::int64_t calendar);

} // namespace naive
