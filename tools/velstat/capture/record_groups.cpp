// Groups records of one kind, and folds what the records of a group have in common.
#include "velstat/capture/record_groups.h"

#include <velstat/capture/profile_summary.h>
#include <velstat/capture/sensor_table.h>
#include <velstat/text/escape.h>
#include <velstat/text/number_text.h>
#include <velstat/text/table.h>
#include <velstat/text/tree.h>

#include <fmt/format.h>

#include <algorithm>
#include <optional>
#include <utility>

namespace vel::stat {

namespace {

using formats::Dictionary;
using formats::Value;

constexpr std::size_t shownLeaves = 12; // a dictionary with more leaves is cut
constexpr std::size_t keptLeaves = 6;   // to this many
constexpr std::size_t shownLines = 3;   // of an array
constexpr std::size_t shownKinds = 3;   // of profile records
constexpr std::size_t widestLine = 110;

std::string moreText(std::size_t count, std::string_view what) {
  return fmt::format("… {} more{} (--all)", count, what);
}

bool isFlat(const Dictionary& dictionary) {
  return !dictionary.empty() &&
         std::all_of(dictionary.begin(), dictionary.end(), [](const auto& member) { return isLeaf(member.value); });
}

bool haveSameKeys(const Dictionary& a, const Dictionary& b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [](const auto& left, const auto& right) { return left.key == right.key; });
}

// How many consecutive members, from this place on, are flat dictionaries with the same keys.
std::size_t tableLength(const Dictionary& dictionary, std::size_t begin) {
  std::size_t end = begin;
  const Dictionary* const first = dictionary[begin].value.as<Dictionary>();
  while (first != nullptr && isFlat(*first) && end < dictionary.size()) {
    const Dictionary* const next = dictionary[end].value.as<Dictionary>();
    if (next == nullptr || !isFlat(*next) || !haveSameKeys(*first, *next)) {
      break;
    }
    ++end;
  }
  return end - begin;
}

void appendMemberTable(Sink& out, std::span<const formats::Member> members, std::size_t indent, const Style& style) {
  Cells cells(1);
  cells[0].emplace_back();
  for (const formats::Member& column : *members.front().value.as<Dictionary>()) {
    cells[0].push_back(cell(escape(column.key)));
  }
  for (const formats::Member& member : members) {
    cells.push_back({cell(escape(member.key))});
    for (const formats::Member& column : *member.value.as<Dictionary>()) {
      cells.back().push_back(cell(leafText(column.value)));
    }
  }
  // One line for each dictionary, or one column if the lines do not fit.
  if (const std::size_t width = style.width(); !fits(cells, width - std::min(width, indent))) {
    cells = transposed(cells);
  }
  appendCells(out, std::move(cells), indent, style);
}

// Appends a tree, but shows neighbouring dictionaries with the same keys as a table, and only the first of many leaves.
void appendFolded(Sink& out, const Dictionary& dictionary, std::size_t indent, const Style& style) {
  Dictionary leaves;
  for (const formats::Member& member : dictionary) {
    if (isLeaf(member.value)) {
      leaves.push_back(member);
    }
  }
  const std::size_t all = leaves.size();
  if (all > shownLeaves) {
    leaves.resize(keptLeaves);
  }
  if (!leaves.empty()) {
    appendTree(out, Value{leaves}, indent, style);
  }
  if (leaves.size() < all) {
    out += std::string(indent, ' ') + style.dim(moreText(all - leaves.size(), "")) + '\n';
  }
  for (std::size_t i = 0; i < dictionary.size();) {
    const formats::Member& member = dictionary[i];
    if (const std::size_t length = tableLength(dictionary, i); length > 1) {
      appendMemberTable(out, std::span(dictionary).subspan(i, length), indent, style);
      i += length;
      continue;
    }
    if (!isLeaf(member.value)) {
      out += std::string(indent, ' ') + escapeKey(member.key) + '\n';
      if (const auto* inner = member.value.as<Dictionary>()) {
        appendFolded(out, *inner, indent + 2, style);
      } else {
        appendTree(out, member.value, indent + 2, style);
      }
    }
    ++i;
  }
}

struct Group {
  std::string pattern;
  std::vector<const host::CapturedRecord*> records;
};

// A title with "#" in place of each number.
std::string patternOf(std::string_view title) {
  std::string pattern;
  for (const char c : title) {
    const bool digit = c >= '0' && c <= '9';
    if (!digit || !pattern.ends_with('#')) {
      pattern += digit ? '#' : c;
    }
  }
  return pattern;
}

std::vector<Group> group(const std::vector<host::CapturedRecord>& records) {
  std::vector<Group> groups;
  for (const host::CapturedRecord& captured : records) {
    const std::string pattern = patternOf(captured.record.title) + captured.record.value.typeName();
    auto found =
        std::find_if(groups.begin(), groups.end(), [&](const Group& known) { return known.pattern == pattern; });
    if (found == groups.end()) {
      found = groups.insert(groups.end(), {pattern, {}});
    }
    found->records.push_back(&captured);
  }
  return groups;
}

// "state handlers 3 to 50", or "12 of state handlers 3 to 50" if not all of these are in the group.
std::string handlersText(const Group& group) {
  const std::size_t first = group.records.front()->handler;
  const std::size_t last = group.records.back()->handler;
  if (group.records.size() == 1) {
    return fmt::format("state handler {}", first);
  }
  if (last - first + 1 == group.records.size()) {
    return fmt::format("state handlers {} to {}", first, last);
  }
  return fmt::format("{} of state handlers {} to {}", group.records.size(), first, last);
}

void appendLines(Sink& out, const Group& group, const Style& style) {
  std::vector<std::string_view> lines;
  for (const host::CapturedRecord* captured : group.records) {
    for (const Value& item : *captured->record.value.as<formats::Array>()) {
      if (const auto* line = item.as<std::string>()) {
        lines.push_back(*line);
      }
    }
  }
  if (lines.empty()) {
    out += "    no lines\n";
    return;
  }
  out += "    " + style.dim("categories") + "  " + cut(escape(categoriesText(lines)), widestLine) + '\n';
  out += "    " + style.dim("commonest ") + "  " + escape(kindsText(lines, shownKinds)) + '\n';
  for (std::size_t i = 0; i < std::min(lines.size(), shownLines); ++i) {
    out += "    " + cut(escape(readProfileLine(lines[i]).brief()), widestLine) + '\n';
  }
  if (lines.size() > shownLines) {
    out += "    " + style.dim(moreText(lines.size() - shownLines, "")) + '\n';
  }
}

std::size_t lineCount(const Group& group) {
  std::size_t lines = 0;
  for (const host::CapturedRecord* captured : group.records) {
    lines += captured->record.value.as<formats::Array>()->size();
  }
  return lines;
}

} // namespace

void appendRecords(Sink& out, const std::vector<host::CapturedRecord>& records, const Style& style) {
  for (const host::CapturedRecord& captured : records) {
    out += "\n  " + style.bold(escape(captured.record.title)) +
           style.dim(
               fmt::format("  state handler {}, {}", captured.handler, countText(captured.record.dataSize, "byte"))) +
           '\n';
    appendTree(out, captured.record.value, 4, style);
  }
}

void appendRecordGroups(Sink& out, const std::vector<host::CapturedRecord>& records, const Style& style) {
  for (const Group& group : group(records)) {
    const formats::StateRecord& first = group.records.front()->record;
    const bool isArray = first.value.as<formats::Array>() != nullptr;
    std::string note = handlersText(group);
    if (isArray) {
      note += fmt::format(", {}", countText(lineCount(group), "line"));
    }
    out += "\n  " + style.bold(escape(first.title));
    out += group.records.size() == 1 ? std::string() : fmt::format(" and {} more like it", group.records.size() - 1);
    out += style.dim("  " + note) + '\n';
    const auto* dictionary = first.value.as<Dictionary>();
    if (isArray) {
      appendLines(out, group, style);
    } else if (group.records.size() == 1 || !appendSensors(out, group.records, style)) {
      dictionary == nullptr ? appendTree(out, first.value, 4, style) : appendFolded(out, *dictionary, 4, style);
      if (group.records.size() > 1) {
        out += "    " + style.dim(moreText(group.records.size() - 1, " like it")) + '\n';
      }
    }
  }
}

} // namespace vel::stat
