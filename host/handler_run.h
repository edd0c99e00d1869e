// The outcome of asking one state handler for its record.
#pragma once

#include <control/log.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>

namespace vel::host {

struct HandlerRun {
  std::size_t handler = 0; // from 1
  bool answered = false;
  std::size_t logLines = 0; // that it wrote
  // Why it returned nothing, as far as its log lines tell: the first result code that is not 0 and its meaning, or else
  // the first check that failed. A handler that logged no failed check had nothing to report.
  std::optional<std::uint32_t> result;
  std::string resultText;
};

// Fills the result of a run that returned nothing.
void explain(HandlerRun& run, std::span<const control::LogLine> lines);

} // namespace vel::host
