// Fields by their names, and their values in JSON and CSV.
#include "support/record_files.h"
#include <sources/field_list.h>
#include <sources/renderer.h>
#include <synthetic/record_stream.h>

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <cctype>
#include <set>
#include <stdexcept>

namespace vel::sources {

namespace {

using Json = nlohmann::ordered_json;

std::string namesOf(const FieldList& list) {
  std::string names;
  for (const ListedField& field : list.fields()) {
    names += names.empty() ? "" : " ";
    names += field.name;
  }
  return names;
}

std::string refusal(std::string_view names) {
  try {
    const FieldList list(names);
  } catch (const std::invalid_argument& error) {
    return error.what();
  }
  return "accepted";
}

TEST(FieldList, Names) {
  EXPECT_EQ(namesOf(FieldList("timestamp,trace,event.arg1,binary-data")), "timestamp trace event.arg1 binary-data");
  EXPECT_EQ(namesOf(FieldList("TimeStamp,reportid,Zorb-Event.THREAD")), "timestamp reportID zorb-event.thread");
  EXPECT_EQ(refusal("timstamp"), "there is no field 'timstamp'; did you mean 'timestamp'?");
  EXPECT_EQ(refusal("arg1,buttonSate"), "there is no field 'buttonSate'; did you mean 'buttonState'?");
  EXPECT_EQ(refusal("event.arg7"), "there is no field 'event.arg7'; did you mean 'event.arg1'?");
  EXPECT_EQ(refusal("somethingelse"), "there is no field 'somethingelse'");
  EXPECT_EQ(refusal(""), "there is no field ''");
  EXPECT_EQ(refusal("arg1,"), "there is no field ''");
  EXPECT_EQ(refusal("arg1,x,Arg1"), "the field 'arg1' is named twice");
}

// Otherwise a name could not be found in any case.
TEST(FieldList, KeysDifferByMoreThanCase) {
  std::set<std::string> keys;
  std::set<std::string> lowerCase;
  for (const profile::Layout& layout : profile::all_layouts()) {
    for (const profile::Row& row : layout.rows) {
      std::string key(row.key);
      keys.insert(key);
      std::transform(key.begin(), key.end(), key.begin(), [](unsigned char c) { return std::tolower(c); });
      lowerCase.insert(key);
    }
  }
  EXPECT_EQ(keys.size(), lowerCase.size());
}

const profile::TimePolicy bothTimes = {profile::TimeSync{0, 1'700'000'000'000'000'000}, 77};

// All of them, with the layouts' names too.
std::string allNames() {
  std::string names = std::string(csvHeader.substr(0, csvHeader.size() - 1));
  std::set<std::string> keys;
  for (const profile::Layout& layout : profile::all_layouts()) {
    for (const profile::Row& row : layout.rows) {
      if (keys.insert(std::string(row.key)).second) {
        names += ',' + std::string(row.key);
      }
      names += ',' + std::string(layout.name) + '.' + std::string(row.key);
    }
  }
  return names;
}

std::vector<std::string> linesOf(const std::vector<_VelProfileReport>& records,
                                 const std::unique_ptr<Renderer>& renderer) {
  OutputBuffer out;
  renderer->render(reinterpret_cast<const unsigned char*>(records.data()), records.size(), out);
  std::vector<std::string> lines;
  for (std::string_view rest = out.view(); !rest.empty();) {
    const std::size_t end = rest.find('\n');
    lines.emplace_back(rest.substr(0, end));
    rest.remove_prefix(end + 1);
  }
  return lines;
}

// What a list of all fields shows, from the whole JSON of the record.
Json expectedFrom(const Json& whole) {
  Json expected = whole;
  for (const Json& shown : whole["payload"]) {
    for (const auto& [key, value] : shown["fields"].items()) {
      if (!expected.contains(key)) {
        expected[key] = value;
      }
      expected[shown["layout"].get<std::string>() + '.' + key] = value;
    }
  }
  return expected;
}

std::vector<_VelProfileReport> anyRecords() {
  constexpr std::size_t count = 1000;
  std::vector<_VelProfileReport> records(2 * count);
  synthetic::RandomStream(18).fill({records.data(), count});
  synthetic::FlowStream(18).fill({records.data() + count, count});
  return records;
}

TEST(FieldList, Json_HasTheValuesOfTheWholeObject) {
  const auto records = anyRecords();
  const std::vector<std::string> whole = linesOf(records, makeJsonRenderer(bothTimes));
  const std::vector<std::string> listed = linesOf(records, makeJsonRenderer(bothTimes, FieldList(allNames())));
  ASSERT_EQ(listed.size(), whole.size());
  for (std::size_t i = 0; i < whole.size(); ++i) {
    const Json found = Json::parse(listed[i]);
    // The order is that of the list.
    ASSERT_EQ(nlohmann::json(found), nlohmann::json(expectedFrom(Json::parse(whole[i])))) << listed[i];
  }
}

// One cell of CSV for a value of JSON.
std::string cellOf(const std::string& name, const Json& value) {
  if (value.is_object()) {
    return value["name"];
  }
  if (name == "payload") {
    return value.dump();
  }
  if (value.is_array()) {
    std::string hex;
    for (const Json& byte : value) {
      char digits[3];
      std::snprintf(digits, sizeof digits, "%02x", byte.get<unsigned>());
      hex += digits;
    }
    return hex;
  }
  return value.is_string() ? value.get<std::string>() : value.dump();
}

TEST(FieldList, Csv_HasTheSameValuesInCells) {
  std::vector<_VelProfileReport> records(2000);
  synthetic::FlowStream(19).fill({records.data(), records.size()}); // whose texts need no escapes
  const FieldList list(
      "sequence_num,trace,arg1,raw-data,thread,calendar-time,name,timestamp,binary-data,boot-timestamp,z");
  const std::vector<std::string> objects = linesOf(records, makeJsonRenderer(bothTimes, list));
  const std::vector<std::string> lines = linesOf(records, makeCsvRenderer(bothTimes, list));
  EXPECT_EQ(csvHeaderWith(list),
            "sequence_num,trace,arg1,raw-data,thread,calendar-time,name,timestamp,binary-data,boot-timestamp,z\n");
  ASSERT_EQ(lines.size(), records.size());
  for (std::size_t i = 0; i < lines.size(); ++i) {
    const Json object = Json::parse(objects[i]);
    std::string expected;
    for (const ListedField& field : list.fields()) {
      expected += expected.empty() ? "" : ",";
      expected += object.contains(field.name) ? cellOf(field.name, object[field.name]) : "";
    }
    ASSERT_EQ(lines[i], expected);
  }
}

TEST(FieldList, Csv_CellsAreQuotedIfTheyMust) {
  std::vector<_VelProfileReport> records(1);
  auto* const bytes = reinterpret_cast<unsigned char*>(records.data());
  bytes[0] = 8; // sensorinfo
  const std::string_view name = "a,\"\x1b\n";
  std::copy(name.begin(), name.end(), bytes + 35);
  EXPECT_THAT(linesOf(records, makeCsvRenderer({}, FieldList("name,timestamp"))),
              testing::ElementsAre(R"("a,\""\u001b\u000a",0)"));
  EXPECT_THAT(linesOf(records, makeCsvRenderer({}, FieldList("trace"))), testing::ElementsAre("\"\""));
  EXPECT_THAT(linesOf(records, makeJsonRenderer({}, FieldList("trace"))), testing::ElementsAre("{}"));
}

TEST(Columns, OfALayoutTakeThePlaceOfThePayload) {
  std::vector<_VelProfileReport> records(1);
  auto* const bytes = reinterpret_cast<unsigned char*>(records.data());
  bytes[0] = 4;
  bytes[20] = 7;
  const auto layouts = profile::all_layouts();
  const auto trigger =
      std::find_if(layouts.begin(), layouts.end(), [](const auto& layout) { return layout.name == "trigger"; });
  EXPECT_EQ(csvHeaderWith(&*trigger),
            "category,component,event,type,timestamp,sequence_num,trigger,thread-id,arg,type-id,"
            "category-id,component-id,event-id,binary-data,calendar-time,boot-timestamp\n");
  EXPECT_EQ(csvHeaderWith(nullptr), csvHeader);
  EXPECT_THAT(
      linesOf(records, makeCsvRenderer({}, &*trigger)),
      testing::ElementsAre("execution,scheduler,context-switch,trigger,0,0,1,7,7,4,0,0,0,"
                           "040000000000000000000000000000000000000007000000000000000000000000000000000000000000000"
                           "000000000,,"));
}

} // namespace

} // namespace vel::sources
