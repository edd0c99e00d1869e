#include <escape.h>
#include <tree.h>

#include <fmt/format.h>

#include <algorithm>
#include <iterator>

namespace vel::stat {

namespace {

constexpr std::size_t shownBytes = 32;

bool isLeaf(const host::Value& value) {
  const auto* dictionary = value.as<host::Dictionary>();
  const auto* array = value.as<host::Array>();
  return (dictionary == nullptr || dictionary->empty()) && (array == nullptr || array->empty());
}

struct LeafText {
  std::string operator()(const host::Dictionary&) const { return "(empty dictionary)"; }
  std::string operator()(const host::Array&) const { return "(empty array)"; }
  std::string operator()(const std::string& text) const { return escape(text); }
  std::string operator()(std::int64_t number) const { return fmt::format("{}", number); }
  std::string operator()(double number) const { return fmt::format("{}", number); }
  std::string operator()(bool flag) const { return flag ? "true" : "false"; }
  std::string operator()(const host::Bytes& bytes) const {
    std::string text = fmt::format("<{} bytes", bytes.size());
    for (std::size_t i = 0; i < std::min(bytes.size(), shownBytes); ++i) {
      fmt::format_to(std::back_inserter(text), "{}{:02x}", i == 0 ? ": " : " ", std::to_integer<unsigned>(bytes[i]));
    }
    return text + (bytes.size() > shownBytes ? " ...>" : ">");
  }
};

std::string leafText(const host::Value& value) {
  return std::visit(LeafText(), value.content);
}

// Characters, as far as a terminal shows each in one column.
std::size_t columns(std::string_view text) {
  return static_cast<std::size_t>(
      std::count_if(text.begin(), text.end(), [](char c) { return (static_cast<unsigned char>(c) & 0xC0) != 0x80; }));
}

struct Row {
  std::string key;
  const host::Value* value;
};

std::vector<Row> rowsOf(const host::Value& value) {
  std::vector<Row> rows;
  if (const auto* members = value.as<host::Dictionary>()) {
    for (const host::Member& member : *members) {
      rows.push_back({escape(member.key), &member.value});
    }
  } else if (const auto* items = value.as<host::Array>()) {
    for (const host::Value& item : *items) {
      rows.push_back({std::to_string(rows.size()), &item});
    }
  }
  return rows;
}

} // namespace

void appendTree(std::string& out, const host::Value& value, std::size_t indent, const Style& style) {
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
