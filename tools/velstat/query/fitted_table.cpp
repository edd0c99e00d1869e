// Chooses the columns and their widths.
#include "velstat/query/fitted_table.h"

#include <velstat/text/escape.h>

#include <algorithm>
#include <numeric>
#include <string_view>
#include <utility>

namespace vel::stat {

namespace {

constexpr std::size_t gap = 2;
constexpr std::size_t readable = 22; // the width at which a text is still useful; a calendar time has this width

struct Column {
  std::size_t number;  // in the answer
  std::size_t natural; // width of the longest cell
  std::size_t least;   // that it may be cut to
  bool isTheSame;      // in every line
};

std::size_t total(const std::vector<Column>& shown, std::size_t Column::*width) {
  return std::accumulate(shown.begin(), shown.end(), gap * (shown.size() - 1),
                         [&](std::size_t sum, const Column& column) { return sum + column.*width; });
}

std::size_t sharedBeginning(std::string_view a, std::string_view b) {
  return static_cast<std::size_t>(std::mismatch(a.begin(), a.end(), b.begin(), b.end()).first - a.begin());
}

std::vector<Column> measured(const Cells& cells, const std::vector<char>& canBeCut, std::size_t width) {
  std::vector<Column> all;
  for (std::size_t i = 0; i < cells.front().size(); ++i) {
    const std::size_t title = columns(cells.front()[i]);
    Column column{i, title, 0, cells.size() > 1};
    std::size_t shared = width; // by all cells at their beginning, such as "com.tavik." of keys
    for (std::size_t line = 1; line < cells.size(); ++line) {
      column.natural = std::max(column.natural, columns(cells[line][i]));
      column.isTheSame = column.isTheSame && cells[line][i] == cells[1][i];
      shared = std::min(shared, sharedBeginning(cells[line][i], cells[1][i]));
    }
    const std::size_t telling = std::min(column.isTheSame ? readable : shared + readable, width / 2);
    column.least = canBeCut[i] != 0 ? std::min(column.natural, std::max(title, telling)) : column.natural;
    all.push_back(column);
  }
  return all;
}

// The last column with the same value in every line; if there is none, the last of all.
std::vector<Column>::iterator leastInformative(std::vector<Column>& shown) {
  const auto same = std::find_if(shown.rbegin(), shown.rend(), [](const Column& column) { return column.isTheSame; });
  return same == shown.rend() ? std::prev(shown.end()) : std::prev(same.base());
}

// The words after the title, in lines of at most `width` columns.
void addNote(std::vector<std::string>& notes, std::string_view title, const std::vector<std::string>& words,
             std::size_t width) {
  std::string line(title);
  for (const std::string& word : words) {
    if (columns(line) + gap + columns(word) > width && line != "  ") {
      notes.push_back(std::exchange(line, "  "));
    }
    line += line == "  " ? "" : "  ";
    line += word;
  }
  notes.push_back(std::move(line));
}

std::vector<std::string> notesAbout(const Cells& cells, std::vector<Column>& hidden, std::size_t width) {
  std::sort(hidden.begin(), hidden.end(), [](const Column& a, const Column& b) { return a.number < b.number; });
  std::vector<std::string> same;
  std::vector<std::string> leftOut;
  for (const Column& column : hidden) {
    const std::string& name = cells.front()[column.number];
    if (column.isTheSame) {
      same.push_back(cut(name + "=" + cells[1][column.number], width - gap));
    } else {
      leftOut.push_back(cut(name, width - gap));
    }
  }
  std::vector<std::string> notes;
  if (!same.empty()) {
    addNote(notes, cells.size() == 2 ? "Also:" : "In every line:", same, width);
  }
  if (!leftOut.empty()) {
    addNote(notes, "Left out:", leftOut, width);
  }
  return notes;
}

} // namespace

FittedTable fitted(Cells cells, const std::vector<char>& canBeCut, std::size_t width) {
  std::vector<Column> shown = measured(cells, canBeCut, width);
  std::vector<Column> hidden;
  while (total(shown, &Column::least) > width && shown.size() > 1) {
    const auto column = leastInformative(shown);
    hidden.push_back(*column);
    shown.erase(column);
  }
  shown.front().least = std::min(shown.front().least, width); // if it is the only one
  for (std::size_t all = total(shown, &Column::natural); all > width; --all) {
    const auto widest = std::max_element(shown.begin(), shown.end(), [](const Column& a, const Column& b) {
      return a.natural - a.least < b.natural - b.least;
    });
    --widest->natural;
  }
  FittedTable table;
  table.notes = notesAbout(cells, hidden, std::max<std::size_t>(width, 2 * gap));
  for (auto& line : cells) {
    auto& kept = table.cells.emplace_back();
    for (const Column& column : shown) {
      kept.push_back(cut(std::move(line[column.number]), column.natural));
    }
  }
  return table;
}

} // namespace vel::stat
