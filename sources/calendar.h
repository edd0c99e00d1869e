// Dates and times of day in the process's time zone.
#pragma once

#include <cstdint>
#include <ctime>
#include <optional>
#include <string_view>

namespace vel::sources {

inline constexpr std::int64_t microsecondsPerSecond = 1'000'000;

// The number of a month, from 0, by its name in the locale "C", such as "Nov".
std::optional<int> monthNamed(std::string_view name);

// The seconds since 1970 of a local time; nothing if there is no such day or hour. `summerTime`: 1 yes, 0 no, -1
// unknown. [any thread]
std::optional<std::int64_t> localSeconds(const std::tm& local, int summerTime);
// The same for a time in UTC.
std::optional<std::int64_t> utcSeconds(const std::tm& utc);

} // namespace vel::sources
