// A property list as an indented tree with aligned keys, for people.
#pragma once

#include <formats/value.h>
#include <velstat/text/output.h>
#include <velstat/text/sink.h>

#include <cstddef>
#include <string>
#include <string_view>

namespace vel::stat {

// Whether it stands in one line: everything but dictionaries and arrays that hold something.
bool isLeaf(const formats::Value& value);
// A leaf in one line. Text is escaped; of long data only the beginning is shown.
void appendLeaf(Sink& out, const formats::Value& leaf);
std::string leafText(const formats::Value& leaf);

// Lines with a key and its value, the values below each other.
class KeyColumn {
public:
  // A key that will come with a leaf behind it: the column becomes so wide, but no wider than `widestKey`.
  void makeRoomFor(std::string_view key);
  // A line, or a key and the lines of its tree.
  void append(Sink& out, std::string_view key, const formats::Value& value, std::size_t indent,
              const Style& style) const;

private:
  std::size_t width_ = 0;
};

// Lines, each indented by at least `indent` blanks. Long keys are cut.
void appendTree(Sink& out, const formats::Value& value, std::size_t indent, const Style& style);

} // namespace vel::stat
