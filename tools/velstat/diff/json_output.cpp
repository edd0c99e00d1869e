// Differences as one JSON document.
#include <velstat/diff/result.h>
#include <velstat/text/json_writer.h>

namespace vel::stat {

namespace {

// Named by the sides that have it.
const char* changeOf(bool before, bool after) {
  return !before ? "added" : !after ? "removed" : "changed";
}

void write(JsonWriter& json, std::string_view path, const formats::Value* before, const formats::Value* after) {
  json.beginObject();
  json.member("path", path);
  json.member("change", changeOf(before != nullptr, after != nullptr));
  if (before != nullptr) {
    json.member("old type", before->typeName());
    json.key("old");
    json.value(*before);
  }
  if (after != nullptr) {
    json.member("new type", after->typeName());
    json.key("new");
    json.value(*after);
  }
  json.endObject();
}

void writeHeads(JsonWriter& json, const ValueFile& before, const ValueFile& after) {
  for (const HeadDifference& field : compareHeads(before, after)) {
    json.beginObject();
    json.member("field", field.field);
    json.member("old", field.before);
    json.member("new", field.after);
    json.endObject();
  }
}

} // namespace

void diffJson(JsonWriter& json, const RecordPair& pair, const ValueFile* before, const ValueFile* after) {
  const bool both = before != nullptr && after != nullptr;
  json.beginObject();
  json.member("title", pair.title);
  json.member("occurrence", pair.occurrence);
  json.member("change", changeOf(pair.before.has_value(), pair.after.has_value()));
  if (pair.before) {
    json.member("old file", pair.before->name);
  }
  if (pair.after) {
    json.member("new file", pair.after->name);
  }
  json.key("header");
  json.beginArray();
  if (both) {
    writeHeads(json, *before, *after);
  }
  json.endArray();
  json.key("values");
  json.beginArray();
  if (both) {
    compareValues(before->value, after->value, [&](auto... difference) { write(json, difference...); });
  }
  json.endArray();
  json.endObject();
}

} // namespace vel::stat
