// Finds the record that a finding's evidence names. Evidence has the name of its input, a record the input's number.
#include "velstat/trace/finding_marks.h"

#include <algorithm>
#include <utility>

namespace vel::stat {

using sources::InputInfo;
using sources::Location;

FindingMarks::FindingMarks(std::vector<rules::Finding> findings, const std::vector<InputInfo>& inputs)
    : findings_(std::move(findings)), taken_(findings_.size()) {
  for (std::size_t i = 0; i < findings_.size(); ++i) {
    const rules::Evidence& evidence = findings_[i].evidence;
    const auto input =
        std::find_if(inputs.begin(), inputs.end(), [&](const InputInfo& each) { return each.name == evidence.source; });
    if (!evidence.position || input == inputs.end()) {
      continue;
    }
    const std::uint64_t report = evidence.report.value_or(Location::noReport);
    if (report <= Location::noReport) {
      places_.emplace(Key(static_cast<std::uint32_t>(input - inputs.begin()), static_cast<std::uint32_t>(report),
                          *evidence.position),
                      i);
    }
  }
}

std::vector<const rules::Finding*> FindingMarks::take(const Location& location) {
  std::vector<const rules::Finding*> found;
  const auto [begin, end] = places_.equal_range({location.input, location.report, location.at});
  for (auto each = begin; each != end; ++each) {
    taken_[each->second] = true;
    found.push_back(&findings_[each->second]);
  }
  places_.erase(begin, end);
  return found;
}

std::vector<const rules::Finding*> FindingMarks::takeRest() {
  std::vector<const rules::Finding*> rest;
  for (std::size_t i = 0; i < findings_.size(); ++i) {
    if (!taken_[i]) {
      rest.push_back(&findings_[i]);
    }
  }
  taken_.assign(taken_.size(), true);
  places_.clear();
  return rest;
}

} // namespace vel::stat
