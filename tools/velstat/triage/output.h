// Findings for people and as JSON.
#pragma once

#include <rules/triage.h>
#include <velstat/text/json_writer.h>
#include <velstat/text/output.h>
#include <velstat/text/sink.h>

#include <cstddef>
#include <span>
#include <string>
#include <vector>

namespace vel::stat {

// The width for prose: that of the terminal, but not too wide to be read well.
std::size_t textWidth();

// "1 error, 2 notes", "nothing found".
std::string countsText(std::span<const rules::Finding> findings);

// Each finding with where it was seen, why it matters and what to do next, wrapped to `width` columns. Findings of the
// same rule share the last two.
void writeFindings(Sink& out, std::span<const rules::Finding> findings, std::size_t width, const Style& style);
// Only the severity and the text of each finding.
void writeFindingsBriefly(Sink& out, std::span<const rules::Finding> findings, std::size_t width, const Style& style);
// Rule, severity and texts, as members of an object that the caller opens.
void writeWords(JsonWriter& json, const rules::Finding& finding);
// An array with an object for each.
void writeFindings(JsonWriter& json, std::span<const rules::Finding> findings);

} // namespace vel::stat
