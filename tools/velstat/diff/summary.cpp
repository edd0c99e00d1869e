// The most notable differences, on one screen.
#include <velstat/diff/line.h>
#include <velstat/diff/result.h>
#include <velstat/text/escape.h>
#include <velstat/text/number_text.h>
#include <velstat/text/table.h>

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <string_view>
#include <vector>

namespace vel::stat {

namespace {

constexpr std::string_view becomes = " → ";

void appendSide(Sink& out, const char* mark, const Side& side, std::size_t width, const Style& style) {
  std::string about = fmt::format("  {}", sources::kindName(side.input.kind));
  if (side.records.count() != 0) {
    about += ", " + countText(side.records.count(), "record");
  }
  if (side.records.further() != 0) {
    about += fmt::format(", {} of further kinds", side.records.further());
  }
  const std::size_t taken = columns(mark) + columns(about) + 1;
  out += mark + style.bold(cutMiddle(escape(side.input.name), std::max(width, taken + 1) - taken)) + style.dim(about) +
         '\n';
}

std::size_t textColumns(const DiffLine& line) {
  return columns(line.text) + (line.after.empty() ? 0 : columns(line.after) + columns(becomes));
}

// If there is not enough room for both halves, each gets what the other leaves, but at least half of the room.
std::string fitted(const DiffLine& line, std::size_t width) {
  if (line.after.empty()) {
    return cut(line.text, width);
  }
  const std::size_t room = width - std::min(width, columns(becomes));
  const std::size_t after = std::max(room / 2, room - std::min(room, columns(line.text)));
  const std::size_t before = room - std::min(after, columns(line.after));
  return cut(line.text, before) + std::string(becomes) + cut(line.after, after);
}

// Both columns are cut if there is no room for both: paths in the middle, since their ends say most.
void appendLines(Sink& out, const std::vector<DiffLine>& lines, std::size_t width) {
  constexpr std::size_t around = 6; // indent, sign, and the gap between the columns
  const std::size_t room = std::max(width, std::size_t{40}) - around;
  std::size_t path = 0;
  std::size_t text = 0;
  for (const DiffLine& line : lines) {
    path = std::max(path, columns(line.path));
    text = std::max(text, textColumns(line));
  }
  if (path == 0) {
    text = std::min(text, room);
  } else if (path + text > room) {
    text = std::min(text, std::max(room / 2, room - std::min(room, path)));
    path = std::min(path, room - text);
  }
  for (const DiffLine& line : lines) {
    const std::string shown = cutMiddle(line.path, path);
    out += "  " + line.mark(line.sign + shown) + std::string(path == 0 ? 0 : path - columns(shown) + 2, ' ') +
           fitted(line, text) + '\n';
  }
}

// How many lines each section gets: one after another, each section gets one more until the room is used up.
std::array<std::size_t, sectionCount> share(const SectionCounts& wanted, std::size_t room) {
  std::array<std::size_t, sectionCount> given{};
  for (bool any = true; any;) {
    any = false;
    for (std::size_t i = 0; i < sectionCount; ++i) {
      const std::size_t cost = given[i] == 0 ? 2 : 1; // the first line also needs a title
      if (given[i] < wanted[i].notable && cost <= room) {
        room -= cost;
        ++given[i];
        any = true;
      }
    }
  }
  return given;
}

} // namespace

void appendTitle(Sink& out, std::size_t section, const Style& style) {
  constexpr const char* titles[] = {"Findings", "Metrics", "Values", "Kinds of records that only one side has",
                                    "Counts of records, and their share"};
  static_assert(std::size(titles) == sectionCount);
  out += style.bold(titles[section]) + '\n';
}

void appendSides(Sink& out, const Result& result, std::size_t width, const Style& style) {
  appendSide(out, "old  ", result.before, width, style);
  appendSide(out, "new  ", result.after, width, style);
}

void diffSummary(Sink& out, const Result& result, const SectionCounts& counts, std::size_t width, const Style& style) {
  constexpr std::size_t screen = 22; // of 24 lines, with two for the prompt
  constexpr std::size_t others = 3;  // the two sides, and what is left out
  SectionCounts wanted = counts;
  std::size_t all = 0;
  std::size_t lines = 0;
  for (const SectionCount& count : counts) {
    all += count.all;
    lines += count.all == 0 ? 0 : count.all + 1;
  }
  if (all == 0) {
    return;
  }
  const bool everything = lines <= screen - others;
  if (everything) {
    std::for_each(wanted.begin(), wanted.end(), [](SectionCount& count) { count.notable = count.all; });
  }
  const auto given = share(wanted, screen - others);
  appendSides(out, result, width, style);
  std::size_t shown = 0;
  for (std::size_t section = 0; section < sectionCount; ++section) {
    if (given[section] == 0) {
      continue;
    }
    std::vector<DiffLine> rows;
    for (const Difference& difference : result.differences) {
      if (static_cast<std::size_t>(difference.section) == section && rows.size() < given[section] &&
          (everything || difference.notable)) {
        rows.push_back(lineOf(difference, style));
      }
    }
    if (static_cast<Section>(section) == Section::values && rows.size() < given[section]) {
      result.eachReportValue([&](std::string_view path, const formats::Value* before, const formats::Value* after) {
        if (rows.size() < given[section] && (everything || isNotable(before, after))) {
          rows.push_back(lineOf(path, before, after, style));
        }
      });
    }
    appendTitle(out, section, style);
    appendLines(out, rows, width);
    shown += rows.size();
  }
  if (shown < all) {
    std::size_t notable = 0;
    for (const SectionCount& count : counts) {
      notable += count.notable;
    }
    const std::size_t more = std::max(notable, shown) - shown;
    const std::size_t minor = all - std::max(notable, shown);
    const std::string smaller = minor == 0 ? "" : fmt::format("{}{} smaller", more == 0 ? "" : ", ", minor);
    const std::string left = more == 0 ? "" : fmt::format("{} more", more);
    out += style.dim(cut(fmt::format("… {}{}; --all shows every line", left, smaller), width)) + '\n';
  }
}

} // namespace vel::stat
