// The shifts of runs, in spite of damaged times.
#include "velstat/trace/time_axis.h"

#include <algorithm>

namespace vel::stat {

namespace {

constexpr std::uint64_t second = 1'000'000;
// One time this far after the one before it may be damaged; a restart after it shall not move everything there.
constexpr std::uint64_t farthestStep = 86400 * second;

} // namespace

std::uint64_t TimeAxis::beginRun(sources::Run::Start start, std::uint64_t time) {
  if (start == sources::Run::Start::first) {
    shift_ = 0;
    latest_ = 0; // another input may begin earlier
  } else if (time <= longest && time + shift_ + second < latest_) {
    const std::uint64_t shift = (latest_ - time + second - 1) / second * second;
    if (shift <= longest) { // otherwise nothing would have room
      shift_ = shift;
      previous_ = time + shift_;
    }
  }
  return shift_;
}

std::optional<std::uint64_t> TimeAxis::place(std::uint64_t time, std::uint64_t shift) {
  if (time > longest - shift) {
    return std::nullopt;
  }
  const std::uint64_t place = time + shift;
  if (place > latest_ && place - std::min(previous_, place) <= farthestStep) {
    latest_ = place;
  }
  previous_ = place;
  return place;
}

} // namespace vel::stat
