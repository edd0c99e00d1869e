// Pairs of records of two files or two captures, and the differences in a pair.
#pragma once

#include <velstat/diff/capture_folder.h>
#include <velstat/diff/value_diff.h>
#include <velstat/text/value_file.h>

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace vel::stat {

struct RecordSide {
  std::string name; // of its file, in messages
  bool hasHeader = false;
  // Reads the file, or returns what was read before. Throws Error.
  std::function<std::shared_ptr<const ValueFile>()> read;
};

// A record of both sides, or one that only one side has.
struct RecordPair {
  std::string title;          // empty for property lists without a header
  std::size_t occurrence = 1; // of this title
  std::optional<RecordSide> before;
  std::optional<RecordSide> after;
};

RecordPair pairOf(ValueFile before, ValueFile after);
// Paired by title and occurrence; in the order of `before`, then those that only `after` has.
std::vector<RecordPair> pairsOf(const CaptureFolder& before, const CaptureFolder& after);

// A field of the records' headers.
struct HeadDifference {
  const char* field;
  std::string before;
  std::string after;
};
// A property list without a header is compared with a record only by its value.
std::vector<HeadDifference> compareHeads(const ValueFile& before, const ValueFile& after);

bool isDifferent(const ValueFile& before, const ValueFile& after);

} // namespace vel::stat
