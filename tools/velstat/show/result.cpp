// A file as a tree or JSON, whole or only the paths that match.
#include "velstat/show/result.h"

#include <velstat/text/escape.h>
#include <velstat/text/number_text.h>
#include <velstat/text/tree.h>

#include <fmt/format.h>

namespace vel::stat {

namespace {

void appendHeader(std::string& out, const ValueFile& file, const Style& style) {
  const std::string size = countText(file.size, "byte");
  if (!file.record) {
    out += style.bold(escape(file.name)) + style.dim("  property list, " + size) + '\n';
    return;
  }
  std::string about = fmt::format("  {}, state record, {}", escape(file.name), size);
  if (!file.record->decoderLibrary.empty() || !file.record->decoderType.empty()) {
    about += fmt::format(", decoder {} {}", escape(file.record->decoderLibrary), escape(file.record->decoderType));
  }
  out += style.bold(file.record->title.empty() ? "(no title)" : escape(file.record->title)) + style.dim(about) + '\n';
}

void appendMatches(std::string& out, const std::vector<PathMatch>& matches, const Style& style) {
  formats::Dictionary rows; // so that the values stand in one column
  rows.reserve(matches.size());
  for (const PathMatch& match : matches) {
    rows.push_back({match.path, *match.value});
  }
  appendTree(out, {std::move(rows)}, 2, style);
}

} // namespace

std::string showText(const ShownFile& shown, bool searched, const Style& style) {
  std::string out;
  if (searched && shown.matches.empty()) {
    return out;
  }
  appendHeader(out, shown.file, style);
  if (searched) {
    appendMatches(out, shown.matches, style);
  } else {
    appendTree(out, shown.file.value, 2, style);
  }
  return out;
}

void showJson(JsonWriter& json, const ShownFile& shown, bool searched) {
  const ValueFile& file = shown.file;
  json.beginObject();
  json.member("file", file.name);
  json.member("kind", file.record ? "state record" : "property list");
  json.member("size", file.size);
  if (file.record) {
    json.member("title", file.record->title);
    json.member("decoder library", file.record->decoderLibrary);
    json.member("decoder type", file.record->decoderType);
  }
  if (searched) {
    json.key("matches");
    json.beginArray();
    for (const PathMatch& match : shown.matches) {
      json.beginObject();
      json.member("path", match.path);
      json.key("value");
      json.value(*match.value);
      json.endObject();
    }
    json.endArray();
  } else {
    json.key("value");
    json.value(file.value);
  }
  json.endObject();
}

} // namespace vel::stat
