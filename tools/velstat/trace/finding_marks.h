// Which findings belong to which record.
#pragma once

#include <rules/triage.h>
#include <sources/source.h>

#include <cstddef>
#include <map>
#include <span>
#include <tuple>
#include <vector>

namespace vel::stat {

class FindingMarks {
public:
  FindingMarks() = default;
  // `inputs` are those that the findings come from.
  FindingMarks(std::vector<rules::Finding> findings, const std::vector<sources::InputInfo>& inputs);

  bool isEmpty() const { return places_.empty(); }
  // Takes the findings whose evidence is the record at this place. [borrowed: for the life of the object]
  std::vector<const rules::Finding*> take(const sources::Location& location);
  // Takes the findings that have not been taken yet.
  std::vector<const rules::Finding*> takeRest();

private:
  using Key = std::tuple<std::uint32_t, std::uint32_t, std::uint64_t>; // as in Location
  std::vector<rules::Finding> findings_;
  std::vector<bool> taken_;
  std::multimap<Key, std::size_t> places_; // of findings that are not taken
};

} // namespace vel::stat
