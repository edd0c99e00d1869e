// Notices a call of SQLite that does not end. SQLite asks whether to go on between its operations, but a single call of
// a function of SQL may take minutes.
#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <optional>
#include <thread>
#include <time.h>

namespace vel::query {

class Overdue {
public:
  using Time = std::chrono::steady_clock::time_point;

  // `end` is called on a thread of its own, once a call has used the processor for another second after its deadline.
  // A call that waits, such as for a pipe, uses none.
  explicit Overdue(std::function<void()> end);
  ~Overdue();
  Overdue(const Overdue&) = delete;
  Overdue& operator=(const Overdue&) = delete;

  // This thread calls SQLite, and has come back. [one thread at a time]
  void enter(Time deadline);
  void leave();

private:
  struct Call {
    Time deadline;
    clockid_t processor;                               // the clock of the calling thread
    std::optional<std::chrono::nanoseconds> late = {}; // what that clock said when the deadline was over
  };

  void watch();
  bool isOver(Call& call) const;

  const std::function<void()> end_;
  std::mutex mutex_;
  std::condition_variable changed_;
  std::optional<Call> call_;
  bool isLeaving_ = false;
  std::thread thread_;
};

} // namespace vel::query
