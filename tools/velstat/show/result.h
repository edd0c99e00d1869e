// The result of `velstat show` for one file, as text and as JSON.
#pragma once

#include <velstat/text/json_writer.h>
#include <velstat/text/output.h>
#include <velstat/text/sink.h>
#include <velstat/text/value_file.h>
#include <velstat/text/value_path.h>

#include <span>

namespace vel::stat {

// With patterns only the matches are shown; as text, a file without a match is left out.
void showText(Sink& out, const ValueFile& file, std::span<const PathPattern> patterns, const Style& style);
// An object.
void showJson(JsonWriter& json, const ValueFile& file, std::span<const PathPattern> patterns);

} // namespace vel::stat
