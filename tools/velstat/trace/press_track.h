// The presses of one log as nested slices: finger, button, haptic; finger, amplifier. Arrows lead from finger to click
// to haptic.
#pragma once

#include <velstat/trace/event_kinds.h>
#include <velstat/trace/event_writer.h>
#include <velstat/trace/nested_slices.h>

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace vel::stat {

class PressTrack {
public:
  // The process of `track` must have been named. `nextFlow` counts the arrows of the whole trace.
  PressTrack(Track track, std::uint64_t& nextFlow) : track_(track), nextFlow_(&nextFlow) {}

  static constexpr std::uint64_t threads = 2; // that it uses: the second one is for slices that partly overlap others

  // `action` is the step's name in the log.
  void add(Step step, std::uint64_t time, std::string_view action, EventWriter& events);
  // Ends the slices that have no end in the log.
  void finish(std::uint64_t time, EventWriter& events);

private:
  enum Span : std::uint8_t { finger, button, amplifier, haptic, spans };
  enum class Ending : std::uint8_t { good, failed, missing };

  void open(Span span, std::uint64_t time);
  // Writes the open slice of this span, and returns its track; nullopt if none is open.
  std::optional<Track> close(Span span, std::uint64_t time, Ending ending, std::string_view action,
                             EventWriter& events);
  void closeAll(std::uint64_t time, EventWriter& events);
  Track writeSlice(Slice slice, std::string_view name, bool bad, EventWriter& events);
  void writeFlow(char phase, Track track, std::uint64_t time, std::uint64_t id, EventWriter& events);
  void writeFlowsTo(Span span, Track track, Slice slice, EventWriter& events);

  Track track_;
  std::uint64_t* nextFlow_;
  std::array<bool, threads> named_{};
  std::array<NestedSlices, threads> slices_;
  std::array<std::optional<std::uint64_t>, spans> begins_; // of the open slices
  std::uint64_t latest_ = 0;                               // the latest time of a step
  // Arrows that have begun; 0: none.
  std::uint64_t flowToButton_ = 0;
  std::uint64_t flowToHaptic_ = 0; // to the next haptic
  std::uint64_t flowOfHaptic_ = 0; // to the open haptic
};

} // namespace vel::stat
