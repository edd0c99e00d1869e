// Differences as one JSON document.
#include <velstat/diff/result.h>

#include <algorithm>

namespace vel::stat {

namespace {

// The name of a change, given which sides have the value.
const char* changeOf(bool before, bool after) {
  return !before ? "added" : !after ? "removed" : "changed";
}

void writeSide(JsonWriter& json, const char* key, const Side& side) {
  json.key(key);
  json.beginObject();
  json.member("input", side.input.name);
  json.member("kind", sources::kindName(side.input.kind));
  json.member("records", side.records.count());
  if (side.records.further() != 0) {
    json.member("further", side.records.further());
  }
  json.endObject();
}

void write(JsonWriter& json, std::string_view path, bool notable, const formats::Value* before,
           const formats::Value* after) {
  json.beginObject();
  json.member("path", path);
  json.member("change", changeOf(before != nullptr, after != nullptr));
  json.key("notable");
  json.boolean(notable);
  if (before != nullptr) {
    json.key("old");
    json.value(*before);
  }
  if (after != nullptr) {
    json.key("new");
    json.value(*after);
  }
  json.endObject();
}

} // namespace

void diffJson(JsonWriter& json, const Result& result, const SectionCounts& counts) {
  constexpr const char* names[] = {"findings", "metrics", "values", "kinds", "counts"};
  static_assert(std::size(names) == sectionCount);
  json.beginObject();
  writeSide(json, "old", result.before);
  writeSide(json, "new", result.after);
  json.key("complete");
  json.boolean(result.complete);
  json.key("equal");
  json.boolean(result.complete &&
               std::all_of(counts.begin(), counts.end(), [](const SectionCount& c) { return c.all == 0; }));
  for (std::size_t section = 0; section < sectionCount; ++section) {
    json.key(names[section]);
    json.beginArray();
    for (const Difference& difference : result.differences) {
      if (static_cast<std::size_t>(difference.section) == section) {
        write(json, difference.path, difference.notable, difference.before ? &*difference.before : nullptr,
              difference.after ? &*difference.after : nullptr);
      }
    }
    if (static_cast<Section>(section) == Section::values) {
      result.eachReportValue([&](std::string_view path, const formats::Value* before, const formats::Value* after) {
        write(json, path, isNotable(before, after), before, after);
      });
    }
    json.endArray();
  }
  json.endObject();
}

} // namespace vel::stat
