// The rows of an analytics store as a table, as JSON and as OpenMetrics text.
#pragma once

#include <control/tally.h>
#include <velstat/text/json_writer.h>
#include <velstat/text/output.h>
#include <velstat/text/sink.h>

#include <cstddef>
#include <vector>

namespace vel::stat {

enum class TallyTimes { shown, hidden };
// Times are local. Empty columns are left out, long keys are cut.
void tallyTable(Sink& out, const std::vector<control::TallyRow>& rows, const Style& style, std::size_t indent = 0,
                TallyTimes times = TallyTimes::shown);

// An array.
void tallyJson(JsonWriter& json, const std::vector<control::TallyRow>& rows);

// The OpenMetrics text format: a metric family for each kind, the key as a label. Everything is a gauge, because
// OpenMetrics does not allow negative counters, sums or summaries.
void tallyOpenMetrics(Sink& out, const std::vector<control::TallyRow>& rows);

} // namespace vel::stat
