// A fixed pool of units. A thread takes a free unit, fills it under a lock that also gives it its turn, renders it in
// parallel with the others, and hands it over. The thread that hands over the next unit in order writes it and all
// ready ones after it; the others continue. So a slow reader of the output blocks only one thread until all units wait
// for it, and text is written while it is still in a cache.
#include "velstat/decode/pipeline.h"

#include <sources/record.h>

#include <condition_variable>
#include <cstdint>
#include <exception>
#include <mutex>
#include <system_error>
#include <thread>

namespace vel::stat {

namespace {

class Pipeline {
public:
  Pipeline(unsigned jobs, const Stages& stages) : stages_(stages), units_(jobs + spareUnits), ready_(units_.size()) {
    for (Unit& unit : units_) {
      unit.records = std::make_unique_for_overwrite<unsigned char[]>(Unit::capacity * sources::recordSize);
      free_.push_back(&unit);
    }
  }

  void work(const std::function<void(Unit&)>& render) noexcept {
    try {
      while (Unit* const unit = takeFree()) {
        std::uint64_t turn = 0;
        if (!read(*unit, turn)) {
          return;
        }
        unit->out.clear();
        render(*unit);
        handOver(unit, turn);
      }
    } catch (...) {
      fail(std::current_exception());
    }
  }

  void rethrow() const {
    if (failure_) {
      std::rethrow_exception(failure_);
    }
  }

private:
  static constexpr std::size_t spareUnits = 6;

  // Null when the work has failed. The unit is taken before the turn, so that every turn can be finished.
  Unit* takeFree() {
    std::unique_lock lock(mutex_);
    freed_.wait(lock, [this] { return failure_ || !free_.empty(); });
    if (failure_) {
      return nullptr;
    }
    Unit* const unit = free_.back(); // the last one used is the likeliest to be in a cache
    free_.pop_back();
    return unit;
  }

  bool read(Unit& unit, std::uint64_t& turn) {
    // A turn usually takes microseconds: retrying is faster than sleeping and being woken.
    std::unique_lock lock(readMutex_, std::defer_lock);
    for (int attempt = 0; attempt < 100 && !lock.try_lock(); ++attempt) {
      std::this_thread::yield();
    }
    if (!lock.owns_lock()) {
      lock.lock();
    }
    if (ended_ || !stages_.read(unit)) {
      ended_ = true;
      return false;
    }
    turn = nextRead_++;
    return true;
  }

  void handOver(Unit* unit, std::uint64_t turn) {
    std::unique_lock lock(mutex_);
    ready_[turn % ready_.size()] = unit;
    if (writing_) {
      return;
    }
    writing_ = true;
    while (Unit* const next = failure_ ? nullptr : ready_[nextWritten_ % ready_.size()]) {
      ready_[nextWritten_ % ready_.size()] = nullptr;
      lock.unlock();
      stages_.write(next->out.view());
      lock.lock();
      ++nextWritten_;
      free_.push_back(next);
      if (free_.size() >= units_.size() / 2) {
        freed_.notify_all(); // not for each unit: a slow output would wake a thread every time
      }
    }
    writing_ = false;
    freed_.notify_all();
  }

  void fail(std::exception_ptr failure) {
    {
      const std::lock_guard lock(mutex_);
      if (!failure_) {
        failure_ = std::move(failure);
      }
      freed_.notify_all();
    }
    if (stages_.cancelRead) {
      stages_.cancelRead(); // otherwise the others would wait for the source's next bytes
    }
  }

  const Stages& stages_;
  std::vector<Unit> units_;

  std::mutex readMutex_;
  bool ended_ = false;
  std::uint64_t nextRead_ = 0;

  std::mutex mutex_;
  std::condition_variable freed_;
  std::vector<Unit*> free_;
  std::vector<Unit*> ready_; // by turn; there are at most as many turns as units
  bool writing_ = false;     // a thread is in the loop of handOver
  std::uint64_t nextWritten_ = 0;
  std::exception_ptr failure_;
};

} // namespace

void runInOrder(unsigned jobs, const Stages& stages) {
  Pipeline pipeline(jobs, stages);
  std::vector<std::function<void(Unit&)>> renders(jobs);
  for (auto& render : renders) {
    render = stages.makeRender();
  }
  {
    std::vector<std::jthread> others;
    try {
      for (unsigned i = 1; i < jobs; ++i) {
        others.emplace_back([&pipeline, &render = renders[i]] { pipeline.work(render); });
      }
    } catch (const std::system_error&) {
      // No more threads available: the existing ones do all the work.
    }
    pipeline.work(renders[0]);
  }
  pipeline.rethrow();
}

} // namespace vel::stat
