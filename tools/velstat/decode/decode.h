// Decodes profile records from any source to standard output: `velstat decode` after its command line is parsed.
#pragma once

#include <profile/render.h>
#include <sources/field_list.h>
#include <sources/selection.h>
#include <sources/time_range.h>

#include <optional>
#include <string>
#include <vector>

namespace vel::stat {

enum class DecodeFormat { brief, text, escapedText, framedText, json, csv, raw, none };
enum class StatisticsFormat { none, text, json };

struct DecodeOptions {
  std::vector<std::string> files; // "-" is the standard input
  DecodeFormat format = DecodeFormat::text;
  StatisticsFormat statistics = StatisticsFormat::none;
  std::optional<profile::TimePolicy> times; // none: those of the inputs
  sources::TimeRange time;                  // narrows the selection once the log is known
  std::optional<sources::FieldList> fields; // in brief lines, JSON and CSV: show only these
  bool differences = false;                 // in brief lines: times relative to the line before
  std::size_t width = 0;                    // of brief lines, at most; 0: no limit
  bool recover = false;
  bool all = false;  // every occurrence of a record
  unsigned jobs = 1; // threads
};

// True if all of the input was sound. Each fault is reported in one line on stderr; everything else is decoded.
bool decode(const DecodeOptions& options, sources::Selection selection);

} // namespace vel::stat
