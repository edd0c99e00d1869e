// Differences as one JSON document.
#include <velstat/diff/result.h>
#include <velstat/text/json_writer.h>

namespace vel::stat {

namespace {

// By which sides have it.
const char* changeOf(bool before, bool after) {
  return !before ? "added" : !after ? "removed" : "changed";
}

void write(JsonWriter& json, const Difference& difference) {
  json.beginObject();
  json.member("path", difference.path);
  json.member("change", changeOf(difference.before != nullptr, difference.after != nullptr));
  if (difference.before != nullptr) {
    json.member("old type", difference.before->typeName());
    json.key("old");
    json.value(*difference.before);
  }
  if (difference.after != nullptr) {
    json.member("new type", difference.after->typeName());
    json.key("new");
    json.value(*difference.after);
  }
  json.endObject();
}

void write(JsonWriter& json, const RecordDifference& record) {
  json.beginObject();
  json.member("title", record.title);
  json.member("occurrence", record.occurrence);
  json.member("change", changeOf(record.before != nullptr, record.after != nullptr));
  if (record.before != nullptr) {
    json.member("old file", record.before->name);
  }
  if (record.after != nullptr) {
    json.member("new file", record.after->name);
  }
  json.key("header");
  json.beginArray();
  for (const HeadDifference& field : record.head) {
    json.beginObject();
    json.member("field", field.field);
    json.member("old", field.before);
    json.member("new", field.after);
    json.endObject();
  }
  json.endArray();
  json.key("values");
  json.beginArray();
  for (const Difference& difference : record.values) {
    write(json, difference);
  }
  json.endArray();
  json.endObject();
}

} // namespace

std::string diffJson(const DiffNames& names, const std::vector<RecordDifference>& differences, bool complete) {
  std::string out;
  JsonWriter json(out);
  json.beginObject();
  json.member("old", names.before);
  json.member("new", names.after);
  json.key("complete");
  json.boolean(complete);
  json.key("equal");
  json.boolean(complete && differences.empty());
  json.key("records");
  json.beginArray();
  for (const RecordDifference& record : differences) {
    write(json, record);
  }
  json.endArray();
  json.endObject();
  return out + '\n';
}

} // namespace vel::stat
