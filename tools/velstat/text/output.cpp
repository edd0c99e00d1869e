// Writes to standard output and stderr, and decides about colours.
#include "velstat/text/output.h"

#include <formats/parse_number.h>
#include <velstat/text/error.h>
#include <velstat/text/escape.h>
#include <velstat/text/pager.h>
#include <velstat/text/wrap.h>

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <new>
#include <poll.h>
#include <sys/ioctl.h>
#include <system_error>
#include <unistd.h>

namespace vel::stat {

namespace {

Colour chosenColour = Colour::automatic;

std::size_t terminalWidth(int descriptor) {
  constexpr std::size_t usual = 80;
  constexpr std::size_t widest = 100'000;
  if (const char* const set = std::getenv("COLUMNS"); set != nullptr) {
    try {
      return std::max(formats::parseNumber<std::size_t>(set, 1, widest), leastWidth);
    } catch (const std::invalid_argument&) { // an invalid value is ignored
    }
  }
  winsize size{};
  const bool known = ioctl(descriptor, TIOCGWINSZ, &size) == 0 && size.ws_col != 0;
  return known ? std::max<std::size_t>(size.ws_col, leastWidth) : usual;
}

} // namespace

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
  if (!text.empty()) {
    startPager();
  }
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
  StringSink line;
  WrappedLines(line, isatty(STDERR_FILENO) != 0 ? terminalWidth(STDERR_FILENO) : 0) += escape(message) + '\n';
  writeStandardError(line.text());
}

void complain(std::string_view message) {
  remark(fmt::format("velstat: {}", message));
}

void complain(const std::exception& error) {
  if (dynamic_cast<const std::bad_alloc*>(&error) != nullptr) {
    writeStandardError("velstat: out of memory\n"); // this needs no memory
  } else if (dynamic_cast<const formats::Error*>(&error) != nullptr ||
             dynamic_cast<const std::system_error*>(&error) != nullptr) {
    complain(std::string_view(error.what()));
  } else {
    complain(fmt::format("unexpected: {}", error.what()));
  }
}

void endNow(std::string_view line, int status) {
  complain(line);
  _exit(status);
}

bool isTerminal() {
  static const bool terminal = isatty(STDOUT_FILENO) != 0; // determined before a pager replaces it
  return terminal;
}

bool isTerminalWithEscapes() {
  const char* const terminal = std::getenv("TERM");
  return terminal != nullptr && std::strcmp(terminal, "dumb") != 0 && isTerminal();
}

std::size_t outputWidth() {
  static const std::size_t width = isTerminal() ? terminalWidth(STDOUT_FILENO) : 0;
  return width;
}

void chooseColour(Colour colour) {
  chosenColour = colour;
}

Style Style::ofStandardOutput() {
  const char* const noColor = std::getenv("NO_COLOR");
  const bool automatic = isTerminalWithEscapes() && (noColor == nullptr || *noColor == '\0');
  return Style(chosenColour == Colour::automatic ? automatic : chosenColour == Colour::always, outputWidth());
}

std::string Mark::operator()(std::string_view text) const {
  return fmt::format("{}{}{}", on, text, off);
}

} // namespace vel::stat
