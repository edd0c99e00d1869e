// What tells records from damage, when nothing in the format does: no magic number, no checksum, no length.
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

// The records that must agree before an alignment is believed.
inline constexpr std::size_t agreeingRecords = 4;
// The most that sequence numbers rise between records that agree, and between neighbours that need no further proof.
inline constexpr std::uint32_t largestStep = 65536;
inline constexpr std::uint32_t usualStep = 16;
// The most microseconds that pass between records that agree, and the most that the second one may be earlier.
inline constexpr std::uint64_t largestPause = std::uint64_t{1} << 32;
inline constexpr std::uint64_t largestDisorder = 1'000'000;
// How far behind a late or repeated record's number may be.
inline constexpr std::uint32_t largestDelay = 1024;

// Walks one file's bytes through a window that the caller slides. [one thread at a time]
class RecordFinder {
public:
  // As many bytes are enough to judge the first of them, unless the file ends earlier.
  static constexpr std::size_t viewSize = (agreeingRecords + 4) * recordSize;

  struct Step {
    bool record;         // the first 48 bytes are a record
    std::size_t skipped; // bytes after it, or from the front if there is none, that belong to no record
    bool goesOn;         // so may the bytes after those: the next step tells
  };

  // Judges the front of `window`: never empty, and at least `viewSize` bytes unless `atEnd`, when the file ends with
  // the window. The caller drops what the step covers and passes the rest next time.
  Step next(std::span<const unsigned char> window, bool atEnd);

private:
  // Why the record at the front is believed.
  enum class Proof : std::uint8_t {
    none,
    follows, // its number is one of the next
    late,    // a little behind, and the numbers go on after it
    run,     // those behind it agree: the first after damage, after a gap, or of numbers that began anew
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
    bool isRecord; // otherwise: nothing before `at`, and what follows has not been judged
  };

  Proof judge(std::span<const unsigned char> bytes, bool atEnd) const;
  bool isLate(std::span<const unsigned char> bytes, bool atEnd) const;
  bool followsLast(const unsigned char* record) const;
  std::optional<std::uint64_t> runDoubt(std::span<const unsigned char> bytes, bool atEnd) const;
  Found search(std::span<const unsigned char> window, std::size_t from, bool atEnd) const;
  Step leave(std::span<const unsigned char> window, bool atEnd);

  std::optional<Stamp> last_; // of the record that the next one should follow
  Proof front_ = Proof::none; // of the front, where the step before has judged it
  bool insideDamage_ = false;
};

} // namespace vel::sources
