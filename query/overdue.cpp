// Runs a thread that checks the calling thread's processor time at intervals.
#include "query/overdue.h"

#include <pthread.h>
#include <utility>

namespace vel::query {

namespace {

constexpr std::chrono::seconds grace{1}; // of processor time
constexpr std::chrono::milliseconds interval{200};

std::chrono::nanoseconds timeOf(clockid_t clock) {
  timespec time = {};
  clock_gettime(clock, &time);
  return std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
}

} // namespace

Overdue::Overdue(std::function<void()> end) : end_(std::move(end)), thread_([this] { watch(); }) {}

Overdue::~Overdue() {
  {
    const std::scoped_lock lock(mutex_);
    isLeaving_ = true;
  }
  changed_.notify_one();
  thread_.join();
}

void Overdue::enter(Time deadline) {
  clockid_t processor = CLOCK_THREAD_CPUTIME_ID;
  pthread_getcpuclockid(pthread_self(), &processor);
  const std::scoped_lock lock(mutex_);
  call_ = Call{deadline, processor};
}

void Overdue::leave() {
  const std::scoped_lock lock(mutex_);
  call_.reset();
}

void Overdue::watch() {
  std::unique_lock lock(mutex_);
  while (!changed_.wait_for(lock, interval, [this] { return isLeaving_; })) {
    if (call_ && isOver(*call_)) {
      end_();
    }
  }
}

bool Overdue::isOver(Call& call) const {
  if (std::chrono::steady_clock::now() < call.deadline) {
    return false;
  }
  const std::chrono::nanoseconds used = timeOf(call.processor);
  call.late = call.late.value_or(used);
  return used - *call.late > grace;
}

} // namespace vel::query
