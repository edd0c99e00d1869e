#include "sources/calendar.h"

#include <algorithm>
#include <array>

namespace vel::sources {

namespace {

// The C library changes a time that does not exist into another one, so a changed time is refused.
std::optional<std::int64_t> ifSame(const std::tm& asked, const std::tm& found, std::time_t time) {
  const bool same = asked.tm_mon == found.tm_mon && asked.tm_mday == found.tm_mday && asked.tm_hour == found.tm_hour &&
                    asked.tm_min == found.tm_min;
  return time == -1 || !same ? std::nullopt : std::optional<std::int64_t>(time);
}

} // namespace

std::optional<int> monthNamed(std::string_view name) {
  constexpr std::array<std::string_view, 12> months = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                                       "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
  const auto* const found = std::find(months.begin(), months.end(), name);
  return found == months.end() ? std::nullopt : std::optional(static_cast<int>(found - months.begin()));
}

std::optional<std::int64_t> localSeconds(const std::tm& local, int summerTime) {
  std::tm found = local;
  found.tm_isdst = summerTime;
  const std::time_t time = std::mktime(&found);
  return ifSame(local, found, time);
}

std::optional<std::int64_t> utcSeconds(const std::tm& utc) {
  std::tm found = utc;
  const std::time_t time = timegm(&found);
  return ifSame(utc, found, time);
}

} // namespace vel::sources
