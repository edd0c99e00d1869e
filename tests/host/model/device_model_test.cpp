// Device models: what the reader takes from a good one, and the whole line with which it refuses each wrong one. The
// models are files, which the schema is tested on as well.
#include <host/error.h>
#include <host/model/device_model.h>
#include <host/model/reply_contents.h>
#include <host/model/reply_layouts.h>
#include <synthetic/scenes.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;
using namespace vel::formats;
using namespace vel::host;

std::string modelRefusal(const fs::path& file) {
  try {
    readDeviceModel(file);
  } catch (const vel::formats::Error& error) {
    return error.what();
  }
  return "(accepted)";
}

struct WrongModel {
  const char* file; // below the test models
  const char* line; // of the error, after the file name
};

void PrintTo(const WrongModel& model, std::ostream* out) {
  *out << model.file;
}

const WrongModel wrongModels[] = {
    {"bad/unknown_key.json", "(whole document): unknown key \"servces\"; did you mean \"services\"?"},
    {"bad/unknown_key_far.json", "/services/0: unknown key \"colour\"; allowed: name, transport, properties, usages, "
                                 "registry-id, registry, driver, device"},
    {"bad/not_an_object.json", "(whole document): is an array, must be an object"},
    {"bad/name_missing.json", "/services/0: lacks the key \"name\""},
    {"bad/name_of_wrong_type.json", "/name: is a number, must be a string"},
    {"bad/name_too_long.json", "/name: has 128 bytes, at most 127 are allowed"},
    {"bad/services_no_array.json", "/services: is an object, must be an array"},
    {"bad/too_many_services.json", "/services: has 257 items, at most 256 are allowed"},
    {"bad/transport_null.json", "/services/0/transport: is null, must be a property value"},
    {"bad/transport_in_properties.json",
     "/services/0/properties: holds \"Transport\", which is written as the service's \"transport\""},
    {"bad/property_integer_too_large.json",
     "/services/0/properties/n: is out of range: -9223372036854775808 to 9223372036854775807"},
    {"bad/property_data_odd.json", "/services/0/properties/d/$data: has an odd number of hexadecimal digits"},
    {"bad/property_data_with_more.json", "/services/0/properties/d: unknown key \"x\"; allowed: $data"},
    {"bad/pointer_is_escaped.json", "/services/0/properties/a~1b~0c: is null, must be a property value"},
    {"bad/usage_out_of_range.json", "/services/0/usages/0/page: is out of range: 0 to 4294967295"},
    {"bad/usage_negative.json", "/services/0/usages/0/page: is out of range: 0 to 4294967295"},
    {"bad/usage_incomplete.json", "/services/0/usages/0: lacks the key \"usage\""},
    {"bad/usage_as_decimal_text.json",
     "/services/0/usages/0/page: \"12\" is not a number; a number in a string is written as \"0x2A\""},
    {"bad/registry_id_zero.json", "/services/0/registry-id: is 0, which no registry entry has"},
    {"bad/registry_id_word.json",
     "/services/0/registry-id: \"any\" is not a number; a number in a string is written as \"0x2A\""},
    {"bad/registry_above_end.json", "/services/0/registry/grandparent: has no place: the entry below it is null"},
    {"bad/registry_children_without_grandparent.json",
     "/services/0/registry/children: has no place: there is no grandparent"},
    {"bad/registry_service_null.json", "/services/0/registry/service: is null, must be an object"},
    {"bad/registry_too_many_children.json", "/services/0/registry/children: has 4 items, at most 3 are allowed"},
    {"bad/parent_read_zero.json", "/services/0/registry/parent/parent-read: is 0, must be \"none\" or a failure code"},
    {"bad/hid_device_number.json", "/services/0/registry/grandparent/hid-device: is a number, must be a boolean"},
    {"bad/driver_unknown_key.json", "/services/0/driver: unknown key \"openresult\"; did you mean \"open-result\"?"},
    {"bad/driver_result_fraction.json",
     "/services/0/driver/open-result: is a fraction or too large, must be a whole number"},
    {"bad/driver_result_too_long.json", "/services/0/driver/open-result: is out of range: 0 to 4294967295"},
    {"bad/hex_odd.json", "/services/0/driver/property-replies/215/0/hex: has an odd number of hexadecimal digits"},
    {"bad/hex_split_pair.json",
     "/services/0/driver/property-replies/215/0/hex: character 2 is not a hexadecimal digit"},
    {"bad/hex_no_digit.json", "/services/0/driver/property-replies/215/0/hex: character 3 is not a hexadecimal digit"},
    {"bad/hex_number.json",
     "/services/0/driver/property-replies/215/0/hex: is a number, must be a string of hexadecimal digits"},
    {"bad/reply_two_contents.json", "/services/0/driver/property-replies/215/0: has more than one content"},
    {"bad/reply_size_alone.json", "/services/0/driver/property-replies/215/0: has a \"size\" without a \"text\""},
    {"bad/reply_size_too_large.json", "/services/0/driver/property-replies/215/0/size: is out of range: 0 to 65536"},
    {"bad/reply_u32_too_large.json", "/services/0/driver/property-replies/215/0/u32: is out of range: 0 to 4294967295"},
    {"bad/reply_length_negative.json",
     "/services/0/driver/property-replies/215/0/length: is out of range: 0 to 18446744073709551615"},
    {"bad/reply_length_too_large.json",
     "/services/0/driver/property-replies/215/0/length: is a fraction or too large, must be a whole number"},
    {"bad/reply_text_nul.json", "/services/0/driver/property-replies/215/0/text: holds a NUL, which no text can"},
    {"bad/replies_no_array.json", "/services/0/driver/property-replies/215: is an object, must be an array"},
    {"bad/replies_empty.json", "/services/0/driver/property-replies/215: has no replies"},
    {"bad/replies_key_word.json",
     "/services/0/driver/property-replies: the key \"two\" is not an id from 0 to 4294967295"},
    {"bad/replies_key_empty.json",
     "/services/0/driver/property-replies: the key \"\" is not an id from 0 to 4294967295"},
    {"bad/layout_unknown_key.json", "/services/0/driver/property-replies/215/0/zorb-statistics: unknown key \"clik "
                                    "count\"; did you mean \"click count\"?"},
    {"bad/layout_out_of_range.json",
     "/services/0/driver/property-replies/215/0/zorb-statistics/click count: is out of range: 0 to 2147483647"},
    {"bad/layout_negative.json", "/services/0/driver/property-replies/215/0/zorb-statistics/finger on ts: is out of "
                                 "range: 0 to 18446744073709551615"},
    {"bad/layout_unknown.json",
     "/services/0/driver/property-replies/215/0: unknown key \"zorb-statistic\"; did you mean \"zorb-statistics\"?"},
    {"bad/analytics_op_too_large.json", "/services/0/device/analytics/0/0/op: is out of range: 0 to 255"},
    {"bad/analytics_value_too_small.json",
     "/services/0/device/analytics/0/0/value: is out of range: -2147483648 to 2147483647"},
    {"bad/analytics_part_of_an_entry.json",
     "/services/0/device/analytics/0: has 1 bytes, which is not a whole number of entries of 7"},
    {"bad/analytics_word.json", "/services/0/device/analytics/0: is a string, must be an array"},
    {"bad/assets_unknown_event.json", "/services/0/driver/property-replies/9/0/zorb-assets: unknown key "
                                      "\"Slow-QuadDown\"; did you mean \"Slow-DeepDown\"?"},
    {"bad/asset_unknown_key.json", "/services/0/driver/property-replies/9/0/zorb-assets/Slow-DeepUp: unknown key "
                                   "\"gian\"; did you mean \"gain\"?"},
    {"bad/asset_gain_too_large.json", "/services/0/driver/property-replies/9/0/zorb-assets/Fast-(null)/gain: is out of "
                                      "range: -32768 to 32767.99998474121"},
    {"bad/asset_enable_too_large.json",
     "/services/0/driver/property-replies/9/0/zorb-assets/Fast-LongPress/enable: is out of range: 0 to 255"},
    {"bad/location_long_letter.json",
     "/services/0/driver/property-replies/9/0/location/letter: has 2 bytes, at most 1 are allowed"},
    {"bad/intervals_negative.json",
     "/services/0/driver/property-replies/9/0/intervals/apBatchInterval: is out of range: 0 to 4294967295"},
    {"bad/matrix_two_rows.json",
     "/services/0/driver/property-replies/9/0/calibration-matrix: has 2 items, must have 3"},
    {"bad/matrix_four_columns.json",
     "/services/0/driver/property-replies/9/0/calibration-matrix/1: has 4 items, at most 3 are allowed"},
    {"bad/matrix_text.json",
     "/services/0/driver/property-replies/9/0/calibration-matrix/1/1: is a string, must be a number"},
    {"bad/offset_fraction.json", "/services/0/driver/property-replies/9/0/calibration-offset/1: is a fraction or too "
                                 "large, must be a whole number"},
    {"bad/orientation_too_small.json",
     "/services/0/driver/property-replies/9/0/orientation-matrix/2/2: is out of range: -128 to 127"},
    {"bad/registers_single.json", "/services/0/driver/property-replies/9/0/registers/0: has 1 items, must have 2"},
    {"bad/register_too_wide.json",
     "/services/0/driver/property-replies/9/0/registers/0/0: is out of range: 0 to 65535"},
    {"bad/stream_word.json",
     "/services/0/driver/property-replies/9/0/text-stream/0: \"octal\" is not one of end, hex, decimal"},
    {"bad/stream_unknown_key.json",
     "/services/0/driver/property-replies/9/0/text-stream/0: unknown key \"u8\"; allowed: u32, u64, text"},
    {"bad/stream_two_kinds.json",
     "/services/0/driver/property-replies/9/0/text-stream/0: must have one of the keys u32, u64, text"},
    {"bad/stream_empty_element.json",
     "/services/0/driver/property-replies/9/0/text-stream/1: must have one of the keys u32, u64, text"},
    {"bad/stream_u32_too_large.json",
     "/services/0/driver/property-replies/9/0/text-stream/0/u32: is out of range: 0 to 4294967295"},
    {"bad/client_long_name.json",
     "/services/0/driver/property-replies/9/0/clients/1/name: has 13 bytes, at most 12 are allowed"},
    {"bad/records_without_flow.json",
     "/services/0/driver/property-replies/9/0/profile-records: lacks the key \"flow\""},
    {"bad/records_unknown_key.json", "/services/0/driver/property-replies/9/0/profile-records: unknown key \"start\"; "
                                     "allowed: flow, seed, clock, sequence, count, batches, silent, later, damage"},
    {"bad/records_unknown_flow.json",
     "/services/0/driver/property-replies/9/0/profile-records/flow: \"quadruple-click\" is not one of mix, idle, "
     "click, double-click, split-double-click, long-press, actuator-timeout, amplifier-timeout, start, driver, "
     "retries, errors, amplifier-errors, random"},
    {"bad/records_too_many.json",
     "/services/0/driver/property-replies/9/0/profile-records/count: is out of range: 0 to 1365"},
    {"bad/records_no_batches.json", "/services/0/driver/property-replies/9/0/profile-records: has no batches"},
    {"bad/reply_layout_and_hex.json", "/services/0/driver/property-replies/9/0: has more than one content"},
    {"bad/analytics_unknown_op.json", "/services/0/device/analytics/0/0/op: \"increment\" is not one of nothing, "
                                      "clear, set, add, clear-distribution, set-distribution, push"},
    {"bad/analytics_unknown_metric.json",
     "/services/0/device/analytics/0/0/key: \"click.count\" is not a metric; docs/records.md has the list"},
    {"bad/analytics_word_without_key.json", "/services/0/device/analytics/0/0: lacks the key \"key\""},
    {"bad/analytics_add_without_value.json", "/services/0/device/analytics/0/0: lacks the key \"value\""},
    {"bad/analytics_clear_with_value.json", "/services/0/device/analytics/0/0/value: has no place: clear takes none"},
    {"bad/analytics_add_fraction.json",
     "/services/0/device/analytics/0/0/value: is a fraction or too large, must be a whole number"},
    {"bad/analytics_push_too_large.json",
     "/services/0/device/analytics/0/0/value: is out of range: -32768 to 32767.99998474121"},
    {"bad/analytics_push_too_often.json", "/services/0/device/analytics/0/0/times: is out of range: 0 to 250"},
    {"bad/analytics_push_never.json", "/services/0/device/analytics/0/0/times: is out of range: 1 to 250"},
    {"bad/analytics_add_times.json",
     "/services/0/device/analytics/0/0/times: has no place: only a push can be repeated"},
    {"unjudged/records_too_many_together.json",
     "/services/0/driver/property-replies/9/0/profile-records: makes 66885 records, at most 65536 are allowed"},
    {"unjudged/stream_too_long.json",
     "/services/0/driver/property-replies/9/0/text-stream: makes 65537 bytes, at most 65536 are allowed"},
    {"unjudged/clients_too_many.json",
     "/services/0/driver/property-replies/9/0/clients: makes 65565 bytes, at most 65536 are allowed"},
    {"bad/time_sync_incomplete.json", "/time-sync: lacks the key \"calendar\""},
    {"bad/time_sync_without_vel.json", "/time-sync: lacks the key \"vel\""},
    {"bad/time_sync_unknown_key.json", "/time-sync: unknown key \"boot\"; allowed: vel, calendar"},
    {"bad/boot_time_text.json", "/boot-time: \"now\" is not a number; a number in a string is written as \"0x2A\""},
    {"bad/named_service_without_name.json", "/named-services/0: lacks the key \"name\""},
    {"bad/named_service_selector.json",
     "/named-services/0/command-replies: the key \"0x1FFFFFFFF\" is not an id from 0 to 4294967295"},
    {"bad/records_silent_unknown.json", "/services/0/driver/property-replies/9/0/profile-records/silent/0: \"nose\" is "
                                        "not one of accel, gyro, compass, pressure, boreal, als, temperature"},
    {"bad/records_later_without_after.json",
     "/services/0/driver/property-replies/9/0/profile-records/later/0: lacks the key \"after\""},
    {"bad/records_later_random.json",
     "/services/0/driver/property-replies/9/0/profile-records/later/0/flow: \"random\" is not one of mix, idle, click, "
     "double-click, split-double-click, long-press, actuator-timeout, amplifier-timeout, start, driver, retries, "
     "errors, amplifier-errors"},
    {"bad/records_later_unknown_key.json", "/services/0/driver/property-replies/9/0/profile-records/later/0: unknown "
                                           "key \"seed\"; allowed: after, flow, clock, sequence"},
    {"unjudged/records_later_order.json", "/services/0/driver/property-replies/9/0/profile-records/later/1/after: is "
                                          "less than that of the change before it"},
    {"bad/records_damage_without_way.json",
     "/services/0/driver/property-replies/9/0/profile-records/damage/0: must have one of the keys lost, hex"},
    {"bad/records_damage_two_ways.json",
     "/services/0/driver/property-replies/9/0/profile-records/damage/0: must have one of the keys lost, hex"},
    {"bad/records_damage_without_batch.json",
     "/services/0/driver/property-replies/9/0/profile-records/damage/0: lacks the key \"batch\""},
    {"unjudged/records_damage_no_batch.json", "/services/0/driver/property-replies/9/0/profile-records/damage/0/batch: "
                                              "is not one of the 2 batches, which count from 0"},
    {"unjudged/records_damage_beyond.json",
     "/services/0/driver/property-replies/9/0/profile-records/damage/0: ends at byte 97, but the batch has 96"},
    {"bad/overrides_without_extends.json", "/overrides: has no place without \"extends\""},
    {"bad/extends_path.json", "/extends: \"../good/empty.json\" is not the name of a file in the same folder"},
    {"bad/extends_parent.json", "/extends: \"..\" is not the name of a file in the same folder"},
    {"bad/extends_nothing.json", "/extends: \"\" is not the name of a file in the same folder"},
    {"unjudged/broken.json",
     "line 2, column 16: syntax error while parsing object key - unexpected '}'; expected string literal"},
    {"unjudged/empty.json",
     "line 1, column 1: syntax error while parsing value - unexpected end of input; expected '[', '{', or a literal"},
    {"unjudged/two_documents.json",
     "line 2, column 1: syntax error while parsing value - unexpected '{'; expected end of input"},
    {"unjudged/key_twice.json", "(whole document): the key \"name\" is there twice"},
    {"unjudged/text_longer_than_field.json",
     "/services/0/driver/property-replies/215/0/text: has 4 bytes, its field has 3"},
    {"unjudged/same_id_twice.json", "/services/0/driver/property-replies/0x10: has the same id as an earlier key"},
    {"unjudged/id_out_of_range.json",
     "/services/0/driver/property-replies: the key \"4294967296\" is not an id from 0 to 4294967295"},
    {"unjudged/same_registry_id_twice.json", "/services/1/registry-id: is that of an earlier service"},
    {"unjudged/device_without_grandparent.json", "/services/0/device: has no place: there is no grandparent"},
    {"unjudged/plug_in_despite_failure.json", "/services/0/driver/plug-in: is true, but creating the plug-in fails"},
    {"unjudged/reply_too_long.json",
     "/services/0/driver/property-replies/215/0/hex: has 65537 bytes, at most 65536 are allowed"},
    {"unjudged/nested_too_deep.json",
     "/services/0/properties/p/0/0/0/0/0/0/0/0/0/0/0/0/0/0/0/0/0/0/0/0/0/0/0/0/0/0/0/0/0/0/0/0/0/0/0/0/0/0/0/0/0/0/0/0/"
     "0/0/0/0/0/0/0/0/0/0/0/0/0/0/0/0/0/0/0: is nested deeper than 64 levels"},
};

class WrongModels : public testing::TestWithParam<WrongModel> {};

TEST_P(WrongModels, AreRefusedWithFilePlaceAndReason) {
  const fs::path file = fs::path(TEST_MODELS) / GetParam().file;
  EXPECT_EQ(modelRefusal(file), file.string() + ": " + GetParam().line);
}

INSTANTIATE_TEST_SUITE_P(DeviceModel, WrongModels, testing::ValuesIn(wrongModels));

TEST(DeviceModel, EveryWrongModelHasItsRow) {
  std::set<std::string> rows;
  for (const WrongModel& model : wrongModels) {
    rows.insert(model.file);
  }
  for (const char* const folder : {"bad", "unjudged"}) {
    for (const auto& entry : fs::directory_iterator(fs::path(TEST_MODELS) / folder)) {
      EXPECT_TRUE(rows.contains(folder + ("/" + entry.path().filename().string()))) << entry.path();
    }
  }
}

TEST(DeviceModel, GoodAndShippedModels_AreAccepted) {
  for (const fs::path& folder : {fs::path(TEST_MODELS) / "good", fs::path(MODELS)}) {
    for (const auto& entry : fs::directory_iterator(folder)) {
      if (entry.path().filename() != "device-model.schema.json") {
        EXPECT_EQ(modelRefusal(entry.path()), "(accepted)");
      }
    }
  }
}

// A few words each, that make more than a whole model may.
struct LargeReplies {
  const char* name;
  std::string replies;
  int place; // of the first that is too much
};

void PrintTo(const LargeReplies& replies, std::ostream* out) {
  *out << replies.name;
}

class TooManyReplies : public testing::TestWithParam<LargeReplies> {};

TEST_P(TooManyReplies, AreRefusedAsAWhole) {
  std::string list = GetParam().replies;
  for (int i = 0; i < 600; ++i) {
    list += "," + GetParam().replies;
  }
  // Part of it is in another service, since the limit is for the whole model.
  const std::string service = R"({"name": "s", "driver": {"property-replies": {"1": [)" + GetParam().replies + "]}}}";
  const std::string text = R"({"services": [)" + service +
                           R"(], "named-services": [{"name": "n", "command-replies": {"2": [)" + list + "]}}]}";
  try {
    parseDeviceModel(text, "test");
    FAIL() << "accepted";
  } catch (const vel::formats::Error& error) {
    EXPECT_EQ(error.what(), "test: /named-services/0/command-replies/2/" + std::to_string(GetParam().place) +
                                ": makes more than all replies of a model may take together");
  }
}

INSTANTIATE_TEST_SUITE_P(
    DeviceModel, TooManyReplies,
    testing::Values(
        LargeReplies{"Text", R"({"text": "", "size": 65536})", 510},
        LargeReplies{"Records", R"({"profile-records": {"flow": "random", "count": 1365, "batches": 48}})", 9},
        LargeReplies{"EmptyBatches", R"({"profile-records": {"flow": "idle", "count": 0, "batches": 4096}})", 145}),
    [](const auto& info) { return info.param.name; });

TEST(DeviceModel, FileOf16MiB_IsTheLargest) {
  const fs::path file = fs::path(testing::TempDir()) / ("large-model-" + std::to_string(getpid()) + ".json");
  std::ofstream(file) << "{}" << std::string((16 << 20) - 2, ' ');
  EXPECT_EQ(modelRefusal(file), "(accepted)");
  std::ofstream(file, std::ios::app) << ' ';
  EXPECT_EQ(modelRefusal(file), file.string() + ": longer than the 16777216 bytes that are allowed");
  fs::remove(file);
}

TEST(DeviceModel, MissingFile_IsNamed) {
  EXPECT_EQ(modelRefusal("no/such/model.json"), "no/such/model.json: No such file or directory");
}

TEST(DeviceModel, Folder_IsNoModel) {
  EXPECT_EQ(modelRefusal(TEST_MODELS), TEST_MODELS ": Is a directory");
}

// The schema has every layout and key of the reader's table, and no others.
TEST(DeviceModel, SchemaListsTheKeysOfEveryLayout) {
  std::ifstream file(fs::path(MODELS) / "device-model.schema.json");
  const auto definitions = nlohmann::json::parse(file).at("$defs");
  for (const ReplyLayout& layout : replyLayouts()) {
    std::set<std::string> keys;
    for (const ReplyField& field : layout.fields) {
      keys.emplace(field.key);
    }
    std::set<std::string> inSchema;
    for (const auto& [key, value] : definitions.at(std::string(layout.name)).at("properties").items()) {
      inSchema.insert(key);
    }
    EXPECT_EQ(inSchema, keys) << layout.name;
  }
}

// The schema has every content that a reply can have, and no others.
TEST(DeviceModel, SchemaListsTheContentsOfAReply) {
  std::ifstream file(fs::path(MODELS) / "device-model.schema.json");
  const auto reply = nlohmann::json::parse(file).at("$defs").at("reply");
  std::set<std::string> names = {"hex", "u32", "text", "size", "length", "result"};
  for (const ReplyContent& content : replyContents()) {
    names.emplace(content.name);
  }
  std::set<std::string> inSchema;
  for (const auto& [key, value] : reply.at("properties").items()) {
    inSchema.insert(key);
  }
  EXPECT_EQ(inSchema, names);
  EXPECT_EQ(reply.at("oneOf").size(), replyContents().size() + 4) << "hex, u32, text, and none at all";
}

// The schema has every flow of profile records, and no others.
TEST(DeviceModel, SchemaListsTheFlows) {
  std::ifstream file(fs::path(MODELS) / "device-model.schema.json");
  std::vector<std::string> flows;
  for (const vel::synthetic::Scene& scene : vel::synthetic::scenes()) {
    flows.emplace_back(scene.name);
  }
  EXPECT_EQ(nlohmann::json::parse(file).at("$defs").at("flow").at("enum"), nlohmann::json(flows));
}

// A model on top of others, which are found by name.
DeviceModel extended(const std::string& text) {
  const std::map<std::string, std::string> others = {
      {"base.json", R"({"services": [{"name": "s", "transport": "VEL", "usages": [{"page": 1, "usage": 2}]}]})"},
      {"itself.json", R"({"extends": "itself.json"})"},
      {"third.json", R"({"extends": "base.json"})"},
      {"second.json", R"({"extends": "third.json"})"},
      {"first.json", R"({"extends": "second.json"})"},
      {"broken.json", "{"},
      {"wrong.json", R"({"servces": []})"},
      {"list.json", "[]"},
  };
  return parseDeviceModel(text, "test", [&](const std::string& name) {
    const auto found = others.find(name);
    return found == others.end() ? throw vel::formats::Error(name + ": No such file or directory") : found->second;
  });
}

struct WrongExtension {
  const char* name;
  std::string model;
  const char* line; // of the error
};

void PrintTo(const WrongExtension& extension, std::ostream* out) {
  *out << extension.name;
}

std::string overriding(const std::string& path, const std::string& value) {
  return R"({"extends": "base.json", "overrides": {")" + path + "\": " + value + "}}";
}

std::string manyOverrides() {
  std::string list;
  for (int i = 0; i < 257; ++i) {
    list += (i == 0 ? "\"/" : ", \"/") + std::to_string(i) + "\": 1";
  }
  return R"({"extends": "base.json", "overrides": {)" + list + "}}";
}

class WrongExtensions : public testing::TestWithParam<WrongExtension> {};

TEST_P(WrongExtensions, AreRefusedWithPlaceAndReason) {
  try {
    extended(GetParam().model);
    FAIL() << "accepted";
  } catch (const vel::formats::Error& error) {
    EXPECT_STREQ(error.what(), GetParam().line);
  }
}

INSTANTIATE_TEST_SUITE_P(
    DeviceModel, WrongExtensions,
    testing::Values(
        WrongExtension{"Missing", R"({"extends": "none.json"})",
                       "test: /extends: none.json: No such file or directory"},
        WrongExtension{"OfNumber", R"({"extends": 5})", "test: /extends: is a number, must be a string"},
        WrongExtension{"OfItself", R"({"extends": "itself.json"})",
                       "itself.json: /extends: is one too many: up to 4 models extend each other, and none itself"},
        WrongExtension{"FiveInARow", R"({"extends": "first.json"})",
                       "third.json: /extends: is one too many: up to 4 models extend each other, and none itself"},
        WrongExtension{"OfBrokenModel", R"({"extends": "broken.json"})",
                       "broken.json: line 1, column 2: syntax error while parsing object key - unexpected end of "
                       "input; expected string literal"},
        WrongExtension{"OfModelWithUnknownKey", R"({"extends": "wrong.json"})",
                       "wrong.json: (whole document): unknown key \"servces\"; did you mean \"services\"?"},
        WrongExtension{"OfList", R"({"extends": "list.json"})",
                       "list.json: (whole document): is an array, must be an object"},
        WrongExtension{"PathWithoutSlash", overriding("services", "[]"),
                       "test: /overrides/services: \"services\" is not a path such as \"/services/Button/transport\""},
        WrongExtension{"UnknownService", overriding("/services/t/transport", "1"),
                       "test: /overrides/~1services~1t~1transport: no \"t\" in /services of base.json"},
        WrongExtension{"UnknownSection", overriding("/service/s", "1"),
                       "test: /overrides/~1service~1s: no \"service\" in the document of base.json"},
        WrongExtension{"BeyondAList", overriding("/services/1", "{}"),
                       "test: /overrides/~1services~11: no \"1\" in /services of base.json"},
        WrongExtension{"BelowTheEndOfAList", overriding("/services/-/name", "{}"),
                       "test: /overrides/~1services~1-~1name: no \"-\" in /services of base.json"},
        WrongExtension{"IntoText", overriding("/services/s/transport/x", "1"),
                       "test: /overrides/~1services~1s~1transport~1x: no \"x\" in /services/0/transport of base.json"},
        WrongExtension{"WrongValue", overriding("/services/s/usages", "5"),
                       "test, which extends base.json: /services/0/usages: is a number, must be an array"},
        WrongExtension{"TooManyOverrides", manyOverrides(), "test: /overrides: has more than 256 members"}),
    [](const auto& info) { return info.param.name; });

TEST(DeviceModel, ModelWithoutFolder_ExtendsNothing) {
  try {
    parseDeviceModel(R"({"extends": "base.json"})", "test");
    FAIL() << "accepted";
  } catch (const vel::formats::Error& error) {
    EXPECT_STREQ(error.what(), "test: /extends: has no place: this model has no folder in which to look");
  }
}

TEST(DeviceModel, FourModels_ExtendEachOther) {
  EXPECT_EQ(extended(R"({"extends": "second.json", "name": "top"})").services.at(0).name, "s");
}

// good/extended.json changes good/middle.json, which changes good/base.json.
TEST(DeviceModel, ExtendedModel_HasAllThatItDoesNotOverride) {
  const DeviceModel model = readDeviceModel(fs::path(TEST_MODELS) / "good/extended.json");
  EXPECT_EQ(model.name, "extended");
  EXPECT_EQ(model.bootTime, 5);
  ASSERT_TRUE(model.timeSync);
  EXPECT_EQ(model.timeSync->calendar, 2);
  ASSERT_EQ(model.services.size(), 3U);
  EXPECT_EQ(model.services[0].name, "a/b~c");
  EXPECT_EQ(model.services[0].properties, (Dictionary{{"Transport", {std::int64_t{5}}}}));
  EXPECT_EQ(model.services[1].properties, (Dictionary{{"Transport", {std::string("VEL")}},
                                                      {"kept", {std::int64_t{1}}},
                                                      {"replaced", {std::int64_t{3}}},
                                                      {"added", {std::int64_t{6}}}}));
  ASSERT_EQ(model.services[1].usages.size(), 2U);
  EXPECT_EQ(model.services[1].usages[0].usage, 9U);
  EXPECT_EQ(model.services[1].usages[1].page, 7U);
  EXPECT_EQ(model.services[2].properties, (Dictionary{{"Transport", {std::string("USB")}}}));
  EXPECT_EQ(model.namedServices.at(0).entry.name, "n");
}

class WholeModel : public testing::Test {
protected:
  const DeviceModel model = readDeviceModel(fs::path(TEST_MODELS) / "good/all_keys.json");
};

TEST_F(WholeModel, Clocks) {
  EXPECT_EQ(model.name, "all");
  EXPECT_EQ(model.bootTime, -5);
  ASSERT_TRUE(model.timeSync);
  EXPECT_EQ(model.timeSync->vel, 1);
  EXPECT_EQ(model.timeSync->calendar, 2);
}

TEST_F(WholeModel, TransportOfAnyTypeIsAProperty) {
  const Dictionary& properties = model.services.at(0).properties;
  ASSERT_EQ(properties.size(), 2U);
  EXPECT_EQ(properties[0].key, "Transport");
  const Dictionary inner = {{"k", {std::string("v")}}};
  EXPECT_EQ(properties[0].value,
            (Value{Array{{std::int64_t{1}}, {Bytes{std::byte{0}, std::byte{0xFF}}}, {2.5}, {true}, {inner}}}));
  EXPECT_EQ(properties[1].value, Value{std::numeric_limits<std::int64_t>::min()});
  EXPECT_EQ(model.services.at(1).properties, (Dictionary{{"Transport", {std::int64_t{5}}}}));
  EXPECT_EQ(model.services.at(2).properties, Dictionary());
}

TEST_F(WholeModel, RegistryAndIDs) {
  const ServiceModel& one = model.services.at(0);
  EXPECT_EQ(one.registryID, RegistryID::ofEntry);
  EXPECT_EQ(one.entryID, 0x10U);
  ASSERT_EQ(one.entries.size(), 3U) << "ends below the great-grandparent, which is null";
  EXPECT_EQ(one.entries[0].name, "sn");
  EXPECT_EQ(one.entries[0].className, "sc");
  EXPECT_EQ(one.entries[1].brokenParent, kIOReturnNoDevice);
  EXPECT_EQ(one.entries[2].brokenParent, kIOReturnSuccess);
  EXPECT_FALSE(one.entries[2].isHIDDevice);
  ASSERT_EQ(one.children.size(), 3U);
  EXPECT_EQ(one.children[0].name, "i");
  EXPECT_EQ(one.children[1].name, "driver");
  EXPECT_EQ(one.children[2].properties.at(0).key, "DebugState");
  EXPECT_EQ(model.services.at(1).registryID, RegistryID::missing);
  EXPECT_EQ(model.services.at(1).entries.size(), 1U);
  EXPECT_EQ(model.services.at(2).registryID, RegistryID::unmatched);
  EXPECT_EQ(model.services.at(2).entries.size(), 4U);
  EXPECT_TRUE(model.services.at(2).entries[2].isHIDDevice);
}

TEST_F(WholeModel, UserClients) {
  const auto& driver = model.services.at(0).driver;
  ASSERT_TRUE(driver);
  EXPECT_TRUE(driver->plugIn.yieldsPlugIn);
  EXPECT_FALSE(driver->plugIn.hasInterface);
  EXPECT_EQ(driver->plugIn.queryResult, E_NOINTERFACE);
  EXPECT_EQ(driver->plugIn.openResult, 7);
  const auto& device = model.services.at(0).device;
  ASSERT_TRUE(device);
  EXPECT_FALSE(device->plugIn.yieldsPlugIn);
  EXPECT_EQ(device->plugIn.createResult, kIOReturnError);
  EXPECT_FALSE(model.services.at(1).driver);
  EXPECT_FALSE(model.services.at(2).device);
}

TEST_F(WholeModel, RepliesInOrder) {
  const ReplyLists& properties = model.services.at(0).driver->replies.properties;
  const auto& list = properties.at(215);
  ASSERT_EQ(list.size(), 4U);
  EXPECT_EQ(list[0].content->size(), 330U);
  EXPECT_EQ(list[1].length, std::numeric_limits<std::uint64_t>::max());
  EXPECT_EQ(list[2].result, kIOReturnError);
  EXPECT_FALSE(list[2].content);
  const auto& texts = properties.at(16);
  EXPECT_EQ(texts.at(0).content->size(), 32U);
  EXPECT_EQ(texts.at(1).content, (Bytes{std::byte{'m'}, std::byte{0}}));
  EXPECT_EQ(texts.at(2).content, Bytes(4, std::byte{0xFF}));
  EXPECT_EQ(model.services.at(0).driver->replies.commands.at(57).at(0).result, 3);
}

TEST_F(WholeModel, AnalyticsBatches) {
  const auto bytes = [](std::initializer_list<int> values) {
    Bytes result;
    for (const int value : values) {
      result.push_back(static_cast<std::byte>(value));
    }
    return result;
  };
  EXPECT_THAT(model.services.at(0).device->analytics,
              testing::ElementsAre(bytes({0x31, 3, 47, 0, 0, 0, 0x80, 0x30, 0, 0, 0, 0, 0, 0}),
                                   bytes({0x30, 1, 2, 3, 4, 5, 6})));
}

TEST_F(WholeModel, NamedServices) {
  ASSERT_EQ(model.namedServices.size(), 1U);
  const NamedServiceModel& service = model.namedServices[0];
  EXPECT_EQ(service.entry.name, "n");
  EXPECT_EQ(service.entry.className, "c");
  EXPECT_EQ(service.openResult, 1);
  EXPECT_EQ(service.replies.properties.count(209), 1U);
  EXPECT_EQ(service.replies.commands.size(), 2U);
}

} // namespace
