// Writes to standard output and stderr, and decides about colours.
#include "velstat/text/output.h"

#include <velstat/text/error.h>
#include <velstat/text/escape.h>

#include <fmt/format.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <unistd.h>

namespace vel::stat {

void writeStandardOutput(std::string_view text) {
  while (!text.empty()) {
    const ssize_t written = ::write(STDOUT_FILENO, text.data(), text.size());
    if (written >= 0) {
      text.remove_prefix(static_cast<std::size_t>(written));
    } else if (errno == EPIPE) {
      throw ReaderGone();
    } else if (errno != EINTR) {
      throw Error(fmt::format("standard output: {}", std::strerror(errno)));
    }
  }
}

// A stderr that cannot be written cannot be reported, and the command need not fail for it.
void remark(std::string_view message) {
  const std::string line = escape(message) + '\n';
  std::fwrite(line.data(), 1, line.size(), stderr);
}

void complain(std::string_view message) {
  remark(fmt::format("velstat: {}", message));
}

bool isTerminalWithEscapes() {
  const char* const terminal = std::getenv("TERM");
  return terminal != nullptr && std::strcmp(terminal, "dumb") != 0 && isatty(STDOUT_FILENO) != 0;
}

Style Style::ofStandardOutput() {
  const char* const noColor = std::getenv("NO_COLOR");
  return Style(isTerminalWithEscapes() && (noColor == nullptr || *noColor == '\0'));
}

std::string Mark::operator()(std::string_view text) const {
  return fmt::format("{}{}{}", on, text, off);
}

} // namespace vel::stat
