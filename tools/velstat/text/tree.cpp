// Lays out nested dictionaries and arrays, keys aligned.
#include "velstat/text/tree.h"

#include <velstat/text/escape.h>
#include <velstat/text/number_text.h>

#include <fmt/format.h>

#include <algorithm>
#include <iterator>

namespace vel::stat {

namespace {

constexpr std::size_t shownBytes = 32;

struct LeafText {
  std::string operator()(const formats::Dictionary&) const { return "(empty dictionary)"; }
  std::string operator()(const formats::Array&) const { return "(empty array)"; }
  // In quotes where the ends of the text would not be seen.
  std::string operator()(const std::string& text) const {
    const bool endsShow = !text.empty() && text.front() != ' ' && text.back() != ' ' && text.front() != '"';
    return endsShow ? escape(text) : '"' + escape(text) + '"';
  }
  std::string operator()(std::int64_t number) const { return fmt::format("{}", number); }
  std::string operator()(double number) const { return realText(number); }
  std::string operator()(bool flag) const { return flag ? "true" : "false"; }
  std::string operator()(const formats::Bytes& bytes) const {
    std::string text = fmt::format("<{} bytes", bytes.size());
    for (std::size_t i = 0; i < std::min(bytes.size(), shownBytes); ++i) {
      fmt::format_to(std::back_inserter(text), "{}{:02x}", i == 0 ? ": " : " ", std::to_integer<unsigned>(bytes[i]));
    }
    return text + (bytes.size() > shownBytes ? " ...>" : ">");
  }
};

struct Row {
  std::string key;
  const formats::Value* value;
};

std::vector<Row> rowsOf(const formats::Value& value) {
  std::vector<Row> rows;
  if (const auto* members = value.as<formats::Dictionary>()) {
    for (const formats::Member& member : *members) {
      rows.push_back({escape(member.key), &member.value});
    }
  } else if (const auto* items = value.as<formats::Array>()) {
    for (const formats::Value& item : *items) {
      rows.push_back({std::to_string(rows.size()), &item});
    }
  }
  return rows;
}

} // namespace

bool isLeaf(const formats::Value& value) {
  const auto* dictionary = value.as<formats::Dictionary>();
  const auto* array = value.as<formats::Array>();
  return (dictionary == nullptr || dictionary->empty()) && (array == nullptr || array->empty());
}

std::string leafText(const formats::Value& leaf) {
  return std::visit(LeafText(), leaf.content);
}

void appendTree(std::string& out, const formats::Value& value, std::size_t indent, const Style& style) {
  const std::string margin(indent, ' ');
  if (isLeaf(value)) {
    out += margin + leafText(value) + '\n';
    return;
  }
  const std::vector<Row> rows = rowsOf(value);
  std::size_t width = 0;
  for (const Row& row : rows) {
    width = std::max(width, isLeaf(*row.value) ? columns(row.key) : 0);
  }
  for (const Row& row : rows) {
    out += margin;
    if (isLeaf(*row.value)) {
      out += style.dim(row.key) + std::string(width - columns(row.key) + 2, ' ') + leafText(*row.value) + '\n';
    } else {
      out += row.key + '\n';
      appendTree(out, *row.value, indent + 2, style);
    }
  }
}

} // namespace vel::stat
