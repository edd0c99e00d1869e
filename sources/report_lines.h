// Reads the records that a capture's reports contain as lines.
#pragma once

#include <sources/order.h>
#include <sources/source.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace vel::sources {

// Collects the lines of all captures' reports. [one thread at a time]
class ReportLines {
public:
  // Reads the lines of a capture's reports, and stores the clock relations that they show in the capture.
  void add(std::uint32_t input, const std::string& name, Capture& capture);

  std::vector<CapturedRecord> records;
  std::vector<std::string> logs; // CapturedRecord::log is an index into these
  std::vector<Finding> findings;

private:
  std::uint32_t logOf(std::string_view title);

  std::uint32_t batches_ = 0;
};

// Whether a property list without a state record's header looks like a report of the plug-in.
bool isReport(const formats::Value& value);

} // namespace vel::sources
