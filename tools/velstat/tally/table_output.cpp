// A store as a table.
#include <velstat/tally/output.h>
#include <velstat/text/escape.h>

#include <fmt/format.h>

#include <algorithm>
#include <ctime>
#include <functional>
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
    return fmt::format("{} us", *microseconds); // a year that no calendar has
  }
  return text;
}

std::string number(double value) {
  return fmt::format("{:.6g}", value);
}

struct Column {
  const char* title;
  std::function<std::string(const TallyRow&)> cell;
  bool left = false;
};

// A number of the samples, when there are any.
Column sampled(const char* title, double control::TallyDistribution::*member) {
  return {title, [member](const TallyRow& row) {
            return row.distribution.count == 0 ? std::string() : number(row.distribution.*member);
          }};
}

std::string unlessZero(std::uint64_t count) {
  return count == 0 ? std::string() : fmt::format("{}", count);
}

std::vector<Column> columnsOf(TallyKind kind, TallyTimes times) {
  using Distribution = control::TallyDistribution;
  std::vector<Column> all = {
      {kind == TallyKind::scalar ? "scalar" : "distribution", [](const TallyRow& row) { return escape(row.key); },
       true},
  };
  if (kind == TallyKind::scalar) {
    all.push_back({"value", [](const TallyRow& row) { return fmt::format("{}", row.scalar.value); }});
    all.push_back({"overflows", [](const TallyRow& row) { return unlessZero(row.scalar.overflows); }});
  } else {
    all.push_back({"count", [](const TallyRow& row) { return fmt::format("{}", row.distribution.count); }});
    all.push_back(sampled("mean", &Distribution::mean));
    all.push_back(sampled("std dev", &Distribution::standardDeviation));
    all.push_back(sampled("min", &Distribution::min));
    all.push_back(sampled("p50", &Distribution::p50));
    all.push_back(sampled("p90", &Distribution::p90));
    all.push_back(sampled("p99", &Distribution::p99));
    all.push_back(sampled("max", &Distribution::max));
    all.push_back({"ignored", [](const TallyRow& row) { return unlessZero(row.distribution.ignored); }});
  }
  if (times == TallyTimes::hidden) {
    return all;
  }
  all.push_back({"first sample", [](const TallyRow& row) { return timeText(row.firstSample); }, true});
  all.push_back({"last change", [](const TallyRow& row) { return timeText(row.lastChange); }, true});
  all.push_back({"last clear", [](const TallyRow& row) { return timeText(row.lastClear); }, true});
  return all;
}

void appendTable(std::string& out, const std::vector<TallyRow>& rows, TallyKind kind, const Style& style,
                 TallyTimes times) {
  std::vector<const TallyRow*> shown;
  for (const TallyRow& row : rows) {
    if (row.kind == kind) {
      shown.push_back(&row);
    }
  }
  if (shown.empty()) {
    return;
  }
  std::vector<std::string> lines(1 + shown.size()); // the titles, then a row each
  for (const Column& column : columnsOf(kind, times)) {
    std::vector<std::string> cells = {column.title};
    std::size_t width = 0;
    for (const TallyRow* row : shown) {
      cells.push_back(column.cell(*row));
      width = std::max(width, columns(cells.back()));
    }
    if (width == 0) {
      continue;
    }
    width = std::max(width, columns(column.title));
    for (std::size_t i = 0; i < lines.size(); ++i) {
      const std::string padding(width - columns(cells[i]), ' ');
      lines[i] += lines[i].empty() ? "" : "  ";
      lines[i] += column.left ? cells[i] + padding : padding + cells[i];
    }
  }
  out += out.empty() ? "" : "\n";
  for (std::string& line : lines) {
    line.resize(line.find_last_not_of(' ') + 1);
    out += (&line == &lines.front() ? style.bold(line) : line) + '\n';
  }
}

} // namespace

std::string tallyTable(const std::vector<TallyRow>& rows, const Style& style, TallyTimes times) {
  std::string out;
  appendTable(out, rows, TallyKind::scalar, style, times);
  appendTable(out, rows, TallyKind::distribution, style, times);
  return out.empty() ? "no keys\n" : out;
}

} // namespace vel::stat
