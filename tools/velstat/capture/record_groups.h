// The records of a capture for people: whole, or folded so that similar ones share an entry.
#pragma once

#include <velstat/capture/result.h>
#include <velstat/text/sink.h>

namespace vel::stat {

// Appends them to `out`, each entry after an empty line.
void appendRecords(Sink& out, const std::vector<host::CapturedRecord>& records, const Style& style);
void appendRecordGroups(Sink& out, const std::vector<host::CapturedRecord>& records, const Style& style);

} // namespace vel::stat
