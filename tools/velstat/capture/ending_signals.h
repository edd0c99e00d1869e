// Defers signals that would end the process until it has cleaned up.
#pragma once

#include <array>
#include <csignal>

namespace vel::stat {

// While the object exists, a signal that would end the process is only recorded; the destructor then lets the signal
// end the process. Signals that are ignored or already have a handler are unaffected. Only one object may exist at a
// time.
class EndingSignals {
public:
  EndingSignals();
  ~EndingSignals();
  EndingSignals(const EndingSignals&) = delete;
  EndingSignals& operator=(const EndingSignals&) = delete;

  // Whether such a signal has arrived, so that there is no point in continuing.
  static bool arrived();

private:
  static constexpr std::array numbers = {SIGHUP, SIGINT, SIGQUIT, SIGTERM, SIGUSR1, SIGUSR2, SIGALRM, SIGXCPU};

  std::array<struct sigaction, numbers.size()> before_{};
};

} // namespace vel::stat
