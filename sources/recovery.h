// Distinguishes records from damage, in a format that has no magic number, no checksum and no length.
//
// A record is plausible when its category and type have names and not all of its bytes are zero. Two records agree when
// both are plausible, the second one's sequence number is a little above the first one's and its time is not far from
// the first one's. docs/velstat-decode.md describes the rules to users.
#pragma once

#include <sources/record.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

namespace vel::sources {

// The number of consecutive records that must agree to accept an alignment.
inline constexpr std::size_t agreeingRecords = 4;
// The largest step of sequence numbers between records that agree, and the largest that needs no further proof.
inline constexpr std::uint32_t largestStep = 65536;
inline constexpr std::uint32_t usualStep = 16;
// For records that agree: the most microseconds between them, and the most by which the second one may be earlier.
inline constexpr std::uint64_t largestPause = std::uint64_t{1} << 32;
inline constexpr std::uint64_t largestDisorder = 1'000'000;
// By how much the number of a late or repeated record may be lower.
inline constexpr std::uint32_t largestDelay = 1024;

// Walks one file's bytes through a window that the caller slides. [one thread at a time]
class RecordFinder {
public:
  // The bytes needed to judge the first record, unless the file ends earlier.
  static constexpr std::size_t viewSize = (agreeingRecords + 4) * recordSize;

  struct Step {
    bool record;         // the first 48 bytes are a record
    std::size_t skipped; // bytes of damage: after the record, or at the front if there is none
    bool goesOn;         // the damage may continue; the next step decides
  };

  // Judges the front of `window`, which is never empty and has at least `viewSize` bytes unless the file ends with it
  // (`atEnd`). The caller drops the bytes of the step and passes the rest next time.
  Step next(std::span<const unsigned char> window, bool atEnd);

private:
  // Why the record at the front is accepted.
  enum class Proof : std::uint8_t {
    none,
    follows, // its number is among the next ones
    late,    // its number is slightly lower, and the numbers continue after it
    run,     // the records after it agree with it: it is the first after damage, a gap or a restart
  };

  struct Stamp {
    std::uint32_t number;
    std::uint64_t time;
  };
  static Stamp stampOf(const unsigned char* record);
  static bool agree(const Stamp& first, const unsigned char* second, std::uint32_t most);
  static bool begins(std::span<const unsigned char> bytes, bool atEnd);

  struct Found {
    std::size_t at;
    bool isRecord; // if not: no record before `at`, and the rest has not been judged
  };

  Proof judge(std::span<const unsigned char> bytes, bool atEnd) const;
  bool isLate(std::span<const unsigned char> bytes, bool atEnd) const;
  bool followsLast(const unsigned char* record) const;
  std::optional<std::uint64_t> runDoubt(std::span<const unsigned char> bytes, bool atEnd) const;
  Found search(std::span<const unsigned char> window, std::size_t from, bool atEnd) const;
  Step leave(std::span<const unsigned char> window, bool atEnd);

  std::optional<Stamp> last_; // of the record that the next one should follow
  Proof front_ = Proof::none; // of the front, if the previous step has judged it
  bool insideDamage_ = false;
};

} // namespace vel::sources
