#include "sources/clock.h"

#include <sources/calendar.h>

#include <algorithm>
#include <ctime>

namespace vel::sources {

namespace {

constexpr std::size_t mostRelations = 64;
// A line's calendar time may be slightly before the boot time.
constexpr std::int64_t tolerance = 86'400 * microsecondsPerSecond;

struct LineTime {
  std::tm local = {}; // without its year
  std::int64_t microseconds = 0;
};

bool readDigits(std::string_view text, std::size_t at, std::size_t count, int& number) {
  number = 0;
  for (const char c : text.substr(at, count)) {
    if (c < '0' || c > '9') {
      return false;
    }
    number = number * 10 + (c - '0');
  }
  return true;
}

// "Nov 21 08:15:02.000417", with the month names of the locale "C".
std::optional<LineTime> readLineTime(std::string_view text) {
  constexpr std::string_view form = "Nov 21 08:15:02.000417";
  if (text.size() != form.size()) {
    return {};
  }
  for (const std::size_t at : {3, 6, 9, 12, 15}) {
    if (text[at] != form[at]) {
      return {};
    }
  }
  const std::optional<int> month = monthNamed(text.substr(0, 3));
  LineTime time;
  int microseconds = 0;
  if (!month || !readDigits(text, 4, 2, time.local.tm_mday) || !readDigits(text, 7, 2, time.local.tm_hour) ||
      !readDigits(text, 10, 2, time.local.tm_min) || !readDigits(text, 13, 2, time.local.tm_sec) ||
      !readDigits(text, 16, 6, microseconds)) {
    return {};
  }
  time.local.tm_mon = *month;
  time.microseconds = microseconds;
  return time;
}

// The local time in that year; nothing if the year has no such day or hour.
std::optional<std::int64_t> inYear(const LineTime& time, int year, int summerTime) {
  std::tm local = time.local;
  local.tm_year = year;
  const std::optional<std::int64_t> seconds = localSeconds(local, summerTime);
  return seconds ? std::optional(*seconds * microsecondsPerSecond + time.microseconds) : std::nullopt;
}

} // namespace

std::optional<std::int64_t> ClockReader::calendarTime(std::string_view text, std::optional<std::uint64_t> boot,
                                                      std::optional<std::int64_t> likely) {
  const std::optional<LineTime> time = readLineTime(text);
  constexpr std::uint64_t mostBoot = std::uint64_t{1} << 60; // some 36,000 years
  if (!time || !boot || *boot > mostBoot) {
    return {};
  }
  const auto booted = static_cast<std::int64_t>(*boot);
  const auto bootSecond = static_cast<std::time_t>(booted / microsecondsPerSecond);
  std::tm bootLocal = {};
  if (localtime_r(&bootSecond, &bootLocal) == nullptr) {
    return {};
  }
  // Begins with the year before: a line may be slightly earlier than a boot on January 1. Goes on for 8 years: the next
  // February 29 may be that far away.
  for (int year = bootLocal.tm_year - 1; year <= bootLocal.tm_year + 8; ++year) {
    std::optional<std::int64_t> found;
    // The end of summer time repeats an hour; there, prefer the reading that agrees with the other lines.
    for (const int summerTime : {-1, 0, 1}) {
      const std::optional<std::int64_t> reading = inYear(*time, year, summerTime);
      if (reading && (!found || reading == likely)) {
        found = reading;
      }
    }
    if (found && *found >= booted - tolerance) {
      return found;
    }
  }
  return {};
}

int ClockReader::add(std::uint64_t timestamp, std::string_view calendar, std::optional<std::uint64_t> boot) {
  // Nearly all lines have the same relation as the line before.
  if (last_ && boot == relations_[lastPlace_].boot && last_->text(timestamp) == calendar) {
    ++relations_[lastPlace_].lines;
    return static_cast<int>(lastPlace_);
  }
  // Time stamps may be anything: differences and sums wrap around.
  const auto likely =
      relations_.empty()
          ? std::nullopt
          : std::optional(static_cast<std::int64_t>(timestamp + static_cast<std::uint64_t>(relations_.back().offset)));
  const std::optional<std::int64_t> time = calendarTime(calendar, boot, likely);
  if (!time) {
    return -1;
  }
  const auto offset = static_cast<std::int64_t>(static_cast<std::uint64_t>(*time) - timestamp);
  const ClockRelation relation = {.offset = offset, .boot = boot, .lines = 1};
  lastPlace_ = static_cast<std::size_t>(std::find(relations_.begin(), relations_.end(), relation) - relations_.begin());
  if (lastPlace_ < relations_.size()) {
    ++relations_[lastPlace_].lines;
  } else if (relations_.size() == mostRelations) {
    last_.reset();
    return -1;
  } else {
    relations_.push_back(relation);
  }
  last_.emplace(timeSync(relation));
  return static_cast<int>(lastPlace_);
}

profile::TimeSync timeSync(const ClockRelation& relation) {
  return {.vel = 0, .calendar = static_cast<std::int64_t>(static_cast<std::uint64_t>(relation.offset) * 1000)};
}

profile::TimePolicy commonTimes(const std::vector<InputInfo>& inputs) {
  std::optional<ClockRelation> common;
  for (const InputInfo& input : inputs) {
    if (input.kind == Kind::unknown) {
      continue;
    }
    const auto& clocks = input.capture.clocks;
    if (clocks.size() != 1 || (common && *common != clocks.front())) {
      return {};
    }
    common = clocks.front();
  }
  return common ? profile::TimePolicy{timeSync(*common), common->boot} : profile::TimePolicy{};
}

} // namespace vel::sources
