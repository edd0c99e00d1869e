// Places records on the time axis of a trace.
#pragma once

#include <sources/source.h>

#include <cstdint>
#include <optional>

namespace vel::stat {

// The co-processor's clock in microseconds. Where the clock starts again, the axis continues: a whole number of seconds
// is added to all later times. [one thread at a time]
class TimeAxis {
public:
  // Viewers keep times in doubles, or as nanoseconds in 63 bits. The limit is 285 years.
  static constexpr std::uint64_t longest = (std::uint64_t{1} << 53) - 1;

  // Begins a run whose first record has this time. Returns what is to be added to the run's times.
  std::uint64_t beginRun(sources::Run::Start start, std::uint64_t time);
  // The place of a record's time in a run with this shift; nullopt if it is beyond `longest`.
  std::optional<std::uint64_t> place(std::uint64_t time, std::uint64_t shift);

private:
  std::uint64_t shift_ = 0;
  std::uint64_t previous_ = 0; // place of the record before
  std::uint64_t latest_ = 0;   // latest place that the place before it confirms
};

} // namespace vel::stat
