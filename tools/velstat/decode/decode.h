// Profile records from files to the standard output: what `velstat decode` does once its command line is understood.
#pragma once

#include <profile/render.h>
#include <velstat/decode/selection.h>

#include <string>
#include <vector>

namespace vel::stat {

enum class DecodeFormat { text, escapedText, framedText, json, csv, none };
enum class StatisticsFormat { none, text, json };

struct DecodeOptions {
  std::vector<std::string> files; // "-" is the standard input
  DecodeFormat format = DecodeFormat::text;
  StatisticsFormat statistics = StatisticsFormat::none;
  profile::TimePolicy times;
  bool recover = false;
  unsigned jobs = 1; // threads
};

// True if all of the input was sound. What was not is reported on stderr, a line each; all that was is decoded.
bool decode(const DecodeOptions& options, Selection selection);

} // namespace vel::stat
