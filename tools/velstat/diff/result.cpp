// Compares two files, or two capture folders record by record.
#include "velstat/diff/result.h"

#include <algorithm>
#include <map>
#include <string_view>
#include <utility>

namespace vel::stat {

namespace {

void compareField(std::vector<HeadDifference>& differences, const char* field, const std::string& before,
                  const std::string& after) {
  if (before != after) {
    differences.push_back({field, before, after});
  }
}

// A property list without a header is compared with a record by its value alone.
std::vector<HeadDifference> compareHeads(const ValueFile& before, const ValueFile& after) {
  std::vector<HeadDifference> differences;
  if (before.record && after.record) {
    compareField(differences, "title", before.record->title, after.record->title);
    compareField(differences, "decoder library", before.record->decoderLibrary, after.record->decoderLibrary);
    compareField(differences, "decoder type", before.record->decoderType, after.record->decoderType);
  }
  return differences;
}

void comparePair(std::vector<RecordDifference>& differences, RecordDifference pair) {
  pair.head = compareHeads(*pair.before, *pair.after);
  pair.values = compareValues(pair.before->value, pair.after->value);
  if (!pair.head.empty() || !pair.values.empty()) {
    differences.push_back(std::move(pair));
  }
}

} // namespace

std::vector<RecordDifference> compareFiles(const ValueFile& before, const ValueFile& after) {
  std::vector<RecordDifference> differences;
  const ValueFile& titled = before.record ? before : after;
  comparePair(differences, {.title = titled.record ? titled.record->title : "", .before = &before, .after = &after});
  return differences;
}

std::vector<RecordDifference> compareFolders(const CaptureFolder& before, const CaptureFolder& after) {
  using Identity = std::pair<std::string_view, std::size_t>;
  std::map<Identity, const FolderRecord*> rest;
  for (const FolderRecord& record : after.records) {
    rest.emplace(Identity(record.title, record.occurrence), &record);
  }
  std::vector<RecordDifference> differences;
  for (const FolderRecord& record : before.records) {
    RecordDifference pair{.title = record.title, .occurrence = record.occurrence, .before = &record.file};
    const auto found = rest.find(Identity(record.title, record.occurrence));
    if (found == rest.end()) {
      differences.push_back(std::move(pair));
      continue;
    }
    pair.after = &found->second->file;
    rest.erase(found);
    comparePair(differences, std::move(pair));
  }
  for (const FolderRecord& record : after.records) {
    if (rest.contains(Identity(record.title, record.occurrence))) {
      differences.push_back({.title = record.title, .occurrence = record.occurrence, .after = &record.file});
    }
  }
  return differences;
}

} // namespace vel::stat
