// What `velstat show` has read and found, as text for people and as JSON, file by file.
#pragma once

#include <velstat/text/json_writer.h>
#include <velstat/text/output.h>
#include <velstat/text/sink.h>
#include <velstat/text/value_file.h>
#include <velstat/text/value_path.h>

#include <span>

namespace vel::stat {

// With patterns only what they match is shown; in text, nothing at all of a file without a match.
void showText(Sink& out, const ValueFile& file, std::span<const PathPattern> patterns, const Style& style);
// An object.
void showJson(JsonWriter& json, const ValueFile& file, std::span<const PathPattern> patterns);

} // namespace vel::stat
