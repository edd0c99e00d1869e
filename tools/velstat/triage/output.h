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

// The columns for prose: those of the terminal, but no more than can be read well.
std::size_t textWidth();

// "1 error, 2 notes", "nothing found".
std::string countsText(std::span<const rules::Finding> findings);

// Each finding with where it was seen, why it matters and what is next, wrapped to `width` columns. Findings of the
// same rule share the last two.
void writeFindings(Sink& out, std::span<const rules::Finding> findings, std::size_t width, const Style& style);
// Severity and what was seen, and no more.
void writeFindingsBriefly(Sink& out, std::span<const rules::Finding> findings, std::size_t width, const Style& style);
// Rule, severity and texts, as members of an object that the caller opens.
void writeWords(JsonWriter& json, const rules::Finding& finding);
// An array with an object for each.
void writeFindings(JsonWriter& json, std::span<const rules::Finding> findings);

} // namespace vel::stat
