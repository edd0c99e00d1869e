// What `velstat diff` has found, as text for people and as JSON, pair by pair.
#pragma once

#include <velstat/diff/record_pair.h>
#include <velstat/text/json_writer.h>
#include <velstat/text/output.h>
#include <velstat/text/sink.h>
#include <velstat/text/value_file.h>

namespace vel::stat {

// Of a pair of both sides, both are given; of a record that only one side has, neither is needed.
void diffText(Sink& out, const RecordPair& pair, const ValueFile* before, const ValueFile* after, const Style& style);
void diffJson(JsonWriter& json, const RecordPair& pair, const ValueFile* before, const ValueFile* after);

} // namespace vel::stat
