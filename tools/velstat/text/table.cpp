// Cuts and pads cells.
#include "velstat/text/table.h"

#include <velstat/text/escape.h>

#include <algorithm>
#include <utility>

namespace vel::stat {

std::string cut(std::string text, std::size_t width) {
  if (columns(text) <= width) {
    return text;
  }
  std::size_t end = 0;
  for (std::size_t shown = 0; shown + 1 < width; ++shown) {
    ++end;
    while (end < text.size() && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80) {
      ++end;
    }
  }
  return text.substr(0, end) + "…";
}

std::string cutMiddle(const std::string& text, std::size_t width) {
  const std::size_t all = columns(text);
  if (all <= width || width == 0) {
    return text;
  }
  const std::size_t end = (width - 1) / 2;
  std::size_t skipped = 0; // bytes, up to the end that is shown
  for (std::size_t column = 0; column < all - end; ++column) {
    ++skipped;
    while (skipped < text.size() && (static_cast<unsigned char>(text[skipped]) & 0xC0) == 0x80) {
      ++skipped;
    }
  }
  return cut(text, width - end) + text.substr(skipped);
}

std::string cell(std::string text) {
  constexpr std::size_t widest = 34;
  return cut(std::move(text), widest);
}

void appendCells(Sink& out, const Cells& cells, std::size_t indent, const Style& style) {
  std::vector<std::size_t> widths;
  for (const auto& line : cells) {
    widths.resize(std::max(widths.size(), line.size()));
    for (std::size_t i = 0; i < line.size(); ++i) {
      widths[i] = std::max(widths[i], columns(line[i]));
    }
  }
  for (const auto& line : cells) {
    std::string text(indent, ' ');
    for (std::size_t i = 0; i < line.size(); ++i) {
      text += line[i] + std::string(widths[i] - columns(line[i]) + 2, ' ');
    }
    text.resize(text.find_last_not_of(' ') + 1);
    out += &line == &cells.front() ? style.dim(text) : text;
    out += '\n';
  }
}

} // namespace vel::stat
