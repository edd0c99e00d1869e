// Summarizes lines of profile records: which kinds there are, and what happened first.
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

  // Category, component and event; for a trace record, what it traces instead of the event.
  std::string kind() const;
  // Time and kind.
  std::string brief() const;
};
// Lines come from a device and may contain anything: fields that cannot be found are left empty.
// [borrowed: from `line`]
ProfileLine readProfileLine(std::string_view line);

// "sensors 803, execution 402, zorb 211": counts by category, the largest first.
std::string categoriesText(const std::vector<std::string_view>& lines);
// "zorb latency ckp_ARCReady × 16, ...": the commonest kinds, and how many kinds there are.
std::string kindsText(const std::vector<std::string_view>& lines, std::size_t most);

} // namespace vel::stat
