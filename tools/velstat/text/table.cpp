// Cuts and pads cells.
#include "velstat/text/table.h"

#include <velstat/text/escape.h>

#include <algorithm>
#include <numeric>
#include <utility>

namespace vel::stat {

namespace {

constexpr std::size_t gap = 2;

std::vector<std::size_t> widthsOf(const Cells& cells) {
  std::vector<std::size_t> widths;
  for (const auto& line : cells) {
    widths.resize(std::max(widths.size(), line.size()));
    for (std::size_t i = 0; i < line.size(); ++i) {
      widths[i] = std::max(widths[i], columns(line[i]));
    }
  }
  return widths;
}

std::size_t lineWidth(const std::vector<std::size_t>& widths) {
  return std::accumulate(widths.begin(), widths.end(), gap * (widths.size() - 1));
}

// Narrows the widest columns until a line has this width.
void fit(std::vector<std::size_t>& widths, std::size_t width) {
  constexpr std::size_t least = 6;
  std::size_t total = lineWidth(widths);
  while (total > width) {
    const auto widest = std::max_element(widths.begin(), widths.end());
    if (widest == widths.end() || *widest <= least) {
      break;
    }
    --*widest;
    --total;
  }
}

} // namespace

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

bool fits(const Cells& cells, std::size_t width) {
  const std::vector<std::size_t> widths = widthsOf(cells);
  return width == 0 || widths.empty() || lineWidth(widths) <= width;
}

Cells transposed(const Cells& cells) {
  Cells turned(cells.front().size());
  for (const auto& line : cells) {
    for (std::size_t i = 0; i < turned.size(); ++i) {
      turned[i].push_back(line[i]);
    }
  }
  return turned;
}

void appendCells(Sink& out, Cells cells, std::size_t indent, const Style& style) {
  std::vector<std::size_t> widths = widthsOf(cells);
  if (style.width() != 0 && !widths.empty()) {
    fit(widths, style.width() - std::min(style.width(), indent));
  }
  for (auto& line : cells) {
    std::string text(indent, ' ');
    for (std::size_t i = 0; i < line.size(); ++i) {
      const std::string shown = cut(std::move(line[i]), widths[i]);
      text += shown + std::string(widths[i] - columns(shown) + gap, ' ');
    }
    text.resize(text.find_last_not_of(' ') + 1);
    out += &line == &cells.front() ? style.dim(text) : text;
    out += '\n';
  }
}

} // namespace vel::stat
