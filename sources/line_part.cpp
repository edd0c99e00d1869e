// Reads records from lines of text, JSON or CSV. Findings give line numbers.
#include <formats/error.h>
#include <sources/block_stream.h>
#include <sources/parts.h>
#include <sources/recent_records.h>

#include <fmt/format.h>

#include <algorithm>
#include <cstring>

namespace vel::sources {

namespace {

class LinePart final : public Part {
public:
  LinePart(std::unique_ptr<Input> input, std::uint32_t number, Kind kind, const std::optional<ClockRelation>& clock,
           StreamState& state)
      : input_(std::move(input)), number_(number), kind_(kind), clock_(clock), state_(state), runs_(number, state),
        blocks_(makeBlockStream(*input_, state.cancellation, kind, clock, state.options.jobs)),
        // Repetitions in the output of decode are kept, like those in raw records.
        dropsRepeated_(kind == Kind::lines && !state.options.all) {}

  std::size_t read(std::span<unsigned char> out, std::span<Details> details) override {
    const std::size_t capacity = out.size() / recordSize;
    std::size_t count = 0;
    while (count == 0) {
      if (block_ == nullptr && !nextBlock()) {
        return 0;
      }
      const ParsedLines& parsed = block_->parsed;
      for (; taken_ < parsed.places.size() && count < capacity; ++taken_) {
        const unsigned char* const record = parsed.records.data() + taken_ * recordSize;
        if (dropsRepeated_ && !recent_.add(record)) {
          continue;
        }
        std::memcpy(out.data() + count * recordSize, record, recordSize);
        if (count < details.size()) {
          describe(record, parsed.places[taken_], details[count]);
        }
        ++count;
      }
      if (taken_ == parsed.places.size()) {
        block_ = nullptr;
      }
    }
    return count;
  }

  std::uint64_t bytesRead() const override { return bytesRead_; }

private:
  bool nextBlock() {
    block_ = blocks_->next();
    if (block_ == nullptr) {
      end();
      return false;
    }
    taken_ = 0;
    bytesRead_ = block_->offset + block_->text.view().size();
    const ParsedLines& parsed = block_->parsed;
    records_ += parsed.places.size();
    truncated_ += parsed.truncated;
    otherClock_ += parsed.otherClock;
    for (const ParsedLines::Fault& fault : parsed.faults) {
      tell(fault);
    }
    return true;
  }

  void tell(const ParsedLines::Fault& fault) {
    const std::string_view before = block_->text.view().substr(0, fault.at);
    const auto line = block_->lines + 1 + static_cast<std::uint64_t>(std::count(before.begin(), before.end(), '\n'));
    const std::string what =
        fault.kind == FindingKind::contradiction
            ? fmt::format("its words contradict its bytes at character {}; the bytes are taken", fault.place + 1)
            : std::string("its binary-data is not 48 bytes: no record");
    ++faults_;
    add(fault.kind, 1, block_->offset + fault.at, fmt::format("line {}: {}", line, what));
    if (state_.options.tellFindings) {
      state_.complaints.say(fmt::format("{}: line {}: {}", input_->name(), line, what));
    }
  }

  // Reports the findings that are known only at the end of the input.
  void end() {
    if (ended_) {
      return;
    }
    ended_ = true;
    if (records_ == 0 && truncated_ == 0 && faults_ == 0 && !input_->hasFailed()) {
      const bool text = kind_ == Kind::lines;
      if (text) { // an empty table is valid output of decode
        state_.complaints.say(fmt::format("{}: text without lines of profile records", input_->name()));
      }
      return;
    }
    if (truncated_ != 0 && !input_->hasFailed()) { // a failed read was already reported
      const std::string text = fmt::format("{} cut before {} bytes: no record{}",
                                           truncated_ == 1 ? "1 line was" : fmt::format("{} lines were", truncated_),
                                           truncated_ == 1 ? "its" : "their", truncated_ == 1 ? "" : "s");
      add(FindingKind::truncated, truncated_, 0, text);
      if (state_.options.tellFindings) {
        state_.complaints.remark(fmt::format("{}: {}", input_->name(), text));
      }
    }
    if (otherClock_ != 0) {
      add(FindingKind::clock, otherClock_, 0,
          fmt::format("{} lines relate the clocks otherwise than the first one does", otherClock_));
    }
  }

  void add(FindingKind kind, std::uint64_t count, std::uint64_t at, const std::string& text) {
    state_.add({kind, {.input = number_, .at = at}, count, fmt::format("{}: {}", input_->name(), text)});
  }

  void describe(const unsigned char* record, std::size_t place, Details& details) {
    details = {};
    details.location = {.input = number_, .at = block_->offset + place};
    if (clock_) {
      details.calendar = timeStamp(record) + static_cast<std::uint64_t>(clock_->offset);
    }
    runs_.follow(record, details);
  }

  std::unique_ptr<Input> input_;
  std::uint32_t number_;
  Kind kind_;
  std::optional<ClockRelation> clock_;
  StreamState& state_;
  RunTracker runs_;
  std::unique_ptr<BlockStream> blocks_; // must be destroyed before the input, which its threads use
  RecentRecords recent_;
  bool dropsRepeated_;
  const LineBlock* block_ = nullptr;
  std::size_t taken_ = 0; // of the block's records
  std::uint64_t bytesRead_ = 0;
  std::uint64_t records_ = 0;
  std::uint64_t truncated_ = 0;
  std::uint64_t otherClock_ = 0;
  std::uint64_t faults_ = 0;
  bool ended_ = false;
};

} // namespace

std::unique_ptr<Part> makeLinePart(std::unique_ptr<Input> input, std::uint32_t number, Kind kind,
                                   const std::optional<ClockRelation>& clock, StreamState& state) {
  return std::make_unique<LinePart>(std::move(input), number, kind, clock, state);
}

} // namespace vel::sources
