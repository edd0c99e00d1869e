// A range of time as people type it: time stamps, offsets from the ends of the log, and calendar times.
// docs/velstat-decode.md describes the forms to users.
#pragma once

#include <profile/wall_time.h>
#include <sources/selection.h>

#include <cstdint>
#include <ctime>
#include <optional>
#include <string_view>
#include <vector>

namespace vel::sources {

// What a moment may be relative to.
struct LogTimes {
  std::uint64_t first = 0;               // the time stamp of the first record
  std::uint64_t last = 0;                // of the last one; only if it is needed
  std::optional<profile::TimeSync> sync; // between the clock of the records and the calendar
};

// As it was typed.
struct Moment {
  enum class Base : std::uint8_t { timestamp, afterFirst, beforeLast, calendar };

  Base base = Base::timestamp;
  std::uint64_t microseconds = 0; // the time stamp, the distance, or the calendar time's part of a second
  std::uint64_t span = 1;         // its length in microseconds: "08:15" is a minute
  std::tm fields = {};            // of a calendar time
  bool hasDate = false;
  bool hasYear = false;
  bool isUtc = false;
};

// [any thread]
class TimeRange {
public:
  // Each narrows the range. Throws std::invalid_argument with the cause, also for an empty range of time stamps.
  void narrow(std::string_view range); // "A..B", "A..", "..B", "A", or "last 10s"
  void since(std::string_view moment);
  void until(std::string_view moment);

  bool isAll() const { return since_.empty() && until_.empty(); }
  // Whether the end of the log, or a relation between the clocks, has to be known.
  bool needsLast() const { return needs(Moment::Base::beforeLast); }
  bool needsCalendar() const { return needs(Moment::Base::calendar); }
  // Whether all moments are time stamps, so that resolve() does not use the log.
  bool isFixed() const { return !needsLast() && !needsCalendar() && !needs(Moment::Base::afterFirst); }

  // The range of time stamps, which may be empty. Throws std::invalid_argument for a calendar time that does not exist,
  // or if the clock relation that it needs is not known.
  Range resolve(const LogTimes& log) const;

private:
  bool needs(Moment::Base base) const;

  std::vector<Moment> since_;
  std::vector<Moment> until_;
};

} // namespace vel::sources
