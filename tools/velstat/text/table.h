// Text in aligned columns of bounded width.
#pragma once

#include <velstat/text/output.h>
#include <velstat/text/sink.h>

#include <cstddef>
#include <string>
#include <vector>

namespace vel::stat {

// Cuts text, which is already escaped, to `width` columns.
std::string cut(std::string text, std::size_t width);
// The same, but leaves out the middle, so that the beginning and the end are shown.
std::string cutMiddle(const std::string& text, std::size_t width);
// Cuts text to the greatest width of a cell.
std::string cell(std::string text);

// A header and lines. The widest columns are cut until a line fits the style's width, or nothing is left to cut.
using Cells = std::vector<std::vector<std::string>>;
bool fits(const Cells& cells, std::size_t width); // 0: no limit
Cells transposed(const Cells& cells);             // all lines must have the same length
void appendCells(Sink& out, Cells cells, std::size_t indent, const Style& style);

} // namespace vel::stat
