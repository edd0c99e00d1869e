// Converts blocks of lines into records: lines of text, and the JSON and CSV of `velstat decode`. Each line is rendered
// again from its bytes and compared with the original, to find contradictions between words and bytes.
#pragma once

#include <sources/clock.h>
#include <sources/source.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vel::sources {

// The content of one block.
struct ParsedLines {
  struct Fault {
    FindingKind kind;
    std::size_t at;    // where the line begins in the block
    std::size_t place; // where in the line the words differ, for a contradiction
  };

  std::vector<unsigned char> records; // 48 bytes each
  std::vector<std::size_t> places;    // of their lines in the block
  std::vector<Fault> faults;
  std::uint64_t truncated = 0;
  std::uint64_t otherClock = 0; // lines that do not agree with the known relation between the clocks
  ClockReader clocks;           // only filled when no relation is known

  void clear();
};

// [one thread at a time; as many objects as threads]
class LineFormat {
public:
  virtual ~LineFormat() = default;

  // `atEnd` says that the block ends the input.
  virtual void read(std::string_view block, bool atEnd, ParsedLines& lines) = 0;
  // How many bytes of a text can be parsed before more of it arrives.
  virtual std::size_t whole(std::string_view text) const = 0;
};

// For Kind::lines, jsonLines and csvLines. If a clock relation is given, lines are compared with it; otherwise it is
// taken from the lines.
std::unique_ptr<LineFormat> makeLineFormat(Kind kind, const std::optional<ClockRelation>& clock);

} // namespace vel::sources
