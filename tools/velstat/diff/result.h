// What `velstat diff` found, and its two renderings.
#pragma once

#include <velstat/diff/difference.h>
#include <velstat/text/json_writer.h>
#include <velstat/text/output.h>
#include <velstat/text/sink.h>

#include <array>
#include <cstddef>
#include <functional>
#include <span>

namespace vel::stat {

// One of the two inputs.
struct Side {
  const sources::InputInfo& input;
  RecordKinds records;
};

struct Result {
  const Side& before;
  const Side& after;
  Differences differences; // of records and metrics; by section, and in each the notable ones first
  // Calls its argument with each difference between reports; they are too many to be stored. They belong to
  // Section::values, after those of records.
  std::function<void(const TakeReportValue&)> eachReportValue;
  bool complete = true; // both sides were read and examined completely
};

// Of a section.
struct SectionCount {
  std::size_t all = 0;
  std::size_t notable = 0;
};
using SectionCounts = std::array<SectionCount, sectionCount>;
SectionCounts countsOf(const Result& result);

// The two lines that name the inputs, and the line above a section.
void appendSides(Sink& out, const Result& result, std::size_t width, const Style& style);
void appendTitle(Sink& out, std::size_t section, const Style& style);

// One screen of the most notable differences, cut to `width` columns.
void diffSummary(Sink& out, const Result& result, const SectionCounts& counts, std::size_t width, const Style& style);
// Every difference, as text and as one JSON document.
void diffText(Sink& out, const Result& result, const SectionCounts& counts, const Style& style);
void diffJson(JsonWriter& json, const Result& result, const SectionCounts& counts);

} // namespace vel::stat
