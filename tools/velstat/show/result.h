// The result of `velstat show` for a part of an input, as text and as JSON.
#pragma once

#include <sources/capture.h>
#include <velstat/text/json_writer.h>
#include <velstat/text/output.h>
#include <velstat/text/sink.h>
#include <velstat/text/value_path.h>

#include <optional>
#include <span>
#include <string_view>

namespace vel::stat {

// A report, or everything in a capture except its reports. [borrowed]
struct ShownPart {
  std::string_view name; // of the input
  const formats::Value& value;
  const sources::Report* report = nullptr; // that the value belongs to; null if it is not a report's
  std::optional<std::string_view> key;     // the first key of all paths
};

// With patterns, shows only the matches; if there are none, shows nothing and returns false.
bool showText(Sink& out, const ShownPart& part, std::span<const PathPattern> patterns, const Style& style);
// A report as an object.
void showJson(JsonWriter& json, const ShownPart& part, std::span<const PathPattern> patterns);
// The matches as objects in an array that the caller opens.
void showMatches(JsonWriter& json, const ShownPart& part, std::span<const PathPattern> patterns);

} // namespace vel::stat
