// Handles out-of-sequence numbers.
#include "sources/sequence_check.h"

namespace vel::sources {

void SequenceCheck::begin(std::uint32_t number) noexcept {
  begun_ = true;
  highest_ = number;
  span_ = 0;
  seen_.reset();
  seen_.set(number % window);
}

void SequenceCheck::addUnexpected(std::uint32_t number) noexcept {
  if (!begun_) {
    begin(number);
    return;
  }
  constexpr std::uint32_t half = std::uint32_t{1} << 31; // numbers wrap around
  const std::uint32_t ahead = number - highest_;
  if (ahead != 0 && ahead < half) {
    ++counts_.gaps;
    counts_.missing += ahead - 1;
    for (std::uint32_t i = 1; i < ahead && i <= window; ++i) {
      seen_.reset((highest_ + i) % window);
    }
    highest_ = number;
    span_ += ahead;
    seen_.set(number % window);
    return;
  }
  const std::uint32_t behind = highest_ - number;
  if (behind >= window) {
    ++counts_.restarts;
    begin(number);
  } else if (seen_[number % window]) {
    ++counts_.duplicates;
  } else {
    ++counts_.late;
    counts_.missing -= behind <= span_ ? 1 : 0; // a number from before the first one was never counted as missing
    seen_.set(number % window);
  }
}

} // namespace vel::sources
