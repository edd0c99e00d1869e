// Where records lie on the time axis of a trace.
#pragma once

#include <sources/source.h>

#include <cstdint>
#include <optional>

namespace vel::stat {

// The co-processor's clock in microseconds. Where it starts again, the axis goes on: a whole number of seconds is added
// to the times from there on. [one thread at a time]
class TimeAxis {
public:
  // Viewers keep times in doubles, and in nanoseconds of 63 bits. 285 years are enough.
  static constexpr std::uint64_t longest = (std::uint64_t{1} << 53) - 1;

  // What is added to the times of a run, whose first record has this time.
  std::uint64_t beginRun(sources::Run::Start start, std::uint64_t time);
  // The place of a record's time in a run with this shift; none beyond the longest.
  std::optional<std::uint64_t> place(std::uint64_t time, std::uint64_t shift);

private:
  std::uint64_t shift_ = 0;
  std::uint64_t previous_ = 0; // place
  std::uint64_t latest_ = 0;   // place that another one confirms
};

} // namespace vel::stat
