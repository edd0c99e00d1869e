// The page of velstat report: findings, tables, latencies and records, put into the page that report/build.sh has
// built.
#pragma once

#include <query/database.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace vel::stat {

struct ReportPage {
  std::vector<std::string> pieces; // of the page, consecutive
  bool isEmpty = false;            // the inputs have neither records nor anything else to show
  bool isSound = true;             // nothing was complained of, and all queries finished
  std::string summary;             // "2 errors, 1 note; 3328 records"
};

// Reads the inputs several times. A query that exceeds its limits is reported on stderr and in the page. Throws what
// reading a source throws.
ReportPage makeReportPage(const std::vector<std::string>& inputs, const std::vector<std::string>& reference,
                          const query::Limits& limits);

} // namespace vel::stat
