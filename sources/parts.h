// The parts that a stream is made of: the records of one input, or of all captures together.
#pragma once

#include <sources/complaints.h>
#include <sources/input.h>
#include <sources/order.h>
#include <sources/sequence_check.h>
#include <sources/source.h>

#include <memory>
#include <optional>
#include <span>
#include <vector>

namespace vel::sources {

// The state that the parts of one stream share. [one thread at a time]
struct StreamState {
  Options options;
  Complaints& complaints;
  Cancellation& cancellation;
  std::vector<Finding> findings;
  std::vector<Run> runs;

  static constexpr std::size_t mostFindings = 10000;
  void add(Finding finding);
};

class Part {
public:
  virtual ~Part() = default;
  virtual std::size_t read(std::span<unsigned char> out, std::span<Details> details) = 0;
  virtual std::uint64_t bytesRead() const = 0;
};

std::unique_ptr<Part> makeCapturedPart(const RecordsInOrder& records, StreamState& state);
// These read an open input; `number` is its place in Sources::inputs().
std::unique_ptr<Part> makeRawPart(std::unique_ptr<Input> input, std::uint32_t number, StreamState& state);
std::unique_ptr<Part> makeLinePart(std::unique_ptr<Input> input, std::uint32_t number, Kind kind,
                                   const std::optional<ClockRelation>& clock, StreamState& state);

// Follows one input's records from run to run. [one thread at a time]
class RunTracker {
public:
  RunTracker(std::uint32_t input, StreamState& state) : input_(input), state_(state) {}

  // Fills `run` and `missing`.
  void follow(const unsigned char* record, Details& details);

private:
  void begin(const unsigned char* record, Run::Start start);

  std::uint32_t input_;
  StreamState& state_;
  std::optional<std::size_t> run_;
  SequenceCheck check_;
  unsigned char last_[recordSize] = {};
};

} // namespace vel::sources
