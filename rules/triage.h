// Runs rules over sources to find what is wrong with a device, worst first.
//
//   for (const rules::Finding& finding : rules::triage(sources, nullptr, rules::shippedRules())) …
#pragma once

#include <query/database.h>
#include <rules/rule.h>

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace vel::rules {

// Where a finding was seen, as far as the rule has the columns `source`, `report`, `path` and `position`.
struct Evidence {
  std::string source;                    // the input's name; empty: not known
  std::optional<std::uint64_t> report;   // of the input's capture, from 0
  std::string title;                     // of the report
  std::string file;                      // of the report; empty for a capture in memory
  std::string path;                      // of a value in the report
  std::optional<std::uint64_t> position; // of a record: its line in the report, from 0, or its offset in bytes
};

// All texts may contain data from the device, so they must be escaped when shown.
struct Finding {
  std::string rule;
  Severity severity = Severity::warning;
  unsigned rank = 0;
  std::string text;
  std::string why;
  std::string next;
  Evidence evidence;
  std::uint64_t more = 0; // the number of further findings of the same rule, which are left out
};

// Sorts findings, for instance those of several calls, as triage() does.
void sortWorstFirst(std::vector<Finding>& findings);

constexpr std::size_t mostFindings = 20; // of one rule

// The findings of all rules, worst first. Rules see the tables of `sources`, and those of a good device as reference_…;
// without a reference these are empty. The sources are read several times. Every rule is checked before the first one
// runs. Throws Error for an invalid rule; exceptions from reading a source are passed on unchanged. A rule that runs
// out of time or memory is reported to `unfinished`, and the others go on; without that function, Error is thrown.
std::vector<Finding> triage(sources::Sources& sources, sources::Sources* reference, std::span<const Rule> rules,
                            const query::Limits& limits = {}, const std::function<void(const Error&)>& unfinished = {});

} // namespace vel::rules
