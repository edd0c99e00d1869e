// Text in aligned columns of bounded width.
#pragma once

#include <velstat/text/output.h>
#include <velstat/text/sink.h>

#include <cstddef>
#include <string>
#include <vector>

namespace vel::stat {

// Already escaped text, cut to so many columns.
std::string cut(std::string text, std::size_t width);
// The same with the middle left out, so that beginning and end show.
std::string cutMiddle(const std::string& text, std::size_t width);
// The same to the width that a cell may have.
std::string cell(std::string text);

// A header and lines. The widest columns are cut until a line fits the style's width, or nothing is left to cut.
using Cells = std::vector<std::vector<std::string>>;
bool fits(const Cells& cells, std::size_t width); // 0: any
Cells transposed(const Cells& cells);             // of lines of the same length
void appendCells(Sink& out, Cells cells, std::size_t indent, const Style& style);

} // namespace vel::stat
