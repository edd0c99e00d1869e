// The result of `velstat diff` for one pair, as text and as JSON.
#pragma once

#include <velstat/diff/record_pair.h>
#include <velstat/text/json_writer.h>
#include <velstat/text/output.h>
#include <velstat/text/sink.h>
#include <velstat/text/value_file.h>

namespace vel::stat {

// For a pair, both files are needed; for a record that only one side has, neither.
void diffText(Sink& out, const RecordPair& pair, const ValueFile* before, const ValueFile* after, const Style& style);
void diffJson(JsonWriter& json, const RecordPair& pair, const ValueFile* before, const ValueFile* after);

} // namespace vel::stat
