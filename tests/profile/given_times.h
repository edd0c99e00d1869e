// Replaces the OS edge: tests that link it set the results of the two time functions.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

// None, the default, makes the function fail. Not for use while another thread renders.
struct GivenTimes {
  std::optional<std::string> wall;
  std::optional<std::uint64_t> boot;
};
extern GivenTimes given_times;
