// Detects a call of SQLite that does not end. SQLite lets a statement be stopped only between its operations, but a
// single call of an SQL function may take minutes.
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

  // `end` is called on a separate thread once a call has used another second of processor time after its deadline. A
  // call that waits, for instance for a pipe, uses no processor time.
  explicit Overdue(std::function<void()> end);
  ~Overdue();
  Overdue(const Overdue&) = delete;
  Overdue& operator=(const Overdue&) = delete;

  // To be called before and after each call of SQLite. [one thread at a time]
  void enter(Time deadline);
  void leave();

private:
  struct Call {
    Time deadline;
    clockid_t processor;                               // the clock of the calling thread
    std::optional<std::chrono::nanoseconds> late = {}; // that clock's time when the deadline was first seen to be over
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
