// Shows the progress of a long decoding on a terminal. [one thread at a time]
#pragma once

#include <chrono>
#include <cstdint>

namespace vel::stat {

class Progress {
public:
  // Shows nothing unless stderr is a terminal and stdout is not: there the records themselves show the progress.
  // `total` is 0 if it is not known.
  explicit Progress(std::uint64_t total);
  ~Progress() { clear(); }
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  void update(std::uint64_t records, std::uint64_t bytes);
  // Removes the line, so that another one can be written.
  void clear();

private:
  using Clock = std::chrono::steady_clock;

  bool wanted_;
  bool visible_ = false;
  std::uint64_t total_;
  Clock::time_point begin_;
  Clock::time_point next_;
};

} // namespace vel::stat
