// A part of an input as a tree or JSON, whole or only the paths that match.
#include "velstat/show/result.h"

#include <velstat/text/escape.h>
#include <velstat/text/number_text.h>
#include <velstat/text/tree.h>
#include <velstat/text/wrap.h>

#include <fmt/format.h>

namespace vel::stat {

namespace {

void appendHeader(Sink& out, const ShownPart& part, const Style& style) {
  if (part.report == nullptr) {
    out += style.bold(escape(part.name)) + style.dim("  capture") + '\n';
    return;
  }
  const sources::Report& report = *part.report;
  const std::string size = countText(report.size, "byte");
  if (!report.hasHeader) {
    out += style.bold(escape(report.file)) + style.dim("  property list, " + size) + '\n';
    return;
  }
  std::string about = fmt::format("  {}, state record, {}", escape(report.file), size);
  if (!report.decoderLibrary.empty() || !report.decoderType.empty()) {
    about += fmt::format(", decoder {} {}", escape(report.decoderLibrary), escape(report.decoderType));
  }
  out += style.bold(report.title.empty() ? "(no title)" : escape(report.title)) + style.dim(about) + '\n';
}

} // namespace

bool showText(Sink& plain, const ShownPart& part, std::span<const PathPattern> patterns, const Style& style) {
  WrappedLines out(plain, style.width());
  constexpr std::size_t indent = 2;
  if (patterns.empty()) {
    appendHeader(out, part, style);
    appendTree(out, part.value, indent, style);
    return true;
  }
  KeyColumn paths;
  bool any = false;
  const auto measure = [&](std::string_view path, const formats::Value& value) {
    any = true;
    if (isLeaf(value)) {
      paths.makeRoomFor(path);
    }
  };
  findPaths(part.value, patterns, measure, part.key);
  if (!any) {
    return false;
  }
  appendHeader(out, part, style);
  const auto append = [&](std::string_view path, const formats::Value& value) {
    paths.append(out, path, value, indent, style);
  };
  findPaths(part.value, patterns, append, part.key);
  return true;
}

void showMatches(JsonWriter& json, const ShownPart& part, std::span<const PathPattern> patterns) {
  const auto write = [&](std::string_view path, const formats::Value& value) {
    json.beginObject();
    json.member("path", path);
    json.key("value");
    json.value(value);
    json.endObject();
  };
  findPaths(part.value, patterns, write, part.key);
}

void showJson(JsonWriter& json, const ShownPart& part, std::span<const PathPattern> patterns) {
  const sources::Report& report = *part.report;
  json.beginObject();
  json.member("file", report.file);
  json.member("kind", report.hasHeader ? "state record" : "property list");
  json.member("size", report.size);
  if (report.hasHeader) {
    json.member("title", report.title);
    json.member("decoder library", report.decoderLibrary);
    json.member("decoder type", report.decoderType);
  }
  if (patterns.empty()) {
    json.key("value");
    json.value(part.value);
  } else {
    json.key("matches");
    json.beginArray();
    showMatches(json, part, patterns);
    json.endArray();
  }
  json.endObject();
}

} // namespace vel::stat
