// A slice is written at its end, and its name says how it ended. An arrow's end is written after the slice that it
// leads to, because viewers sort by time and bind the arrow to the slice that is open then. For the same reason an
// arrow begins a microsecond before the step that it shows.
#include "velstat/trace/press_track.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

namespace vel::stat {

namespace {

constexpr std::string_view trackNames[] = {"button press", "button press, overlapping"};
static_assert(std::size(trackNames) == PressTrack::threads);

struct Names {
  std::string_view good;
  std::string_view failed;
};
constexpr Names spanNames[] = {
    {"finger", ""}, {"button down", ""}, {"amplifier starts", "amplifier never ready"}, {"haptic", "no haptic"}};

std::uint64_t before(std::uint64_t time) {
  return time - std::min<std::uint64_t>(time, 1);
}

} // namespace

void PressTrack::open(Span span, std::uint64_t time) {
  begins_[span] = time;
}

Track PressTrack::writeSlice(Slice slice, std::string_view name, bool bad, EventWriter& events) {
  const std::size_t thread = slices_[0].wouldChange(slice) ? 1 : 0;
  const Track track{track_.process, track_.thread + thread};
  if (!std::exchange(named_[thread], true)) {
    events.nameThread(track, trackNames[thread]);
  }
  slice = slices_[thread].add(slice);
  events.begin('X', track, slice.begin).duration(slice.end - slice.begin).name(name);
  if (bad) {
    events.colour("terrible");
  }
  events.end();
  return track;
}

void PressTrack::writeFlow(char phase, Track track, std::uint64_t time, std::uint64_t id, EventWriter& events) {
  events.begin(phase, track, time).name("press").flowId(id).end();
}

void PressTrack::writeFlowsTo(Span span, Track track, Slice slice, EventWriter& events) {
  if (span == button && flowToButton_ != 0) {
    writeFlow('t', track, slice.begin, std::exchange(flowToButton_, 0), events);
  } else if (span == haptic && flowOfHaptic_ != 0) {
    writeFlow('f', track, slice.begin, std::exchange(flowOfHaptic_, 0), events);
  }
}

std::optional<Track> PressTrack::close(Span span, std::uint64_t time, Ending ending, std::string_view action,
                                       EventWriter& events) {
  if (!begins_[span]) {
    return std::nullopt;
  }
  const Slice slice{*begins_[span], time};
  begins_[span].reset();
  std::string name(spanNames[span].good);
  if (ending == Ending::failed && !spanNames[span].failed.empty()) {
    name = spanNames[span].failed;
    name += action.empty() ? "" : fmt::format(": {}", action);
  } else if (ending == Ending::missing) {
    name += ": its end is not recorded";
  }
  const Track track = writeSlice(slice, name, ending != Ending::good, events);
  writeFlowsTo(span, track, slice, events);
  return track;
}

// Ends the inner slices first.
void PressTrack::closeAll(std::uint64_t time, EventWriter& events) {
  std::array<Span, 3> inner = {button, amplifier, haptic};
  std::stable_sort(inner.begin(), inner.end(), [this](Span a, Span b) { return begins_[a] > begins_[b]; });
  for (const Span span : inner) {
    close(span, time, span == amplifier ? Ending::failed : Ending::missing, {}, events);
  }
}

void PressTrack::finish(std::uint64_t time, EventWriter& events) {
  time = latest_ = std::max(time, latest_);
  closeAll(time, events);
  close(finger, time, Ending::missing, {}, events);
}

void PressTrack::add(Step step, std::uint64_t time, std::string_view action, EventWriter& events) {
  time = latest_ = std::max(time, latest_); // records may be a little out of order
  switch (step) {
  case Step::fingerOn:
    finish(time, events);
    open(finger, time);
    break;
  case Step::fingerOff:
    closeAll(time, events);
    close(finger, time, Ending::good, {}, events);
    break;
  case Step::buttonDown:
    close(button, time, Ending::missing, {}, events);
    open(button, time);
    // No arrow from the first microsecond of the finger's slice: viewers would not find the slice, which is written
    // later.
    flowToButton_ = flowToHaptic_ = begins_[finger] && *begins_[finger] < before(time) ? ++*nextFlow_ : 0;
    if (flowToButton_ != 0) {
      writeFlow('s', track_, before(time), flowToButton_, events);
    }
    break;
  case Step::buttonUp:
    if (const auto begin = begins_[button]) {
      const auto track = close(button, time, Ending::good, {}, events);
      flowToHaptic_ = ++*nextFlow_;
      writeFlow('s', *track, std::max(before(time), *begin), flowToHaptic_, events);
    }
    break;
  case Step::amplifierOn:
    close(amplifier, time, Ending::failed, {}, events);
    open(amplifier, time);
    break;
  case Step::amplifierReady:
    close(amplifier, time, Ending::good, {}, events);
    break;
  case Step::hapticStart:
    close(haptic, time, Ending::missing, {}, events);
    open(haptic, time);
    flowOfHaptic_ = std::exchange(flowToHaptic_, 0);
    break;
  case Step::hapticPlayed:
    close(haptic, time, Ending::good, {}, events);
    break;
  case Step::hapticFailed:
    close(haptic, time, Ending::failed, action, events);
    break;
  }
}

} // namespace vel::stat
