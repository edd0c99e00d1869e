// Lays out nested dictionaries and arrays, keys aligned.
#include "velstat/text/tree.h"

#include <velstat/text/escape.h>
#include <velstat/text/number_text.h>

#include <fmt/format.h>

#include <algorithm>
#include <string_view>

namespace vel::stat {

namespace {

constexpr std::size_t shownBytes = 32;

struct AppendLeaf {
  Sink& out;

  void operator()(const formats::Dictionary&) const { out += "(empty dictionary)"; }
  void operator()(const formats::Array&) const { out += "(empty array)"; }
  // In quotes if its beginning or end would otherwise be invisible or ambiguous.
  void operator()(const std::string& text) const {
    const bool endsShow = !text.empty() && text.front() != ' ' && text.back() != ' ' && text.front() != '"';
    out += endsShow ? "" : "\"";
    appendEscaped(out, text);
    out += endsShow ? "" : "\"";
  }
  void operator()(std::int64_t number) const { out += fmt::format_int(number).c_str(); }
  void operator()(double number) const { out += realText(number); }
  void operator()(bool flag) const { out += flag ? "true" : "false"; }
  void operator()(const formats::Bytes& bytes) const {
    out += fmt::format("<{} bytes", bytes.size());
    for (std::size_t i = 0; i < std::min(bytes.size(), shownBytes); ++i) {
      out += fmt::format("{}{:02x}", i == 0 ? ": " : " ", std::to_integer<unsigned>(bytes[i]));
    }
    out += bytes.size() > shownBytes ? " ...>" : ">";
  }
};

// Calls `take` with the key and the value of each member or item.
template <class Take>
void eachRow(const formats::Value& value, Take take) {
  if (const auto* members = value.as<formats::Dictionary>()) {
    for (const formats::Member& member : *members) {
      take(member.key, member.value);
    }
  } else if (const auto* items = value.as<formats::Array>()) {
    for (std::size_t i = 0; i < items->size(); ++i) {
      take(std::to_string(i), (*items)[i]);
    }
  }
}

} // namespace

bool isLeaf(const formats::Value& value) {
  const auto* dictionary = value.as<formats::Dictionary>();
  const auto* array = value.as<formats::Array>();
  return (dictionary == nullptr || dictionary->empty()) && (array == nullptr || array->empty());
}

void appendLeaf(Sink& out, const formats::Value& leaf) {
  std::visit(AppendLeaf{out}, leaf.content);
}

std::string leafText(const formats::Value& leaf) {
  StringSink out;
  appendLeaf(out, leaf);
  return out.take();
}

void KeyColumn::makeRoomFor(std::string_view key) {
  width_ = std::max(width_, columns(escapeKey(key)));
}

void KeyColumn::append(Sink& out, std::string_view key, const formats::Value& value, std::size_t indent,
                       const Style& style) const {
  const std::string shown = escapeKey(key);
  out.blanks(indent);
  if (!isLeaf(value)) {
    out += shown;
    out += '\n';
    appendTree(out, value, indent + 2, style);
    return;
  }
  out += style.dim(shown);
  // On a terminal, values get at least half of the line. After a key that is longer than its column, the value follows
  // directly.
  const std::size_t half = style.width() / 2;
  const std::size_t column = style.width() == 0 ? width_ : std::min(width_, half - std::min(half, indent + 2));
  out.blanks(column - std::min(column, columns(shown)) + 2);
  appendLeaf(out, value);
  out += '\n';
}

void appendTree(Sink& out, const formats::Value& value, std::size_t indent, const Style& style) {
  if (isLeaf(value)) {
    out.blanks(indent);
    appendLeaf(out, value);
    out += '\n';
    return;
  }
  KeyColumn keys;
  eachRow(value, [&](std::string_view key, const formats::Value& member) {
    if (isLeaf(member)) {
      keys.makeRoomFor(key);
    }
  });
  eachRow(value,
          [&](std::string_view key, const formats::Value& member) { keys.append(out, key, member, indent, style); });
}

} // namespace vel::stat
