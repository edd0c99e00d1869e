// Runs the pager as a child process that reads what this one writes.
#include "velstat/text/pager.h"

#include <velstat/text/error.h>
#include <velstat/text/output.h>

#include <fmt/format.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <mutex>
#include <spawn.h>
#include <string>
#include <string_view>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace vel::stat {

namespace {

constexpr pid_t noProcess = -1;
constexpr pid_t startingProcess = 0;

struct Pager {
  bool avoided = false;
  std::atomic<pid_t> process = noProcess;
  int terminal = -1;      // what standard output was
  int errorTerminal = -1; // what standard error was, if it goes to the pager too
  bool missing = false;
};
Pager pager;
static_assert(std::atomic<pid_t>::is_always_lock_free); // so that a signal handler may use it
std::once_flag attempted;

// Variables for less and lv, unless the user has set them: exit at once if the output fits, show colours and UTF-8, and
// leave the text on the screen.
constexpr const char* defaults[][2] = {{"LESS", "FRX"}, {"LESSCHARSET", "utf-8"}, {"LV", "-c"}};

std::vector<std::string> environment() {
  std::vector<std::string> all;
  for (char** variable = environ; *variable != nullptr; ++variable) {
    all.emplace_back(*variable);
  }
  for (const auto& [name, value] : defaults) {
    if (std::getenv(name) == nullptr) {
      all.push_back(fmt::format("{}={}", name, value));
    }
  }
  return all;
}

std::vector<char*> pointersTo(std::vector<std::string>& texts) {
  std::vector<char*> pointers;
  pointers.reserve(texts.size() + 1);
  for (std::string& text : texts) {
    pointers.push_back(text.data());
  }
  pointers.push_back(nullptr);
  return pointers;
}

// Starts the program with the descriptor as its standard input. Returns 0 or an errno value.
int spawn(std::vector<std::string> command, int input) {
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, input, STDIN_FILENO);
  // This process ignores these signals, and a program that it starts would inherit that.
  sigset_t restored;
  sigemptyset(&restored);
  sigaddset(&restored, SIGPIPE);
  sigaddset(&restored, SIGXFSZ);
  sigset_t noSignals;
  sigemptyset(&noSignals);
  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  posix_spawnattr_setsigdefault(&attributes, &restored);
  posix_spawnattr_setsigmask(&attributes, &noSignals);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK);
  std::vector<std::string> variables = environment();
  pid_t process = noProcess;
  const int error = posix_spawnp(&process, command[0].c_str(), &actions, &attributes, pointersTo(command).data(),
                                 pointersTo(variables).data());
  posix_spawnattr_destroy(&attributes);
  posix_spawn_file_actions_destroy(&actions);
  pager.process = error == 0 ? process : noProcess;
  return error;
}

// The pager gets the terminal's SIGINT and SIGQUIT too, and decides what to do: many pagers only stop what they are
// doing. These signals therefore end this process only if the pager has ended.
extern "C" void leaveToPager(int number) {
  const pid_t process = pager.process;
  siginfo_t ended{};
  const bool runs = process > 0 &&
                    waitid(P_PID, static_cast<id_t>(process), &ended, WEXITED | WNOHANG | WNOWAIT) == 0 &&
                    ended.si_pid == 0;
  if (runs || process == startingProcess) {
    return;
  }
  std::signal(number, SIG_DFL);
  std::raise(number);
}

void leaveSignalsToPager() {
  for (const int number : {SIGINT, SIGQUIT}) {
    struct sigaction before {};
    sigaction(number, nullptr, &before);
    if (before.sa_handler == SIG_DFL) {
      struct sigaction action {};
      action.sa_handler = leaveToPager;
      action.sa_flags = SA_RESTART;
      sigaction(number, &action, nullptr);
    }
  }
}

// A copy of the descriptor that started programs do not inherit.
int copyOf(int descriptor) {
  return fcntl(descriptor, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
}

[[noreturn]] void fail(int error) {
  throw Error(fmt::format("the pager cannot be started: {}; --no-pager does without", std::strerror(error)));
}

void start() {
  const char* const chosen = std::getenv("PAGER");
  const std::string_view name = chosen == nullptr ? "less" : chosen;
  if (pager.avoided || !isTerminalWithEscapes() || name.empty() || name == "cat") {
    return;
  }
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) {
    fail(errno);
  }
  pager.process = startingProcess;
  leaveSignalsToPager(); // the pager may be interrupted before spawn() returns
  const int error = chosen == nullptr ? spawn({"less"}, ends[0]) : spawn({"/bin/sh", "-c", chosen}, ends[0]);
  close(ends[0]);
  if (error != 0) {
    close(ends[1]);
    if (chosen == nullptr && error == ENOENT) {
      return; // less is not installed
    }
    fail(error);
  }
  pager.terminal = copyOf(STDOUT_FILENO);
  if (isatty(STDERR_FILENO) != 0) {
    pager.errorTerminal = copyOf(STDERR_FILENO);
    dup2(ends[1], STDERR_FILENO);
  }
  dup2(ends[1], STDOUT_FILENO);
  close(ends[1]);
}

} // namespace

void avoidPager() noexcept {
  pager.avoided = true;
}

void startPager() {
  std::call_once(attempted, start);
}

void endPager() noexcept {
  const pid_t process = pager.process;
  if (process <= 0) {
    return;
  }
  dup2(pager.terminal, STDOUT_FILENO);
  if (pager.errorTerminal >= 0) {
    dup2(pager.errorTerminal, STDERR_FILENO);
  }
  int status = 0;
  pid_t ended = 0;
  do {
    ended = waitpid(process, &status, 0);
  } while (ended < 0 && errno == EINTR);
  pager.process = noProcess;
  // The shell's exit statuses for a command that it cannot run.
  pager.missing = ended > 0 && WIFEXITED(status) && (WEXITSTATUS(status) == 126 || WEXITSTATUS(status) == 127);
}

bool pagerWasMissing() noexcept {
  return pager.missing;
}

} // namespace vel::stat
