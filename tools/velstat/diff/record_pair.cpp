// Pairs the records of two captures, and finds whether a pair differs.
#include "velstat/diff/record_pair.h"

#include <formats/files.h>

#include <map>
#include <string_view>
#include <utility>

namespace vel::stat {

namespace {

RecordSide sideOf(ValueFile file) {
  RecordSide side{.name = file.name, .hasHeader = file.record.has_value()};
  side.read = [kept = std::make_shared<const ValueFile>(std::move(file))] { return kept; };
  return side;
}

RecordSide sideOf(const FolderRecord& record) {
  return {.name = formats::inputName(record.file), .hasHeader = record.hasHeader, .read = [path = record.file] {
            return std::make_shared<const ValueFile>(readValueFile(path));
          }};
}

void compareField(std::vector<HeadDifference>& differences, const char* field, const std::string& before,
                  const std::string& after) {
  if (before != after) {
    differences.push_back({field, before, after});
  }
}

} // namespace

RecordPair pairOf(ValueFile before, ValueFile after) {
  const ValueFile& titled = before.record ? before : after;
  RecordPair pair{.title = titled.record ? titled.record->title : ""};
  pair.before = sideOf(std::move(before));
  pair.after = sideOf(std::move(after));
  return pair;
}

std::vector<RecordPair> pairsOf(const CaptureFolder& before, const CaptureFolder& after) {
  using Identity = std::pair<std::string_view, std::size_t>;
  std::map<Identity, const FolderRecord*> rest;
  for (const FolderRecord& record : after.records) {
    rest.emplace(Identity(record.title, record.occurrence), &record);
  }
  std::vector<RecordPair> pairs;
  for (const FolderRecord& record : before.records) {
    RecordPair pair{.title = record.title, .occurrence = record.occurrence, .before = sideOf(record)};
    const auto found = rest.find(Identity(record.title, record.occurrence));
    if (found != rest.end()) {
      pair.after = sideOf(*found->second);
      rest.erase(found);
    }
    pairs.push_back(std::move(pair));
  }
  for (const FolderRecord& record : after.records) {
    if (rest.contains(Identity(record.title, record.occurrence))) {
      pairs.push_back({.title = record.title, .occurrence = record.occurrence, .after = sideOf(record)});
    }
  }
  return pairs;
}

std::vector<HeadDifference> compareHeads(const ValueFile& before, const ValueFile& after) {
  std::vector<HeadDifference> differences;
  if (before.record && after.record) {
    compareField(differences, "title", before.record->title, after.record->title);
    compareField(differences, "decoder library", before.record->decoderLibrary, after.record->decoderLibrary);
    compareField(differences, "decoder type", before.record->decoderType, after.record->decoderType);
  }
  return differences;
}

bool isDifferent(const ValueFile& before, const ValueFile& after) {
  bool different = !compareHeads(before, after).empty();
  compareValues(before.value, after.value, [&](auto&&...) { different = true; });
  return different;
}

} // namespace vel::stat
