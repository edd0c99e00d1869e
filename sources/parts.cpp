// Reads the records of captures, which are in memory, and raw records.
#include "sources/parts.h"

#include <sources/record_source.h>

#include <algorithm>
#include <cstring>

namespace vel::sources {

namespace {

class CapturedPart final : public Part {
public:
  CapturedPart(const RecordsInOrder& records, StreamState& state)
      : records_(records.records), firstRun_(static_cast<std::uint32_t>(state.runs.size())) {
    state.runs.insert(state.runs.end(), records.runs.begin(), records.runs.end());
  }

  std::size_t read(std::span<unsigned char> out, std::span<Details> details) override {
    const std::size_t count = std::min(out.size() / recordSize, records_.size() - taken_);
    for (std::size_t i = 0; i < count; ++i) {
      const CapturedRecord& record = records_[taken_ + i];
      std::memcpy(out.data() + i * recordSize, record.bytes.data(), recordSize);
      if (i < details.size()) {
        details[i] = record.details;
        details[i].run += firstRun_;
      }
    }
    taken_ += count;
    return count;
  }

  std::uint64_t bytesRead() const override { return 0; }

private:
  const std::vector<CapturedRecord>& records_;
  const std::uint32_t firstRun_;
  std::size_t taken_ = 0;
};

class RawPart final : public Part {
public:
  RawPart(std::unique_ptr<Input> input, std::uint32_t number, StreamState& state)
      : input_(std::move(input)), number_(number), runs_(number, state),
        source_(state.options.recover ? makeRecoveringSource(*input_, state.complaints)
                                      : makePlainSource(*input_, state.complaints)) {}

  std::size_t read(std::span<unsigned char> out, std::span<Details> details) override {
    if (details.empty()) {
      return source_->read(out);
    }
    offsets_.resize(details.size());
    const std::size_t count = source_->read(out, offsets_);
    for (std::size_t i = 0; i < std::min(count, details.size()); ++i) {
      details[i] = {};
      details[i].location = {.input = number_, .at = offsets_[i]};
      runs_.follow(out.data() + i * recordSize, details[i]);
    }
    return count;
  }

  std::uint64_t bytesRead() const override { return input_->bytesRead(); }

private:
  std::unique_ptr<Input> input_;
  std::uint32_t number_;
  RunTracker runs_;
  std::unique_ptr<RecordSource> source_;
  std::vector<std::uint64_t> offsets_;
};

} // namespace

void StreamState::add(Finding finding) {
  if (findings.size() < mostFindings) {
    findings.push_back(std::move(finding));
  }
}

void RunTracker::begin(const unsigned char* record, Run::Start start) {
  run_ = state_.runs.size();
  check_ = {};
  Run run;
  run.input = input_;
  run.start = start;
  run.firstTime = timeStamp(record);
  run.firstSequence = run.lastSequence = sequenceNumber(record);
  state_.runs.push_back(run);
}

void RunTracker::follow(const unsigned char* record, Details& details) {
  if (!run_) {
    begin(record, Run::Start::first);
  } else if (const auto start = breakBetween(last_, record)) {
    // Random bytes would begin a run with every other record: beyond a limit, they share the last run.
    constexpr std::size_t mostRuns = 65536;
    if (state_.runs.size() < mostRuns) {
      begin(record, *start);
    }
  }
  std::memcpy(last_, record, recordSize);
  Run& run = state_.runs[*run_];
  const auto step = static_cast<std::int32_t>(sequenceNumber(record) - run.lastSequence);
  details.run = static_cast<std::uint32_t>(*run_);
  details.missing = run.records != 0 && step > 1 ? static_cast<std::uint32_t>(step) - 1 : 0;
  check_.add(sequenceNumber(record));
  run.gaps = check_.counts().gaps;
  run.missing = check_.counts().missing;
  run.lastSequence = step > 0 ? sequenceNumber(record) : run.lastSequence;
  ++run.records;
  run.lastTime = std::max(run.lastTime, timeStamp(record));
}

std::unique_ptr<Part> makeCapturedPart(const RecordsInOrder& records, StreamState& state) {
  return std::make_unique<CapturedPart>(records, state);
}

std::unique_ptr<Part> makeRawPart(std::unique_ptr<Input> input, std::uint32_t number, StreamState& state) {
  return std::make_unique<RawPart>(std::move(input), number, state);
}

} // namespace vel::sources
