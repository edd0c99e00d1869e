// A store as a table.
#include <velstat/tally/output.h>
#include <velstat/text/escape.h>
#include <velstat/text/wrap.h>

#include <fmt/format.h>

#include <algorithm>
#include <ctime>
#include <functional>
#include <numeric>
#include <optional>

namespace vel::stat {

namespace {

using control::TallyKind;
using control::TallyRow;

std::string timeText(const std::optional<std::int64_t>& microseconds) {
  if (!microseconds) {
    return {};
  }
  const auto seconds = static_cast<std::time_t>(*microseconds / 1'000'000 - (*microseconds % 1'000'000 < 0 ? 1 : 0));
  std::tm local{};
  char text[64];
  if (localtime_r(&seconds, &local) == nullptr || std::strftime(text, sizeof text, "%F %T", &local) == 0) {
    return fmt::format("{} us", *microseconds); // no calendar can show it
  }
  return text;
}

std::string number(double value) {
  return fmt::format("{:.6g}", value);
}

struct Column {
  const char* title;
  std::function<std::string(const TallyRow&)> cell;
  int rank; // on a narrow terminal, the columns with the highest rank are left out first; 0: never
  bool left = false;
};

// A statistic of the samples; empty without samples.
Column sampled(const char* title, double control::TallyDistribution::*member, int rank) {
  return {title,
          [member](const TallyRow& row) {
            return row.distribution.count == 0 ? std::string() : number(row.distribution.*member);
          },
          rank};
}

std::string unlessZero(std::uint64_t count) {
  return count == 0 ? std::string() : fmt::format("{}", count);
}

std::vector<Column> columnsOf(TallyKind kind, TallyTimes times) {
  using Distribution = control::TallyDistribution;
  std::vector<Column> all = {
      {kind == TallyKind::scalar ? "scalar" : "distribution", [](const TallyRow& row) { return escapeKey(row.key); }, 0,
       true},
  };
  if (kind == TallyKind::scalar) {
    all.push_back({"value", [](const TallyRow& row) { return fmt::format("{}", row.scalar.value); }, 0});
    all.push_back({"overflows", [](const TallyRow& row) { return unlessZero(row.scalar.overflows); }, 1});
  } else {
    all.push_back({"count", [](const TallyRow& row) { return fmt::format("{}", row.distribution.count); }, 0});
    all.push_back(sampled("mean", &Distribution::mean, 0));
    all.push_back(sampled("std dev", &Distribution::standardDeviation, 5));
    all.push_back(sampled("min", &Distribution::min, 3));
    all.push_back(sampled("p50", &Distribution::p50, 2));
    all.push_back(sampled("p90", &Distribution::p90, 6));
    all.push_back(sampled("p99", &Distribution::p99, 4));
    all.push_back(sampled("max", &Distribution::max, 0));
    all.push_back({"ignored", [](const TallyRow& row) { return unlessZero(row.distribution.ignored); }, 1});
  }
  if (times == TallyTimes::hidden) {
    return all;
  }
  all.push_back({"first sample", [](const TallyRow& row) { return timeText(row.firstSample); }, 8, true});
  all.push_back({"last change", [](const TallyRow& row) { return timeText(row.lastChange); }, 7, true});
  all.push_back({"last clear", [](const TallyRow& row) { return timeText(row.lastClear); }, 9, true});
  return all;
}

// A column with something to show, and its width.
struct ShownColumn {
  Column column;
  std::size_t width;
};

std::vector<ShownColumn> shownColumns(const std::vector<const TallyRow*>& rows, TallyKind kind, TallyTimes times) {
  std::vector<ShownColumn> shown;
  for (Column& column : columnsOf(kind, times)) {
    std::size_t width = 0;
    for (const TallyRow* row : rows) {
      width = std::max(width, columns(column.cell(*row)));
    }
    if (width != 0) {
      width = std::max(width, columns(column.title));
      shown.push_back({std::move(column), width});
    }
  }
  return shown;
}

constexpr std::size_t gap = 2;

std::size_t widthOf(const std::vector<ShownColumn>& shown) {
  return std::accumulate(shown.begin(), shown.end(), gap * (shown.size() - 1),
                         [](std::size_t sum, const ShownColumn& column) { return sum + column.width; });
}

// Leaves out columns, and then cuts the keys, until a line fits. Returns the titles of the columns that are left out.
std::vector<std::string> fit(std::vector<ShownColumn>& shown, std::size_t width) {
  constexpr std::size_t leastKey = 36;
  std::vector<std::string> leftOut;
  const std::size_t key = shown.front().width;
  while (widthOf(shown) - key + std::min(key, leastKey) > width) {
    const auto last = std::max_element(shown.begin(), shown.end(), [](const ShownColumn& a, const ShownColumn& b) {
      return a.column.rank < b.column.rank;
    });
    if (last->column.rank == 0) {
      break;
    }
    leftOut.emplace_back(last->column.title);
    shown.erase(last);
  }
  const std::size_t all = widthOf(shown);
  if (all > width) {
    shown.front().width -= std::min(all - width, key - std::min(key, std::size_t{8}));
  }
  return leftOut;
}

// Cuts a key at its beginning, because keys differ at their ends.
std::string keepEnd(const std::string& text, std::size_t width) {
  std::size_t begin = 0;
  for (std::size_t all = columns(text); all > width - 1; --all) {
    begin += decodeUTF8(std::string_view(text).substr(begin)).length;
  }
  return "…" + text.substr(begin);
}

// `cellOf` gives the cell of a column.
template <class CellOf>
std::string lineOf(const std::vector<ShownColumn>& shown, CellOf cellOf) {
  std::string line;
  for (const auto& [column, width] : shown) {
    std::string cell = cellOf(column);
    if (columns(cell) > width) {
      cell = keepEnd(cell, width);
    }
    const std::string padding(width - columns(cell), ' ');
    line += &column == &shown.front().column ? "" : std::string(gap, ' ');
    line += column.left ? cell + padding : padding + cell;
  }
  line.resize(line.find_last_not_of(' ') + 1);
  return line;
}

bool appendTable(Sink& out, const std::vector<TallyRow>& all, TallyKind kind, const Style& style, std::size_t indent,
                 TallyTimes times, bool isFirst) {
  std::vector<const TallyRow*> rows;
  for (const TallyRow& row : all) {
    if (row.kind == kind) {
      rows.push_back(&row);
    }
  }
  if (rows.empty()) {
    return false;
  }
  out += isFirst ? "" : "\n";
  std::vector<ShownColumn> shown = shownColumns(rows, kind, times);
  std::vector<std::string> leftOut;
  if (style.width() != 0) {
    leftOut = fit(shown, style.width() - std::min(style.width(), indent));
  }
  out.blanks(indent);
  out += style.bold(lineOf(shown, [](const Column& column) { return std::string(column.title); })) + '\n';
  for (const TallyRow* row : rows) {
    out.blanks(indent);
    out += lineOf(shown, [row](const Column& column) { return column.cell(*row); }) + '\n';
  }
  if (!leftOut.empty()) {
    StringSink note;
    appendWrapped(note, fmt::format("(too narrow for: {})", fmt::join(leftOut, ", ")), indent, style.width());
    out.blanks(indent);
    out += style.dim(note.text()) + '\n';
  }
  return true;
}

} // namespace

void tallyTable(Sink& out, const std::vector<TallyRow>& rows, const Style& style, std::size_t indent,
                TallyTimes times) {
  const bool scalars = appendTable(out, rows, TallyKind::scalar, style, indent, times, true);
  const bool distributions = appendTable(out, rows, TallyKind::distribution, style, indent, times, !scalars);
  if (!scalars && !distributions) {
    out.blanks(indent);
    out += "no keys\n";
  }
}

} // namespace vel::stat
