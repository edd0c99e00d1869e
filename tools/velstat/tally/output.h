// The rows of an analytics store, written for people, for programs and for a scraper of metrics.
#pragma once

#include <control/tally.h>
#include <velstat/text/json_writer.h>
#include <velstat/text/output.h>

#include <string>
#include <vector>

namespace vel::stat {

enum class TallyTimes { shown, hidden };
// Times are local. Columns that would be empty are left out.
std::string tallyTable(const std::vector<control::TallyRow>& rows, const Style& style,
                       TallyTimes times = TallyTimes::shown);

enum class TallyJson { indented, oneLine };
std::string tallyJson(const std::vector<control::TallyRow>& rows, TallyJson form = TallyJson::indented);
// The same as part of a document.
void writeTally(JsonWriter& json, const std::vector<control::TallyRow>& rows);

// The OpenMetrics text format. Everything is a gauge: counters, sums and summaries may not be negative there.
std::string tallyOpenMetrics(const std::vector<control::TallyRow>& rows);

} // namespace vel::stat
