// Writes to standard output and stderr, and decides about colours.
#include "velstat/text/output.h"

#include <velstat/text/error.h>
#include <velstat/text/escape.h>

#include <fmt/format.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <new>
#include <poll.h>
#include <sys/ioctl.h>
#include <system_error>
#include <unistd.h>

namespace vel::stat {

bool writeAll(int descriptor, std::string_view text) noexcept {
  while (!text.empty()) {
    const ssize_t written = ::write(descriptor, text.data(), text.size());
    if (written >= 0) {
      text.remove_prefix(static_cast<std::size_t>(written));
    } else if (errno == EAGAIN) {
      pollfd waiting = {descriptor, POLLOUT, 0};
      poll(&waiting, 1, -1);
    } else if (errno != EINTR) {
      return false;
    }
  }
  return true;
}

void writeStandardOutput(std::string_view text) {
  if (!writeAll(STDOUT_FILENO, text)) {
    if (errno == EPIPE) {
      throw ReaderGone();
    }
    throw Error(fmt::format("standard output: {}", std::strerror(errno)));
  }
}

void writeStandardError(std::string_view text) noexcept {
  static_cast<void>(writeAll(STDERR_FILENO, text));
}

void remark(std::string_view message) {
  writeStandardError(escape(message) + '\n');
}

void complain(std::string_view message) {
  remark(fmt::format("velstat: {}", message));
}

void complain(const std::exception& error) {
  if (dynamic_cast<const std::bad_alloc*>(&error) != nullptr) {
    writeStandardError("velstat: out of memory\n"); // which takes none
  } else if (dynamic_cast<const formats::Error*>(&error) != nullptr ||
             dynamic_cast<const std::system_error*>(&error) != nullptr) {
    complain(std::string_view(error.what()));
  } else {
    complain(fmt::format("unexpected: {}", error.what()));
  }
}

bool isTerminalWithEscapes() {
  const char* const terminal = std::getenv("TERM");
  return terminal != nullptr && std::strcmp(terminal, "dumb") != 0 && isatty(STDOUT_FILENO) != 0;
}

std::size_t outputWidth() {
  constexpr std::size_t usual = 80;
  winsize size{};
  if (isatty(STDOUT_FILENO) == 0) {
    return 0;
  }
  return ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col != 0 ? size.ws_col : usual;
}

Style Style::ofStandardOutput() {
  const char* const noColor = std::getenv("NO_COLOR");
  return Style(isTerminalWithEscapes() && (noColor == nullptr || *noColor == '\0'));
}

std::string Mark::operator()(std::string_view text) const {
  return fmt::format("{}{}{}", on, text, off);
}

} // namespace vel::stat
