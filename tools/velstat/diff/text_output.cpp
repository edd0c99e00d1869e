// Every difference as lines of text.
#include <velstat/diff/line.h>
#include <velstat/diff/result.h>
#include <velstat/text/escape.h>
#include <velstat/text/tree.h>
#include <velstat/text/wrap.h>

#include <fmt/format.h>

#include <algorithm>

namespace vel::stat {

namespace {

constexpr std::size_t longestBeside = 60; // two texts of this length fit in one line
constexpr std::size_t widestName = 200;

// With its type if the text would be ambiguous, as for the number 1 and the text "1".
void appendTyped(Sink& out, const formats::Value& value, bool typed) {
  if (typed) {
    out += value.typeName();
    out += ' ';
  }
  appendLeaf(out, value);
}

bool isShort(const formats::Value& value, bool typed) {
  Measure length(longestBeside);
  try {
    appendTyped(length, value, typed);
  } catch (const TooLong&) {
    return false;
  }
  return true;
}

void appendMarked(Sink& out, const Mark& mark, std::string_view before, const formats::Value& value, bool typed) {
  out += mark.on;
  out += before;
  appendTyped(out, value, typed);
  out += mark.off;
}

// The line continues after the path.
void appendChange(Sink& out, const formats::Value& before, const formats::Value& after, const Style& style) {
  const auto* data = before.as<formats::Bytes>();
  const auto* otherData = after.as<formats::Bytes>();
  if (data != nullptr && otherData != nullptr) {
    out += ": " + dataText(*data, *otherData) + '\n';
    return;
  }
  const bool typed = before.content.index() != after.content.index();
  const bool oneLine = isShort(before, typed) && isShort(after, typed);
  out += oneLine ? ": " : "\n      ";
  appendMarked(out, style.red(), oneLine ? "" : "- ", before, typed);
  out += oneLine ? " → " : "\n      ";
  appendMarked(out, style.green(), oneLine ? "" : "+ ", after, typed);
  out += '\n';
}

void appendOneSided(Sink& out, const std::string& marked, const formats::Value& value, const Style& style) {
  out += "  " + marked;
  if (isLeaf(value)) {
    out += ": ";
    appendLeaf(out, value);
    out += '\n';
    return;
  }
  out += '\n';
  appendTree(out, value, 6, style);
}

void appendDifference(Sink& out, std::string_view exactPath, const formats::Value* before, const formats::Value* after,
                      const Style& style) {
  const std::string path = exactPath.empty() ? "(whole value)" : escapeKey(exactPath);
  if (before != nullptr && after != nullptr && isLeaf(*before) && isLeaf(*after)) {
    out += "  ~ " + path;
    appendChange(out, *before, *after, style);
    return;
  }
  if (before != nullptr) {
    appendOneSided(out, style.red()("- " + path), *before, style);
  }
  if (after != nullptr) {
    appendOneSided(out, style.green()("+ " + path), *after, style);
  }
}

} // namespace

SectionCounts countsOf(const Result& result) {
  SectionCounts counts;
  for (const Difference& difference : result.differences) {
    SectionCount& count = counts[static_cast<std::size_t>(difference.section)];
    ++count.all;
    count.notable += difference.notable ? 1 : 0;
  }
  SectionCount& values = counts[static_cast<std::size_t>(Section::values)];
  result.eachReportValue([&](std::string_view, const formats::Value* before, const formats::Value* after) {
    ++values.all;
    values.notable += isNotable(before, after) ? 1 : 0;
  });
  return counts;
}

void diffText(Sink& plain, const Result& result, const SectionCounts& counts, const Style& style) {
  WrappedLines out(plain, style.width());
  if (std::all_of(counts.begin(), counts.end(), [](const SectionCount& count) { return count.all == 0; })) {
    return;
  }
  appendSides(out, result, widestName, style);
  for (std::size_t section = 0; section < sectionCount; ++section) {
    if (counts[section].all == 0) {
      continue;
    }
    appendTitle(out, section, style);
    for (const Difference& difference : result.differences) {
      if (static_cast<std::size_t>(difference.section) == section) {
        const DiffLine line = lineOf(difference, style);
        out += "  " + line.mark(line.sign + escapeKey(difference.path)) + ": " + line.text + '\n';
      }
    }
    if (static_cast<Section>(section) == Section::values) {
      result.eachReportValue([&](auto... difference) { appendDifference(out, difference..., style); });
    }
  }
}

} // namespace vel::stat
