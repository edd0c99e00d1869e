// Turns records into the events of a trace, in constant memory. docs/velstat-trace.md describes the result.
#pragma once

#include <sources/source.h>
#include <velstat/trace/event_kinds.h>
#include <velstat/trace/event_writer.h>
#include <velstat/trace/finding_marks.h>
#include <velstat/trace/nested_slices.h>
#include <velstat/trace/other_data.h>
#include <velstat/trace/press_track.h>
#include <velstat/trace/time_axis.h>

#include <array>
#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

namespace vel::stat {

class Timeline {
public:
  // `inputs` and `events` must outlive the object.
  Timeline(const std::vector<sources::InputInfo>& inputs, FindingMarks marks, EventWriter& events)
      : inputs_(inputs), marks_(std::move(marks)), events_(events) {}

  // Adds the next record of a stream; `runs` are the runs of that stream.
  void add(const unsigned char* record, const sources::Details& details, const std::vector<sources::Run>& runs);
  // Ends the open slices and the document. Writes nothing if there is no event.
  void finish();

  std::uint64_t records() const { return other_.records; }
  std::uint64_t beyond() const { return other_.beyond; } // records left out because their times are beyond the axis

private:
  // The parts of a run, each a process.
  enum Part : std::uint8_t { log, threads, states, parts };

  struct RunState {
    bool begun = false;
    std::array<bool, parts> named{};
    std::uint64_t shift = 0;
    std::uint64_t latest = 0; // place of its latest record on the axis
    bool shown = false;       // a record of the run has been placed
    std::unique_ptr<PressTrack> press;
    std::optional<std::uint32_t> running; // thread
    std::uint64_t runningSince = 0;
  };

  Track trackOf(std::uint32_t run, Part part, std::uint64_t thread) const;
  Track namedTrack(std::uint32_t run, Part part, std::uint64_t thread, std::string_view name);
  RunState& begin(std::uint32_t run, const sources::Run& begun, std::uint64_t time);
  std::string label(const sources::Run& run);

  void addCall(const unsigned char* record, const CallFields& fields, std::uint32_t run, std::uint64_t time);
  void addSwitch(const unsigned char* record, std::uint32_t run, RunState& state, std::uint64_t time);
  void endRunning(std::uint32_t run, RunState& state, std::uint64_t time, std::string_view name);
  void addInstant(const unsigned char* record, const EventKinds::OfLayout& layout, std::uint32_t run, RunState& state,
                  std::uint64_t time);
  void addCounters(const unsigned char* record, const EventKinds::OfLayout& layout, std::uint32_t run,
                   std::uint64_t time);
  void addBreak(const sources::Run& begun, std::uint32_t run, const RunState& state, std::uint64_t time);
  void addGap(const unsigned char* record, std::uint32_t missing, std::uint32_t run, std::uint64_t time);
  void addFinding(const rules::Finding& finding, std::uint64_t time);
  PressTrack& pressOf(std::uint32_t run, RunState& state);
  void finishPress(RunState& state);

  const std::vector<sources::InputInfo>& inputs_;
  FindingMarks marks_;
  EventWriter& events_;
  EventKinds kinds_;
  TimeAxis axis_;
  std::vector<RunState> runs_;
  std::vector<std::string> labels_; // of the runs
  std::unordered_map<std::string, std::uint32_t> runsOfLog_;
  std::unordered_set<std::uint64_t> named_;               // tracks
  std::unordered_map<std::uint64_t, NestedSlices> calls_; // by track
  std::deque<std::uint32_t> presses_;                     // runs with a press track
  OtherData other_;
  bool findingsNamed_ = false; // whether the process has been named
  std::uint64_t nextFlow_ = 0;
  std::optional<std::uint64_t> firstTime_;
};

} // namespace vel::stat
