// The records of a capture for people: whole, or folded so that those that are like each other share an entry.
#pragma once

#include <velstat/capture/result.h>
#include <velstat/text/sink.h>

namespace vel::stat {

// Appends them to `out`, each entry behind an empty line.
void appendRecords(Sink& out, const std::vector<host::CapturedRecord>& records, const Style& style);
void appendRecordGroups(Sink& out, const std::vector<host::CapturedRecord>& records, const Style& style);

} // namespace vel::stat
