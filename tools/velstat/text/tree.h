// A property list as an indented tree with aligned keys.
#pragma once

#include <formats/value.h>
#include <velstat/text/output.h>
#include <velstat/text/sink.h>

#include <cstddef>
#include <string>
#include <string_view>

namespace vel::stat {

// Whether the value is shown in one line: all values except dictionaries and arrays that are not empty.
bool isLeaf(const formats::Value& value);
// A leaf in one line. Text is escaped; only the beginning of long data is shown.
void appendLeaf(Sink& out, const formats::Value& leaf);
std::string leafText(const formats::Value& leaf);

// Lines with a key and its value, with the values aligned.
class KeyColumn {
public:
  // Announces a key with a leaf, which may widen the column up to `widestKey`.
  void makeRoomFor(std::string_view key);
  // Adds a line, or a key and the lines of its tree.
  void append(Sink& out, std::string_view key, const formats::Value& value, std::size_t indent,
              const Style& style) const;

private:
  std::size_t width_ = 0;
};

// Lines, each indented by at least `indent` blanks. Long keys are cut.
void appendTree(Sink& out, const formats::Value& value, std::size_t indent, const Style& style);

} // namespace vel::stat
