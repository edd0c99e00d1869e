// Each record goes to the process of its run, and there to the track of its thread or component.
#include "velstat/trace/timeline.h"

#include <profile/names.h>
#include <profile/record_view.h>
#include <sources/json_fields.h>
#include <sources/record.h>
#include <velstat/trace/event_fields.h>

#include <fmt/format.h>

#include <algorithm>
#include <utility>

namespace vel::stat {

namespace {

using profile::FieldKind;
using sources::OutputBuffer;
using sources::RecordNames;
using sources::Run;

constexpr std::uint64_t findingsProcess = 1;
constexpr std::uint64_t firstRunProcess = 2;

// The threads of a run's first process.
constexpr std::uint64_t marksThread = 1;
constexpr std::uint64_t pressThread = 2; // and those after it
constexpr std::uint64_t firstComponentThread = 16;

// Limits of what is remembered, as devices choose how much there is. Beyond them, tracks are named again, calls may
// overlap, and presses of the oldest runs are ended.
constexpr std::size_t mostNamed = 65536;
constexpr std::size_t mostThreads = 1024;
constexpr std::size_t mostPresses = 64;

// A track as one number: threads have 32 bits.
std::uint64_t keyOf(Track track) {
  return track.process << 32 | track.thread;
}

std::string_view severityTrack(rules::Severity severity) {
  return severity == rules::Severity::error ? "errors" : severity == rules::Severity::warning ? "warnings" : "notes";
}

} // namespace

Track Timeline::trackOf(std::uint32_t run, Part part, std::uint64_t thread) const {
  return {firstRunProcess + std::uint64_t{parts} * run + part, thread};
}

Track Timeline::namedTrack(std::uint32_t run, Part part, std::uint64_t thread, std::string_view name) {
  constexpr std::string_view partNames[] = {"", " threads", " thread states"};
  const Track track = trackOf(run, part, thread);
  if (!named_.contains(keyOf(track))) {
    if (named_.size() >= mostNamed) {
      named_.clear();
    }
    if (!std::exchange(runs_[run].named[part], true)) {
      events_.nameProcess(track.process, labels_[run] + std::string(partNames[part]));
    }
    events_.nameThread(track, name);
    named_.insert(keyOf(track));
  }
  return track;
}

std::string Timeline::label(const Run& run) {
  std::string label = run.log.empty() ? "records" : run.log;
  if (inputs_.size() > 1) {
    label = fmt::format("{}: {}", inputs_[run.input].name, label);
  }
  const std::uint32_t number = ++runsOfLog_[label];
  return number == 1 ? label : fmt::format("{}, run {}", label, number);
}

Timeline::RunState& Timeline::begin(std::uint32_t run, const Run& begun, std::uint64_t time) {
  if (runs_.size() <= run) {
    runs_.resize(run + std::size_t{1});
    labels_.resize(runs_.size());
  }
  RunState& state = runs_[run];
  if (!state.begun) {
    state.begun = true;
    state.shift = axis_.beginRun(begun.start, time);
    labels_[run] = label(begun);
  }
  return state;
}

void Timeline::add(const unsigned char* record, const sources::Details& details, const std::vector<Run>& runs) {
  ++other_.records;
  const std::uint32_t run = details.run;
  const bool begins = run >= runs_.size() || !runs_[run].begun;
  RunState& state = begins ? begin(run, runs[run], sources::timeStamp(record)) : runs_[run];
  const std::optional<std::uint64_t> place = axis_.place(sources::timeStamp(record), state.shift);
  if (!place) {
    ++other_.beyond;
    return;
  }
  const std::uint64_t time = *place;
  state.latest = std::max(state.latest, time);
  firstTime_ = firstTime_.value_or(time);
  if (!std::exchange(state.shown, true) && runs[run].start != Run::Start::first) {
    addBreak(runs[run], run, state, time);
  }
  if (details.missing != 0) {
    addGap(record, details.missing, run, time);
  }
  if (!marks_.isEmpty()) {
    for (const rules::Finding* const finding : marks_.take(details.location)) {
      addFinding(*finding, time);
    }
  }
  const EventKinds::OfLayout& layout = kinds_.ofLayout(record);
  switch (layout.kind) {
  case EventKind::dump:
    ++other_.dumps;
    return;
  case EventKind::call:
    addCall(record, *layout.call, run, time);
    return;
  case EventKind::configuration:
    other_.keepConfiguration(record);
    break;
  case EventKind::instant:
    if (kinds_.isContextSwitch(record)) {
      addSwitch(record, run, state, time);
      return;
    }
    break;
  }
  addInstant(record, layout, run, state, time);
  addCounters(record, layout, run, time);
}

void Timeline::addCall(const unsigned char* record, const CallFields& fields, std::uint32_t run, std::uint64_t time) {
  const std::uint64_t thread = fields.thread.number(record);
  const Track track = namedTrack(run, threads, thread, fmt::format("thread {}", thread));
  if (calls_.size() >= mostThreads && !calls_.contains(keyOf(track))) {
    calls_.clear();
  }
  const std::uint64_t duration = std::min(fields.duration.number(record), time);
  const Slice slice = calls_[keyOf(track)].add({time - duration, time});
  events_.begin('X', track, slice.begin).duration(slice.end - slice.begin);
  profile::DecimalText digits;
  const profile::Field name = profile::read_field(record, *fields.name.row, digits);
  OutputBuffer& out = events_.room();
  if (name.row->kind == FieldKind::text) {
    out.append(",\"name\":");
    sources::appendJsonBytesAsString(out, name.bytes.empty() ? "(no name)" : name.bytes);
  } else {
    out.append(",\"name\":\"function ");
    out.appendNumber(name.number);
    out.append('"');
  }
  appendFields(events_.beginArguments(), record, fields.name.row);
  events_.end();
}

void Timeline::endRunning(std::uint32_t run, RunState& state, std::uint64_t time, std::string_view name) {
  if (state.running) {
    const Track track = namedTrack(run, states, *state.running, fmt::format("thread {}", *state.running));
    events_.begin('X', track, state.runningSince).duration(time - state.runningSince).name(name).end();
    state.running.reset();
  }
}

void Timeline::addSwitch(const unsigned char* record, std::uint32_t run, RunState& state, std::uint64_t time) {
  const std::uint64_t now = std::max(time, state.runningSince);
  const bool isExpected = state.running == kinds_.switchedFrom.number(record);
  endRunning(run, state, now, isExpected ? "running" : "running: its end is not recorded");
  state.running = static_cast<std::uint32_t>(kinds_.switchedTo.number(record));
  state.runningSince = now;
}

void Timeline::addInstant(const unsigned char* record, const EventKinds::OfLayout& layout, std::uint32_t run,
                          RunState& state, std::uint64_t time) {
  const RecordNames names(record);
  const std::uint64_t component = profile::category(record) * std::uint64_t{256} + profile::component(record);
  Track track = trackOf(run, log, firstComponentThread + component);
  if (!named_.contains(keyOf(track))) {
    track = namedTrack(run, log, track.thread,
                       names.category == names.component ? std::string(names.category)
                                                         : fmt::format("{} {}", names.category, names.component));
  }
  std::string_view name = names.event;
  profile::DecimalText digits;
  profile::Field action{};
  if (layout.action != nullptr) {
    action = profile::read_field(record, *layout.action, digits);
    name = action.bytes;
  }
  events_.begin('i', track, time).name(name).scope('t');
  appendFields(events_.beginArguments(), record, layout.action);
  events_.end();
  if (layout.action == nullptr) {
    return;
  }
  if (const auto step = kinds_.step(record, action.number)) {
    pressOf(run, state).add(*step, time, name, events_);
  }
}

PressTrack& Timeline::pressOf(std::uint32_t run, RunState& state) {
  if (!state.press) {
    if (presses_.size() >= mostPresses) {
      finishPress(runs_[presses_.front()]);
      presses_.pop_front();
    }
    state.press = std::make_unique<PressTrack>(trackOf(run, log, pressThread), nextFlow_);
    presses_.push_back(run);
  }
  return *state.press;
}

void Timeline::finishPress(RunState& state) {
  if (state.press) {
    state.press->finish(state.latest, events_);
    state.press.reset();
  }
}

void Timeline::addCounters(const unsigned char* record, const EventKinds::OfLayout& layout, std::uint32_t run,
                           std::uint64_t time) {
  for (const profile::Row* const row : layout.counters) {
    profile::DecimalText digits;
    events_.begin('C', trackOf(run, log, 0), time).name(row->key);
    appendMember(events_.beginArguments(), "value", profile::read_field(record, *row, digits).number);
    events_.end();
  }
}

void Timeline::addBreak(const Run& begun, std::uint32_t run, const RunState& state, std::uint64_t time) {
  const Track track = namedTrack(run, log, marksThread, "restarts and gaps");
  events_.begin('i', track, time)
      .name(begun.start == Run::Start::clockBack ? "the clock went back" : "restart")
      .scope('g');
  OutputBuffer& out = events_.beginArguments();
  appendMember(out, "timestamp", begun.firstTime);
  out.append(',');
  appendMember(out, "added to timestamps", state.shift);
  events_.end();
}

void Timeline::addGap(const unsigned char* record, std::uint32_t missing, std::uint32_t run, std::uint64_t time) {
  const Track track = namedTrack(run, log, marksThread, "restarts and gaps");
  events_.begin('i', track, time).name("gap").scope('p');
  OutputBuffer& out = events_.beginArguments();
  appendMember(out, "missing records", missing);
  out.append(',');
  appendMember(out, "sequence_num", sources::sequenceNumber(record));
  events_.end();
}

void Timeline::addFinding(const rules::Finding& finding, std::uint64_t time) {
  // The worst findings come first.
  const Track track{findingsProcess, std::uint64_t{1} + static_cast<std::uint64_t>(rules::Severity::error) -
                                         static_cast<std::uint64_t>(finding.severity)};
  if (!std::exchange(findingsNamed_, true)) {
    events_.nameProcess(track.process, "findings");
  }
  if (named_.insert(keyOf(track)).second) {
    events_.nameThread(track, severityTrack(finding.severity));
  }
  events_.begin('i', track, time).jsonName(jsonText(finding.rule)).scope('g');
  const std::pair<std::string_view, const std::string*> texts[] = {
      {"\"finding\":", &finding.text}, {",\"why\":", &finding.why}, {",\"next\":", &finding.next}};
  OutputBuffer& out = events_.beginArguments();
  for (const auto& [key, text] : texts) {
    out.append(key);
    out.append(jsonText(*text));
  }
  events_.end();
}

void Timeline::finish() {
  for (std::uint32_t run = 0; run < runs_.size(); ++run) {
    RunState& state = runs_[run];
    finishPress(state);
    endRunning(run, state, std::max(state.latest, state.runningSince), "running: its end is not recorded");
  }
  for (const rules::Finding* const finding : marks_.takeRest()) {
    addFinding(*finding, firstTime_.value_or(0));
  }
  if (events_.hasEvents()) {
    events_.finish(other_.text(inputs_));
  }
}

} // namespace vel::stat
