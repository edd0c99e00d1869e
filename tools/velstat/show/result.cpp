// A file as a tree or JSON, whole or only the paths that match.
#include "velstat/show/result.h"

#include <velstat/text/escape.h>
#include <velstat/text/number_text.h>
#include <velstat/text/tree.h>

#include <fmt/format.h>

namespace vel::stat {

namespace {

void appendHeader(Sink& out, const ValueFile& file, const Style& style) {
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

} // namespace

void showText(Sink& out, const ValueFile& file, std::span<const PathPattern> patterns, const Style& style) {
  constexpr std::size_t indent = 2;
  if (patterns.empty()) {
    appendHeader(out, file, style);
    appendTree(out, file.value, indent, style);
    return;
  }
  KeyColumn paths;
  bool any = false;
  findPaths(file.value, patterns, [&](std::string_view path, const formats::Value& value) {
    any = true;
    if (isLeaf(value)) {
      paths.makeRoomFor(path);
    }
  });
  if (!any) {
    return;
  }
  appendHeader(out, file, style);
  findPaths(file.value, patterns,
            [&](std::string_view path, const formats::Value& value) { paths.append(out, path, value, indent, style); });
}

void showJson(JsonWriter& json, const ValueFile& file, std::span<const PathPattern> patterns) {
  json.beginObject();
  json.member("file", file.name);
  json.member("kind", file.record ? "state record" : "property list");
  json.member("size", file.size);
  if (file.record) {
    json.member("title", file.record->title);
    json.member("decoder library", file.record->decoderLibrary);
    json.member("decoder type", file.record->decoderType);
  }
  if (patterns.empty()) {
    json.key("value");
    json.value(file.value);
  } else {
    json.key("matches");
    json.beginArray();
    findPaths(file.value, patterns, [&](std::string_view path, const formats::Value& value) {
      json.beginObject();
      json.member("path", path);
      json.key("value");
      json.value(value);
      json.endObject();
    });
    json.endArray();
  }
  json.endObject();
}

} // namespace vel::stat
