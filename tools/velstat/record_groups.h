// The records of a capture for people: whole, or folded so that those that are like each other share an entry.
#pragma once

#include <capture_result.h>

#include <string>

namespace vel::stat {

// "1 line", "2 lines".
std::string countText(std::size_t number, std::string_view what);

// Appends them to `out`, each entry behind an empty line.
void appendRecords(std::string& out, const std::vector<host::CapturedRecord>& records, const Style& style);
void appendRecordGroups(std::string& out, const std::vector<host::CapturedRecord>& records, const Style& style);

} // namespace vel::stat
