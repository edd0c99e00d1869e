// A table with one row for each kind of value. The names come from the same functions that the commands use.
#include "velstat/complete/values.h"

#include <host/model/analytics.h>
#include <rules/rule.h>
#include <sources/record_names.h>
#include <velstat/options/hosted.h>

#include <algorithm>
#include <iterator>

namespace vel::stat {

namespace {

template <class Names>
std::vector<Candidate> asCandidates(const Names& names) {
  std::vector<Candidate> candidates;
  for (const auto& name : names) {
    candidates.push_back({std::string(name), {}});
  }
  return candidates;
}

template <auto names>
std::vector<Candidate> from() {
  return asCandidates(names());
}

std::vector<Candidate> fields() {
  std::vector<Candidate> candidates = asCandidates(sources::commonFieldNames());
  for (const std::string& key : sources::payloadFieldNames(false)) {
    candidates.push_back({key, {}});
  }
  return candidates;
}

std::vector<Candidate> rules() {
  std::vector<Candidate> candidates;
  for (const rules::Rule& rule : rules::shippedRules()) {
    candidates.push_back({rule.name, rule.title});
  }
  return candidates;
}

struct ValueKind {
  std::string_view value;
  Paths paths;
  std::vector<Candidate> (*candidates)();
};

constexpr ValueKind kinds[] = {
    {"FILE", Paths::files, nullptr},
    {"INPUT", Paths::files, nullptr},
    {"OLD", Paths::files, nullptr},
    {"NEW", Paths::files, nullptr},
    {"GOOD", Paths::files, nullptr},
    {"DIR", Paths::folders, nullptr},
    {"FOLDER", Paths::folders, nullptr},
    {"BUNDLE", Paths::folders, nullptr},
    {"MODEL", Paths::files, from<shippedModels>},
    {"CATEGORY", Paths::none, from<sources::categoryNames>},
    {"COMPONENT", Paths::none, from<sources::componentNames>},
    {"EVENT", Paths::none, from<sources::eventNames>},
    {"TYPE", Paths::none, from<sources::typeNames>},
    {"LAYOUT", Paths::none, from<sources::layoutNames>},
    {"FIELD,...", Paths::none, fields},
    {"KEY", Paths::none, from<host::metricKeys>},
    {"RULE", Paths::none, rules},
};

} // namespace

Values valuesOf(std::string_view value) {
  const auto* const kind =
      std::find_if(std::begin(kinds), std::end(kinds), [&](const ValueKind& each) { return each.value == value; });
  if (kind == std::end(kinds)) {
    return {};
  }
  return {kind->paths, kind->candidates != nullptr ? kind->candidates() : std::vector<Candidate>()};
}

} // namespace vel::stat
