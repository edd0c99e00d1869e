// Differences as lines of text.
#include <velstat/diff/result.h>
#include <velstat/text/escape.h>
#include <velstat/text/tree.h>

#include <fmt/format.h>

#include <algorithm>

namespace vel::stat {

namespace {

constexpr std::size_t shortText = 60; // two texts of this length stand in one line

// Where two long runs of bytes part; the text of a leaf shows only how they begin.
std::string dataText(const formats::Bytes& before, const formats::Bytes& after) {
  const auto parting = std::mismatch(before.begin(), before.end(), after.begin(), after.end()).first;
  return fmt::format("<{} bytes> → <{} bytes>, the same up to byte {}", before.size(), after.size(),
                     parting - before.begin());
}

// With its type where the text alone does not tell the two apart: the number 1 from the text "1".
std::string typedText(const formats::Value& value, bool typed) {
  return typed ? fmt::format("{} {}", value.typeName(), leafText(value)) : leafText(value);
}

// The line goes on behind the path.
std::string changeText(const formats::Value& before, const formats::Value& after, const Style& style) {
  const auto* data = before.as<formats::Bytes>();
  const auto* otherData = after.as<formats::Bytes>();
  if (data != nullptr && otherData != nullptr) {
    return ": " + dataText(*data, *otherData) + '\n';
  }
  const bool typed = before.content.index() != after.content.index();
  const std::string one = typedText(before, typed);
  const std::string other = typedText(after, typed);
  if (one.size() <= shortText && other.size() <= shortText) {
    return ": " + style.red(one) + " → " + style.green(other) + '\n';
  }
  return "\n      " + style.red("- " + one) + "\n      " + style.green("+ " + other) + '\n';
}

std::string pathText(const std::string& path) {
  return path.empty() ? "(whole value)" : escape(path);
}

void appendOneSided(std::string& out, const std::string& marked, const formats::Value& value, const Style& style) {
  if (isLeaf(value)) {
    out += "  " + marked + ": " + leafText(value) + '\n';
    return;
  }
  out += "  " + marked + '\n';
  appendTree(out, value, 6, style);
}

void append(std::string& out, const Difference& difference, const Style& style) {
  const std::string path = pathText(difference.path);
  const bool both = difference.before != nullptr && difference.after != nullptr;
  if (both && isLeaf(*difference.before) && isLeaf(*difference.after)) {
    out += "  ~ " + path + changeText(*difference.before, *difference.after, style);
    return;
  }
  if (difference.before != nullptr) {
    appendOneSided(out, style.red("- " + path), *difference.before, style);
  }
  if (difference.after != nullptr) {
    appendOneSided(out, style.green("+ " + path), *difference.after, style);
  }
}

std::string nameOf(const RecordDifference& record) {
  const ValueFile* const file = record.before != nullptr ? record.before : record.after;
  const std::string title = !record.title.empty() ? record.title : file->record ? "(no title)" : "property list";
  return escape(title) + (record.occurrence == 1 ? "" : fmt::format(" ({})", record.occurrence));
}

void append(std::string& out, const RecordDifference& record, const Style& style) {
  const std::string name = nameOf(record);
  if (record.after == nullptr) {
    out += style.red("- " + name) + style.dim("  " + escape(record.before->name)) + '\n';
    return;
  }
  if (record.before == nullptr) {
    out += style.green("+ " + name) + style.dim("  " + escape(record.after->name)) + '\n';
    return;
  }
  out += style.bold("~ " + name) + style.dim("  " + escape(record.before->name) + " → " + escape(record.after->name)) +
         '\n';
  for (const HeadDifference& field : record.head) {
    out += fmt::format("  ~ ({}): {} → {}\n", field.field, style.red(escape(field.before)),
                       style.green(escape(field.after)));
  }
  for (const Difference& difference : record.values) {
    append(out, difference, style);
  }
}

} // namespace

std::string diffText(const std::vector<RecordDifference>& differences, const Style& style) {
  std::string out;
  for (const RecordDifference& record : differences) {
    append(out, record, style);
  }
  return out;
}

} // namespace vel::stat
