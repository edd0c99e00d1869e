// A ring of blocks. A thread waits until the next block of the ring is free, fills it while it holds the input, parses
// it in parallel with the others and marks it ready; next() returns the blocks in the order of filling.
#include "sources/block_stream.h"

#include <algorithm>
#include <condition_variable>
#include <exception>
#include <mutex>
#include <string>
#include <string_view>
#include <system_error>
#include <thread>
#include <vector>

namespace vel::sources {

namespace {

constexpr std::size_t blockSize = std::size_t{1} << 18;

// Lines are long, so searching for line breaks is faster than looking at each character.
std::uint64_t lineBreaks(std::string_view text) {
  std::uint64_t breaks = 0;
  for (std::size_t at = text.find('\n'); at != std::string_view::npos; at = text.find('\n', at + 1)) {
    ++breaks;
  }
  return breaks;
}

// Cuts the input into blocks. [one thread at a time]
class BlockFiller {
public:
  BlockFiller(Input& input, const LineFormat& format) : input_(input), format_(format) {}

  // False at the end.
  bool fill(LineBlock& block) {
    if (ended_) {
      return false;
    }
    block.offset = offset_;
    block.lines = lines_;
    block.text.clear();
    block.text.append(rest_);
    std::size_t whole = 0;
    while (!ended_ && whole == 0) {
      // A block grows until the format can parse some of it: until its first line ends, or is too long.
      const std::size_t size = block.text.view().size();
      const std::size_t wanted = std::max(blockSize - std::min(blockSize, size), blockSize / 4);
      const std::size_t got = input_.read(reinterpret_cast<unsigned char*>(block.text.room(wanted)), wanted);
      block.text.claim(got);
      ended_ = got == 0;
      whole = ended_ ? block.text.view().size() : format_.whole(block.text.view());
    }
    rest_ = block.text.view().substr(whole);
    block.text.cut(whole);
    block.atEnd = ended_;
    offset_ += whole;
    lines_ += lineBreaks(block.text.view());
    return true;
  }

private:
  Input& input_;
  const LineFormat& format_;
  std::string rest_; // the end of the last block, which belongs to the next one
  std::uint64_t offset_ = 0;
  std::uint64_t lines_ = 0;
  bool ended_ = false;
};

void parse(LineFormat& format, LineBlock& block) {
  block.parsed.clear();
  format.read(block.text.view(), block.atEnd, block.parsed);
}

class OneThread final : public BlockStream {
public:
  OneThread(Input& input, Kind kind, const std::optional<ClockRelation>& clock)
      : format_(makeLineFormat(kind, clock)), filler_(input, *format_) {}

  const LineBlock* next() override {
    if (!filler_.fill(block_)) {
      return nullptr;
    }
    parse(*format_, block_);
    return &block_;
  }

private:
  std::unique_ptr<LineFormat> format_;
  BlockFiller filler_;
  LineBlock block_;
};

class ManyThreads final : public BlockStream {
public:
  ManyThreads(Input& input, Cancellation& cancellation, Kind kind, const std::optional<ClockRelation>& clock,
              unsigned jobs)
      : cancellation_(cancellation), cutting_(makeLineFormat(kind, clock)), filler_(input, *cutting_),
        slots_(jobs * std::size_t{2} + 1) {
    try {
      for (unsigned i = 0; i < jobs; ++i) {
        threads_.emplace_back([this, kind, clock] { work(*makeLineFormat(kind, clock)); });
      }
    } catch (const std::system_error&) {
      if (threads_.empty()) {
        throw;
      }
    }
  }

  ~ManyThreads() override {
    {
      const std::lock_guard lock(mutex_);
      stopped_ = true;
    }
    freed_.notify_all();
    cancellation_.cancel();
    threads_.clear(); // joins
  }
  ManyThreads(const ManyThreads&) = delete;
  ManyThreads& operator=(const ManyThreads&) = delete;

  const LineBlock* next() override {
    std::unique_lock lock(mutex_);
    if (handedOut_) {
      slots_[taken_++ % slots_.size()].ready = false;
      handedOut_ = false;
      freed_.notify_all();
    }
    ready_.wait(lock, [this] { return failure_ || slots_[taken_ % slots_.size()].ready || taken_ == end_; });
    if (slots_[taken_ % slots_.size()].ready) {
      handedOut_ = true;
      return &slots_[taken_ % slots_.size()].block;
    }
    if (failure_) {
      std::rethrow_exception(failure_);
    }
    return nullptr;
  }

private:
  static constexpr std::uint64_t unknown = ~std::uint64_t{0};

  struct Slot {
    LineBlock block;
    bool ready = false;
  };

  void work(LineFormat& format) noexcept {
    try {
      while (Slot* const slot = fillNext()) {
        parse(format, slot->block);
        const std::lock_guard lock(mutex_);
        slot->ready = true;
        ready_.notify_one();
      }
    } catch (...) {
      const std::lock_guard lock(mutex_);
      if (!failure_) {
        failure_ = std::current_exception();
      }
      ready_.notify_one();
      freed_.notify_all();
    }
  }

  // Fills the next slot and returns it; null when there is nothing more to do.
  Slot* fillNext() {
    const std::lock_guard filling(fillMutex_);
    {
      std::unique_lock lock(mutex_);
      freed_.wait(lock, [this] { return stopped_ || failure_ || filled_ - taken_ < slots_.size(); });
      if (stopped_ || failure_ || filled_ == end_) {
        return nullptr;
      }
    }
    Slot& slot = slots_[filled_ % slots_.size()];
    const bool any = filler_.fill(slot.block);
    const std::lock_guard lock(mutex_);
    if (!any) {
      end_ = filled_;
      ready_.notify_one();
      return nullptr;
    }
    ++filled_;
    return &slot;
  }

  Cancellation& cancellation_;
  std::unique_ptr<LineFormat> cutting_;

  std::mutex fillMutex_; // held by the thread that reads the input
  BlockFiller filler_;

  std::mutex mutex_;
  std::condition_variable freed_;
  std::condition_variable ready_;
  std::vector<Slot> slots_;
  std::uint64_t filled_ = 0; // blocks so far
  std::uint64_t taken_ = 0;
  std::uint64_t end_ = unknown; // how many there are
  bool handedOut_ = false;
  bool stopped_ = false;
  std::exception_ptr failure_;

  std::vector<std::jthread> threads_;
};

} // namespace

std::unique_ptr<BlockStream> makeBlockStream(Input& input, Cancellation& cancellation, Kind kind,
                                             const std::optional<ClockRelation>& clock, unsigned jobs) {
  if (jobs <= 1) {
    return std::make_unique<OneThread>(input, kind, clock);
  }
  return std::make_unique<ManyThreads>(input, cancellation, kind, clock, jobs);
}

} // namespace vel::sources
