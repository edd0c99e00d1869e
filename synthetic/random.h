// Random numbers that are the same on every machine: the standard library's engines are, its distributions are not.
#pragma once

#include <bit>
#include <cstdint>

namespace vel::synthetic {

// xoshiro256**, its state filled by splitmix64. [one thread at a time]
class Random {
public:
  explicit Random(std::uint64_t seed) noexcept {
    for (std::uint64_t& word : state_) {
      seed += 0x9E3779B97F4A7C15;
      std::uint64_t mixed = (seed ^ seed >> 30) * 0xBF58476D1CE4E5B9;
      mixed = (mixed ^ mixed >> 27) * 0x94D049BB133111EB;
      word = mixed ^ mixed >> 31;
    }
  }

  std::uint64_t next() noexcept {
    const std::uint64_t result = std::rotl(state_[1] * 5, 7) * 9;
    const std::uint64_t shifted = state_[1] << 17;
    state_[2] ^= state_[0];
    state_[3] ^= state_[1];
    state_[1] ^= state_[2];
    state_[0] ^= state_[3];
    state_[2] ^= shifted;
    state_[3] = std::rotl(state_[3], 45);
    return result;
  }

  // From 0 to `bound` - 1; `bound` is not 0. Large bounds are slightly uneven, which does not matter here.
  std::uint32_t below(std::uint32_t bound) noexcept { return static_cast<std::uint32_t>((next() >> 32) * bound >> 32); }
  std::uint32_t between(std::uint32_t least, std::uint32_t most) noexcept { return least + below(most - least + 1); }
  bool oneIn(std::uint32_t times) noexcept { return below(times) == 0; }

private:
  std::uint64_t state_[4];
};

} // namespace vel::synthetic
