// A property list as an indented tree with aligned keys, for people.
#pragma once

#include <formats/value.h>
#include <velstat/text/output.h>

#include <string>

namespace vel::stat {

// Whether it stands in one line: everything but dictionaries and arrays that hold something.
bool isLeaf(const formats::Value& value);
// A leaf in one line.
std::string leafText(const formats::Value& leaf);

// Appends lines to `out`, each indented by at least `indent` blanks. Text is escaped; long data is cut.
void appendTree(std::string& out, const formats::Value& value, std::size_t indent, const Style& style);

} // namespace vel::stat
