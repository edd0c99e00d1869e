// Differences as lines of text.
#include <velstat/diff/result.h>
#include <velstat/text/escape.h>
#include <velstat/text/tree.h>

#include <fmt/format.h>

#include <algorithm>

namespace vel::stat {

namespace {

constexpr std::size_t shortText = 60; // two texts of this length fit in one line

// The first difference of two long runs of bytes; a leaf's text only shows their beginning.
std::string dataText(const formats::Bytes& before, const formats::Bytes& after) {
  const auto parting = std::mismatch(before.begin(), before.end(), after.begin(), after.end()).first;
  return fmt::format("<{} bytes> → <{} bytes>, the same up to byte {}", before.size(), after.size(),
                     parting - before.begin());
}

// With its type if the text is ambiguous: the number 1 and the text "1".
void appendTyped(Sink& out, const formats::Value& value, bool typed) {
  if (typed) {
    out += value.typeName();
    out += ' ';
  }
  appendLeaf(out, value);
}

bool isShort(const formats::Value& value, bool typed) {
  Measure length(shortText);
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

std::string nameOf(const RecordPair& pair) {
  const bool hasHeader = pair.before ? pair.before->hasHeader : pair.after->hasHeader;
  const std::string title = !pair.title.empty() ? pair.title : hasHeader ? "(no title)" : "property list";
  return escape(title) + (pair.occurrence == 1 ? "" : fmt::format(" ({})", pair.occurrence));
}

} // namespace

void diffText(Sink& out, const RecordPair& pair, const ValueFile* before, const ValueFile* after, const Style& style) {
  const std::string name = nameOf(pair);
  if (!pair.after) {
    out += style.red()("- " + name) + style.dim("  " + escape(pair.before->name)) + '\n';
    return;
  }
  if (!pair.before) {
    out += style.green()("+ " + name) + style.dim("  " + escape(pair.after->name)) + '\n';
    return;
  }
  out +=
      style.bold("~ " + name) + style.dim("  " + escape(pair.before->name) + " → " + escape(pair.after->name)) + '\n';
  for (const HeadDifference& field : compareHeads(*before, *after)) {
    out += fmt::format("  ~ ({}): {} → {}\n", field.field, style.red()(escape(field.before)),
                       style.green()(escape(field.after)));
  }
  compareValues(before->value, after->value, [&](auto... difference) { appendDifference(out, difference..., style); });
}

} // namespace vel::stat
