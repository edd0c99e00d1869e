// The recording side of a modelled co-processor: stamps each record with its clock and its number.
#pragma once

#include <profile/VelProfileReport.h>
#include <synthetic/random.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace vel::synthetic {

// What a record is about, by the names that the decoder shows. An id without a name is given as its number.
struct Kind {
  std::string_view category;
  std::string_view component;
  std::string_view event;
  std::string_view type;
};

// A record under construction, whose fields are addressed by the keys that the decoder shows for its kind; a key that
// it does not show aborts the program, as it is a mistake in a flow. [borrowed: until the next record is added]
class Draft {
public:
  explicit Draft(_VelProfileReport& record) : record_(record) {}

  Draft& number(std::string_view key, std::uint64_t value);
  Draft& text(std::string_view key, std::string_view value);
  Draft& bytes(std::string_view key, Random& random); // random bytes
  Draft& action(std::string_view name);               // the "trace" of a ZORB event
  Draft& contextVersion(std::uint16_t version);       // before the context's other fields

private:
  unsigned char* field(std::string_view key, std::size_t& size);

  _VelProfileReport& record_;
};

// How much later than usual the actuator plays an asset, in microseconds.
struct HapticDelay {
  std::uint32_t always = 0;
  std::uint32_t stallOneIn = 0; // one haptic in this many also stalls; 0: none does
  std::uint32_t stall = 0;
};

// [one thread at a time]
class Recorder {
public:
  static constexpr std::uint64_t usualClock = 2'000'000;
  // `clock`: microseconds since the co-processor's start.
  explicit Recorder(std::uint64_t seed, std::uint64_t clock = usualClock) : random_(seed), clock_(clock) {}

  Random& random() noexcept { return random_; }
  // Advances the clock by a random number of microseconds.
  void wait(std::uint32_t least, std::uint32_t most) noexcept { clock_ += random_.between(least, most); }
  std::uint64_t clock() const noexcept { return clock_; }
  std::uint32_t sequence() const noexcept { return sequence_; } // of the next record
  // Sets clock and number of the next record, as a restart does.
  void set(std::uint64_t clock, std::uint32_t sequence) noexcept {
    clock_ = clock;
    sequence_ = sequence;
  }
  // Leaves a sensor out of all that is recorded from now on.
  void silence(std::string_view sensor) { silent_.emplace_back(sensor); }
  bool isSilent(std::string_view sensor) const noexcept {
    return std::find(silent_.begin(), silent_.end(), sensor) != silent_.end();
  }

  Draft add(const Kind& kind);

  void delayHaptics(const HapticDelay& delay) noexcept { hapticDelay_ = delay; }
  // Advances the clock by the delay of one haptic.
  void waitForHaptic() noexcept {
    const bool stalls = hapticDelay_.stallOneIn != 0 && random_.oneIn(hapticDelay_.stallOneIn);
    clock_ += hapticDelay_.always + (stalls ? hapticDelay_.stall : 0);
  }

  // The records since the caller last cleared them.
  std::vector<_VelProfileReport>& records() noexcept { return records_; }

private:
  Random random_;
  std::uint64_t clock_;
  std::uint32_t sequence_ = 0;
  HapticDelay hapticDelay_;
  std::vector<std::string> silent_;
  std::vector<_VelProfileReport> records_;
};

} // namespace vel::synthetic
