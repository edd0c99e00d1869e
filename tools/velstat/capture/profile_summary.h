// Lines of profile records, told in a few: which kinds there are, and what happened first.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace vel::stat {

// The parts of a line, unchanged; empty if the line does not have them.
struct ProfileLine {
  std::string_view category;
  std::string_view component;
  std::string_view event;
  std::string_view trace; // what a component of the button did
  std::string_view timestamp;
  std::string_view calendarTime;

  // Category, component and event; those of the trace records by what they trace.
  std::string kind() const;
  // When, and what kind.
  std::string brief() const;
};
// Lines come from a device, payloads and all: fields that cannot be told are left empty. [borrowed: from `line`]
ProfileLine readProfileLine(std::string_view line);

// "sensors 803, execution 402, zorb 211": counts by category, the largest first.
std::string categoriesText(const std::vector<std::string_view>& lines);
// "zorb latency ckp_ARCReady × 16, ...": the commonest kinds, and how many kinds there are.
std::string kindsText(const std::vector<std::string_view>& lines, std::size_t most);

} // namespace vel::stat
