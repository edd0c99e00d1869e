// One difference between two captures, and the comparisons that find them.
#pragma once

#include <formats/value.h>
#include <rules/triage.h>
#include <sources/source.h>
#include <velstat/diff/record_kinds.h>
#include <velstat/text/value_path.h>

#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace vel::stat {

// In the order in which they are shown.
enum class Section { findings, metrics, values, kinds, counts };
constexpr std::size_t sectionCount = 5;

struct Difference {
  Section section = Section::values;
  std::string path;
  bool notable = false; // more than the usual difference between two captures of one healthy device
  double weight = 0;    // within its section; the heaviest come first
  // Each side's value, for programs; empty if the side has none.
  std::optional<formats::Value> before;
  std::optional<formats::Value> after;
  std::string text; // the same in one line
};

// The paths that are compared.
struct PathFilter {
  std::vector<PathPattern> only; // empty: all
  std::vector<PathPattern> ignored;

  bool takes(std::string_view path) const { return (only.empty() || covers(only, path)) && !covers(ignored, path); }
};

// Whether a number changed by more than chance: from or to 0, in its sign, or at least by a factor of two.
bool hasChangedMuch(double before, double after);

using Differences = std::vector<Difference>;
// Adds each rule that has findings on one side only, or a different number of them on each side.
void compareFindings(std::span<const rules::Finding> before, std::span<const rules::Finding> after, Differences& out);
void compareMetrics(const std::vector<sources::Metric>& before, const std::vector<sources::Metric>& after,
                    Differences& out);
// Kinds that only one side has, counts, and the ranges of fields.
void compareKinds(const RecordKinds& before, const RecordKinds& after, Differences& out);

// Calls `take` with each value of services and reports that differs; null where a side has none.
// [borrowed: during the call]
using TakeReportValue =
    std::function<void(std::string_view path, const formats::Value* before, const formats::Value* after)>;
void compareReports(const sources::InputInfo& before, const sources::InputInfo& after, const TakeReportValue& take);
// Whether the values differ in more than numbers of about the same size.
bool isNotable(const formats::Value* before, const formats::Value* after);

} // namespace vel::stat
