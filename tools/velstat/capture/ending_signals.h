// What is to be tidied up when somebody ends the command by a signal.
#pragma once

#include <atomic>
#include <csignal>
#include <functional>
#include <thread>

namespace vel::stat {

// While it lives, SIGINT, SIGTERM and SIGHUP, as far as they are not ignored, run `tidyUp` on a thread of its own, and
// then end the process as they would have. Made before other threads, which are to leave these signals alone.
class EndingSignals {
public:
  explicit EndingSignals(std::function<void()> tidyUp);
  ~EndingSignals();
  EndingSignals(const EndingSignals&) = delete;
  EndingSignals& operator=(const EndingSignals&) = delete;

private:
  void watch();

  std::function<void()> tidyUp_;
  sigset_t awaited_{};
  sigset_t before_{};
  std::atomic<bool> ended_ = false;
  std::thread thread_;
};

} // namespace vel::stat
