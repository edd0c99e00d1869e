// Records signals in a handler, because a handler applies to all threads of the process, including those of a plug-in.
#include "velstat/capture/ending_signals.h"

#include <atomic>
#include <cstdlib>

namespace vel::stat {

namespace {

std::atomic<int> firstSignal = 0;
static_assert(std::atomic<int>::is_always_lock_free); // or a handler could not use it

extern "C" void noteSignal(int number) {
  int none = 0;
  firstSignal.compare_exchange_strong(none, number);
}

} // namespace

EndingSignals::EndingSignals() {
  firstSignal = 0;
  struct sigaction note {};
  note.sa_handler = noteSignal;
  note.sa_flags = SA_RESTART;
  for (std::size_t i = 0; i < numbers.size(); ++i) {
    sigaction(numbers[i], nullptr, &before_[i]);
    if (before_[i].sa_handler == SIG_DFL) {
      sigaction(numbers[i], &note, nullptr);
    }
  }
}

EndingSignals::~EndingSignals() {
  for (std::size_t i = 0; i < numbers.size(); ++i) {
    sigaction(numbers[i], &before_[i], nullptr);
  }
  if (const int number = firstSignal; number != 0) {
    std::raise(number);
    std::_Exit(128 + number); // this thread blocks the signal; another one received it
  }
}

bool EndingSignals::arrived() {
  return firstSignal != 0;
}

} // namespace vel::stat
