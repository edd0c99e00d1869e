// The records that a capture's reports hold as lines.
#pragma once

#include <sources/order.h>
#include <sources/source.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace vel::sources {

// Takes the lines of one report after the other. [one thread at a time]
class ReportLines {
public:
  // Reads the lines of a capture's reports, and notes in the capture what they tell of the clocks.
  void add(std::uint32_t input, const std::string& name, Capture& capture);

  std::vector<CapturedRecord> records;
  std::vector<std::string> logs; // what CapturedRecord::log counts
  std::vector<Finding> findings;

private:
  std::uint32_t logOf(std::string_view title);

  std::uint32_t batches_ = 0;
};

// Whether a property list without a state record around it is one that the plug-in makes.
bool isReport(const formats::Value& value);

} // namespace vel::sources
