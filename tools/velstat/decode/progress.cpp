// One line that is rewritten in place.
#include "velstat/decode/progress.h"

#include <velstat/text/output.h>

#include <fmt/format.h>

#include <string>
#include <unistd.h>

namespace vel::stat {

namespace {

constexpr auto patience = std::chrono::seconds(1); // shorter work shows no progress
constexpr auto interval = std::chrono::milliseconds(200);
constexpr const char* emptyLine = "\r\x1B[K";

} // namespace

Progress::Progress(std::uint64_t total)
    : wanted_(isatty(STDERR_FILENO) != 0 && isatty(STDOUT_FILENO) == 0), total_(total), begin_(Clock::now()),
      next_(begin_ + patience) {}

void Progress::update(std::uint64_t records, std::uint64_t bytes) {
  if (!wanted_) {
    return;
  }
  const Clock::time_point now = Clock::now();
  if (now < next_) {
    return;
  }
  next_ = now + interval;
  const double seconds = std::chrono::duration<double>(now - begin_).count();
  const double millions = static_cast<double>(records) / 1e6;
  std::string line =
      fmt::format("{}{:.1f} million records, {:.1f} million a second", emptyLine, millions, millions / seconds);
  if (total_ != 0) {
    line += fmt::format(", {:.0f} %", 100.0 * static_cast<double>(bytes) / static_cast<double>(total_));
  }
  writeStandardError(line);
  visible_ = true;
}

void Progress::clear() {
  if (visible_) {
    writeStandardError(emptyLine);
    visible_ = false;
  }
}

} // namespace vel::stat
