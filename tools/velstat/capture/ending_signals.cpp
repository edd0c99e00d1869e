#include "velstat/capture/ending_signals.h"

#include <pthread.h>
#include <utility>

namespace vel::stat {

EndingSignals::EndingSignals(std::function<void()> tidyUp) : tidyUp_(std::move(tidyUp)) {
  sigemptyset(&awaited_);
  for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
    struct sigaction action {};
    sigaction(number, nullptr, &action);
    if (action.sa_handler != SIG_IGN) { // once blocked, an ignored signal would be seen too
      sigaddset(&awaited_, number);
    }
  }
  sigaddset(&awaited_, SIGUSR1); // to wake the thread
  pthread_sigmask(SIG_BLOCK, &awaited_, &before_);
  thread_ = std::thread([this] { watch(); });
}

EndingSignals::~EndingSignals() {
  ended_ = true;
  pthread_kill(thread_.native_handle(), SIGUSR1);
  thread_.join();
  pthread_sigmask(SIG_SETMASK, &before_, nullptr);
}

void EndingSignals::watch() {
  int number = 0;
  sigwait(&awaited_, &number);
  if (number == SIGUSR1 && ended_) {
    return;
  }
  tidyUp_();
  // It is still pending for nobody: sent again, it ends the process once this thread lets it through.
  sigset_t one{};
  sigemptyset(&one);
  sigaddset(&one, number);
  std::signal(number, SIG_DFL);
  pthread_sigmask(SIG_UNBLOCK, &one, nullptr);
  pthread_kill(pthread_self(), number);
}

} // namespace vel::stat
