// What `velstat diff` has found, as text for people and as JSON.
#pragma once

#include <velstat/diff/capture_folder.h>
#include <velstat/diff/value_diff.h>
#include <velstat/text/output.h>
#include <velstat/text/value_file.h>

#include <string>
#include <vector>

namespace vel::stat {

// A field of the records' headers.
struct HeadDifference {
  const char* field;
  std::string before;
  std::string after;
};

// A record of both sides that differs, or one that only one side has. Points into what was compared.
struct RecordDifference {
  std::string title;          // empty for property lists without a header
  std::size_t occurrence = 1; // of this title
  const ValueFile* before = nullptr;
  const ValueFile* after = nullptr;
  std::vector<HeadDifference> head;
  std::vector<Difference> values;
};

// Empty when they are the same.
std::vector<RecordDifference> compareFiles(const ValueFile& before, const ValueFile& after);
// By title and occurrence; in the order of `before`, what only `after` has behind the rest.
std::vector<RecordDifference> compareFolders(const CaptureFolder& before, const CaptureFolder& after);

std::string diffText(const std::vector<RecordDifference>& differences, const Style& style);

struct DiffNames {
  std::string before;
  std::string after;
};
// `complete`: whether both sides could be read whole; what was not read is not called equal.
std::string diffJson(const DiffNames& names, const std::vector<RecordDifference>& differences, bool complete);

} // namespace vel::stat
