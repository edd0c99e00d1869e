// A difference as one line of the summary, before it is cut to the width of the screen.
#pragma once

#include <velstat/diff/difference.h>
#include <velstat/text/output.h>

#include <string>
#include <string_view>

namespace vel::stat {

struct DiffLine {
  std::string sign; // "+ ", "- " or "~ "
  std::string path; // empty if the text is enough
  std::string text;
  std::string after; // the new text, if there is one; `text` is then the old one
  Mark mark;
};

DiffLine lineOf(const Difference& difference, const Style& style);
// Of a value of a report.
DiffLine lineOf(std::string_view path, const formats::Value* before, const formats::Value* after, const Style& style);

// How two long runs of bytes differ; a leaf's text only shows their beginning.
std::string dataText(const formats::Bytes& before, const formats::Bytes& after);

} // namespace vel::stat
