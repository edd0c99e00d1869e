// Computes the shifts of runs, even if some times are damaged.
#include "velstat/trace/time_axis.h"

#include <algorithm>

namespace vel::stat {

namespace {

constexpr std::uint64_t second = 1'000'000;
// A time that is further than this after the one before it may be damaged. It must not decide where the run after a
// restart is placed.
constexpr std::uint64_t farthestStep = 86400 * second;

} // namespace

std::uint64_t TimeAxis::beginRun(sources::Run::Start start, std::uint64_t time) {
  if (start == sources::Run::Start::first) {
    shift_ = 0;
    latest_ = 0; // another input may begin earlier
  } else if (time <= longest && time + shift_ + second < latest_) {
    const std::uint64_t shift = (latest_ - time + second - 1) / second * second;
    if (shift <= longest) { // otherwise there would be no room for the run
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
