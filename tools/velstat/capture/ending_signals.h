// Signals that would end the process, put off until it has tidied up.
#pragma once

#include <array>
#include <csignal>

namespace vel::stat {

// While the object lives, a signal that asks the process to end (and is not ignored) is only noted. The destructor lets
// it end the process. One object at a time.
class EndingSignals {
public:
  EndingSignals();
  ~EndingSignals();
  EndingSignals(const EndingSignals&) = delete;
  EndingSignals& operator=(const EndingSignals&) = delete;

  // Whether there is no use in going on.
  static bool arrived();

private:
  static constexpr std::array numbers = {SIGHUP, SIGINT, SIGQUIT, SIGTERM, SIGUSR1, SIGUSR2, SIGALRM, SIGXCPU};

  std::array<struct sigaction, numbers.size()> before_{};
};

} // namespace vel::stat
