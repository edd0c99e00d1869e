// Follows the firmware's sequence numbers in constant memory. [one thread at a time]
#pragma once

#include <bitset>
#include <cstddef>
#include <cstdint>

namespace vel::sources {

class SequenceCheck {
public:
  // Numbers at most this much below the highest one are late or repeated; lower ones are a restart.
  static constexpr std::uint32_t window = 1024;

  struct Counts {
    std::uint64_t gaps = 0;       // places where numbers were left out
    std::uint64_t missing = 0;    // skipped numbers that did not come late
    std::uint64_t duplicates = 0; // repeated numbers
    std::uint64_t late = 0;       // numbers that came after a higher one
    std::uint64_t restarts = 0;   // places where the numbers restarted
  };

  void add(std::uint32_t number) noexcept {
    if (begun_ && number == highest_ + 1) {
      highest_ = number;
      ++span_;
      seen_.set(number % window);
      return;
    }
    addUnexpected(number);
  }

  const Counts& counts() const noexcept { return counts_; }

private:
  void addUnexpected(std::uint32_t number) noexcept;
  void begin(std::uint32_t number) noexcept;

  bool begun_ = false;
  std::uint32_t highest_ = 0;
  std::uint64_t span_ = 0;   // from the run's first number to the highest
  std::bitset<window> seen_; // numbers less than `window` below the highest, by their remainder
  Counts counts_;
};

} // namespace vel::sources
