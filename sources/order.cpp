// A batch is in the order of its log, so a restart inside it is visible: numbers or times go back. Batches may overlap
// in any way: a stretch of a batch belongs to a run if its numbers and times rise together with those of the run.
#include "sources/order.h"

#include <sources/recovery.h>
#include <sources/sequence_check.h>

#include <algorithm>
#include <map>
#include <string_view>
#include <tuple>
#include <unordered_set>

namespace vel::sources {

namespace {

struct Stamp {
  std::uint64_t time = 0;
  std::uint32_t number = 0;
};

Stamp stampOf(const unsigned char* record) {
  return {timeStamp(record), sequenceNumber(record)};
}

std::int32_t numbersBetween(std::uint32_t first, std::uint32_t second) {
  return static_cast<std::int32_t>(second - first); // numbers wrap around
}

// Whether the second may be later in the same run.
bool rises(const Stamp& first, const Stamp& second) {
  const std::int32_t step = numbersBetween(first.number, second.number);
  // Records of about the same time may be a little out of order.
  return step > 0 || (second.time - first.time <= largestDisorder && step >= -static_cast<std::int32_t>(usualStep));
}

// A stretch of one batch.
struct Stretch {
  std::size_t begin = 0;
  std::size_t end = 0;
  std::optional<Run::Start> start; // what separates it from the previous stretch; none: it begins a batch
};

class RunFinder {
public:
  RunFinder(std::vector<CapturedRecord>& records, const std::vector<std::string>& logs)
      : records_(records), logs_(logs), byLog_(logs.size()) {}

  void find() {
    for (const Stretch& stretch : stretches()) {
      const std::size_t run = runOf(stretch);
      previous_ = run;
      for (std::size_t i = stretch.begin; i < stretch.end; ++i) {
        records_[i].details.run = static_cast<std::uint32_t>(run);
      }
    }
  }

  // When the clock goes back, a new era begins. Its records follow those of earlier eras regardless of their times.
  std::uint32_t era(const CapturedRecord& record) const { return runs_[record.details.run].era; }
  std::size_t count() const { return runs_.size(); }
  Run::Start start(std::size_t run) const { return runs_[run].start; }

private:
  // Enough for real logs. The bound protects against bytes that make every record a restart.
  static constexpr std::size_t mostCandidates = 64;

  struct KnownRun {
    std::uint32_t era = 0;
    Run::Start start = Run::Start::first;
    std::multimap<std::uint64_t, std::uint32_t> ends; // of its stretches: number by time
  };

  const unsigned char* bytesOf(std::size_t record) const { return records_[record].bytes.data(); }

  std::vector<Stretch> stretches() const {
    std::vector<Stretch> found;
    for (std::size_t i = 0; i < records_.size(); ++i) {
      const bool goesOn = i != 0 && records_[i].batch == records_[i - 1].batch;
      const std::optional<Run::Start> start = goesOn ? breakBetween(bytesOf(i - 1), bytesOf(i)) : std::nullopt;
      if (!goesOn || start) {
        found.push_back({i, i, start});
      }
      found.back().end = i + 1;
    }
    return found;
  }

  // How far the stretch is, in time, from the nearest known record of the run. Nothing if numbers and times do not rise
  // from the known record before the stretch to it, and from it to the known record after it.
  static std::optional<std::uint64_t> distance(const KnownRun& run, const Stamp& first, const Stamp& last) {
    std::optional<std::uint64_t> nearest;
    if (const auto after = run.ends.lower_bound(last.time); after != run.ends.end()) {
      if (!rises(last, {after->first, after->second})) {
        return {};
      }
      nearest = after->first - last.time;
    }
    if (auto before = run.ends.upper_bound(first.time); before != run.ends.begin()) {
      --before;
      if (!rises({before->first, before->second}, first)) {
        return {};
      }
      nearest = std::min(nearest.value_or(~std::uint64_t{0}), first.time - before->first);
    }
    return nearest;
  }

  std::size_t runOf(const Stretch& stretch) {
    const Stamp first = stampOf(bytesOf(stretch.begin));
    const Stamp last = stampOf(bytesOf(stretch.end - 1));
    const std::uint32_t log = records_[stretch.begin].log;
    std::vector<std::size_t>& candidates = byLog_[log];
    std::optional<std::size_t> best;
    std::uint64_t nearest = 0;
    std::size_t looked = 0;
    for (std::size_t i = candidates.size(); i-- > 0 && looked < mostCandidates; ++looked) {
      const KnownRun& run = runs_[candidates[i]];
      // After a restart, only runs that are known to have come after it.
      const bool possible = !stretch.start || (candidates[i] != previous_ && run.era >= runs_[previous_].era);
      const auto away = possible ? distance(run, first, last) : std::nullopt;
      if (away && (!best || *away < nearest)) {
        best = candidates[i];
        nearest = *away;
      }
    }
    if (!best) {
      best = runs_.size();
      candidates.push_back(*best);
      runs_.push_back(newRun(stretch, first, log));
    }
    addEnds(runs_[*best], first, last);
    return *best;
  }

  KnownRun newRun(const Stretch& stretch, const Stamp& first, std::uint32_t log) const {
    KnownRun run;
    if (stretch.start) {
      run.start = *stretch.start;
      const bool back = first.time < timeStamp(bytesOf(stretch.begin - 1));
      run.era = runs_[previous_].era + (back ? 1 : 0);
      return run;
    }
    // Lists without a title may be of any log, so only their times order them.
    const auto& known = byLog_[log];
    if (!logs_[log].empty() && known.size() > 1) {
      const KnownRun& lastRun = runs_[known[known.size() - 2]];
      run.start = Run::Start::restarted;
      run.era = lastRun.era + (first.time < lastRun.ends.rbegin()->first ? 1 : 0);
    }
    return run;
  }

  static void addEnds(KnownRun& run, const Stamp& first, const Stamp& last) {
    run.ends.emplace(first.time, first.number);
    run.ends.emplace(last.time, last.number);
  }

  std::vector<CapturedRecord>& records_;
  const std::vector<std::string>& logs_;
  std::vector<KnownRun> runs_;
  std::vector<std::vector<std::size_t>> byLog_; // runs of each log
  std::size_t previous_ = 0;                    // run of the stretch before
};

std::string_view viewOf(const CapturedRecord& record) {
  return {reinterpret_cast<const char*>(record.bytes.data()), record.bytes.size()};
}

// Keeps the first occurrence of each record.
void dropRepeated(std::vector<CapturedRecord>& records) {
  std::unordered_set<std::string_view> seen;
  std::vector<CapturedRecord> kept;
  kept.reserve(records.size()); // the views into it stay valid
  for (const CapturedRecord& record : records) {
    if (!seen.contains(viewOf(record))) {
      kept.push_back(record);
      seen.insert(viewOf(kept.back()));
    }
  }
  records.swap(kept);
}

// Numbers the runs in the order of their first records, and counts their records and gaps.
void describe(RecordsInOrder& result, const RunFinder& finder, const std::vector<std::string>& logs) {
  constexpr std::uint32_t none = 0xffffffff;
  std::vector<std::uint32_t> numbers(finder.count(), none);
  std::vector<SequenceCheck> checks;
  for (CapturedRecord& record : result.records) {
    const Stamp stamp = stampOf(record.bytes.data());
    std::uint32_t& number = numbers[record.details.run];
    if (number == none) {
      number = static_cast<std::uint32_t>(result.runs.size());
      Run run;
      run.input = record.details.location.input;
      run.log = logs[record.log];
      run.start = finder.start(record.details.run);
      run.firstTime = stamp.time;
      run.firstSequence = run.lastSequence = stamp.number;
      result.runs.push_back(run);
      checks.emplace_back();
    }
    Run& run = result.runs[number];
    const std::int32_t step = numbersBetween(run.lastSequence, stamp.number);
    record.details.run = number;
    record.details.missing = run.records != 0 && step > 1 ? static_cast<std::uint32_t>(step) - 1 : 0;
    checks[number].add(stamp.number);
    run.gaps = checks[number].counts().gaps;
    run.missing = checks[number].counts().missing;
    ++run.records;
    run.lastTime = std::max(run.lastTime, stamp.time);
    run.lastSequence = step > 0 ? stamp.number : run.lastSequence;
  }
}

} // namespace

std::optional<Run::Start> breakBetween(const unsigned char* record, const unsigned char* next) noexcept {
  const Stamp before = stampOf(record);
  const Stamp after = stampOf(next);
  const std::int32_t step = numbersBetween(before.number, after.number);
  if (before.time > after.time && before.time - after.time > largestDisorder) {
    return step > 0 && static_cast<std::uint32_t>(step) <= largestStep ? Run::Start::clockBack : Run::Start::restarted;
  }
  return step <= -static_cast<std::int32_t>(SequenceCheck::window) ? std::optional(Run::Start::restarted)
                                                                   : std::nullopt;
}

RecordsInOrder putInOrder(std::vector<CapturedRecord> records, const std::vector<std::string>& logs, bool all) {
  if (!all) {
    dropRepeated(records);
  }
  RunFinder finder(records, logs);
  finder.find();
  if (!all) {
    std::stable_sort(records.begin(), records.end(), [&](const CapturedRecord& a, const CapturedRecord& b) {
      const Stamp first = stampOf(a.bytes.data());
      const Stamp second = stampOf(b.bytes.data());
      return std::tuple(finder.era(a), first.time, first.number) <
             std::tuple(finder.era(b), second.time, second.number);
    });
  }
  RecordsInOrder result{std::move(records), {}};
  describe(result, finder, logs);
  return result;
}

} // namespace vel::sources
