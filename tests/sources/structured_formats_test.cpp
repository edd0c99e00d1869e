// JSON and CSV read back by a reader that is not ours: nothing of a record is lost.
#include "support/record_files.h"
#include <profile/fields.h>
#include <sources/renderer.h>
#include <synthetic/record_stream.h>

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include <cstdlib>
#include <ctime>

namespace vel::sources {

namespace {

using Json = nlohmann::ordered_json;

std::vector<_VelProfileReport> anyRecords() {
  constexpr std::size_t count = 2000;
  std::vector<_VelProfileReport> records(2 * count);
  synthetic::RandomStream(17).fill({records.data(), count});
  synthetic::FlowStream(17).fill({records.data() + count, count});
  return records;
}

const unsigned char* bytesOf(const _VelProfileReport& record) {
  return reinterpret_cast<const unsigned char*>(&record);
}

std::string rendered(Renderer& renderer, const std::vector<_VelProfileReport>& records) {
  OutputBuffer out;
  renderer.render(bytesOf(records[0]), records.size(), out);
  return std::string(out.view());
}

std::vector<std::string> linesOf(const std::string& text) {
  std::vector<std::string> lines;
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t end = text.find('\n', at);
    lines.push_back(text.substr(at, end - at));
    at = end + 1;
  }
  return lines;
}

// Each code point below 256 is one byte.
std::string bytesOfString(const std::string& utf8) {
  std::string bytes;
  for (std::size_t i = 0; i < utf8.size(); ++i) {
    const unsigned char first = static_cast<unsigned char>(utf8[i]);
    if (first < 0x80) {
      bytes += utf8[i];
    } else {
      EXPECT_LT(first, 0xC4) << "a code point above 255";
      bytes += static_cast<char>((first & 3) << 6 | (utf8[++i] & 0x3F));
    }
  }
  return bytes;
}

// Every value of the payload against the typed fields.
void expectPayload(const Json& payload, const _VelProfileReport& record) {
  profile::FieldCursor cursor(&record);
  profile::Field field;
  std::size_t fields = 0;
  while (cursor.next(field)) {
    ++fields;
    ASSERT_LT(field.group, payload.size());
    const Json& group = payload[field.group];
    EXPECT_EQ(group["layout"], std::string(field.layout->name));
    const Json& value = group["fields"].at(std::string(field.row->key));
    using profile::FieldKind;
    switch (field.row->kind) {
    case FieldKind::number:
      if (field.row->size == 8) {
        EXPECT_EQ(value, std::to_string(field.number));
        break;
      }
      [[fallthrough]];
    case FieldKind::constant:
    case FieldKind::quoted_number:
    case FieldKind::character:
      EXPECT_EQ(value, field.number);
      break;
    case FieldKind::text:
      EXPECT_EQ(bytesOfString(value.get<std::string>()), field.bytes);
      break;
    case FieldKind::subtype_name:
      EXPECT_EQ(value["id"], field.number);
      EXPECT_EQ(value["name"], std::string(field.bytes));
      break;
    case FieldKind::bytes:
    case FieldKind::sliced_bytes:
      EXPECT_EQ(value.get<std::vector<unsigned char>>(),
                std::vector<unsigned char>(field.bytes.begin(), field.bytes.end()));
      break;
    case FieldKind::fixed_point:
      EXPECT_EQ(value.get<double>(), field.real);
      break;
    }
  }
  std::size_t shown = 0;
  for (const Json& group : payload) {
    shown += group["fields"].size();
  }
  EXPECT_EQ(shown, fields);
}

TEST(JsonFormat, EveryRecordReadsBack) {
  const auto records = anyRecords();
  const std::vector<std::string> lines = linesOf(rendered(*makeJsonRenderer({}), records));
  ASSERT_EQ(lines.size(), records.size());
  for (std::size_t i = 0; i < records.size(); ++i) {
    ASSERT_THAT(lines[i], testing::Each(testing::AllOf(testing::Ge(' '), testing::Le('~'))));
    const Json json = Json::parse(lines[i]);
    const _VelProfileReport& record = records[i];
    EXPECT_EQ(json["binary-data"].get<Bytes>(), Bytes(bytesOf(record), bytesOf(record) + recordSize));
    EXPECT_EQ(json["category-id"], record.category);
    EXPECT_EQ(json["component-id"], record.component);
    EXPECT_EQ(json["event-id"], record.event);
    EXPECT_EQ(json["type-id"], record.type);
    EXPECT_EQ(json["sequence_num"], record.sequence_num);
    EXPECT_EQ(json["timestamp"], std::to_string(record.timestamp));
    EXPECT_FALSE(json.contains("calendar-time") || json.contains("boot-timestamp"));
    expectPayload(json["payload"], record);
    if (HasFailure()) {
      FAIL() << lines[i];
    }
  }
}

TEST(JsonFormat, LayoutShownTwice_IsThereTwice) {
  Bytes bytes = record(1, {7, 0, 9, 2}); // an unrecognised packet
  OutputBuffer out;
  makeJsonRenderer({})->render(bytes.data(), 1, out);
  const Json payload = Json::parse(out.view())["payload"];
  ASSERT_EQ(payload.size(), 2U);
  EXPECT_EQ(payload[0], payload[1]);
  EXPECT_EQ(payload[0]["layout"], "short-data");
}

// A zone that is not UTC.
class InZone : public testing::Test {
protected:
  InZone() {
    setenv("TZ", "XYZ-3:30", 1);
    tzset();
  }
  ~InZone() override {
    unsetenv("TZ");
    tzset();
  }
};

TEST_F(InZone, JsonFormat_ShowsTimes) {
  const profile::TimePolicy times{profile::TimeSync{1000000000, 1700000000000000000}, 18446744073709551615U};
  Bytes bytes;
  for (const std::uint64_t time : {1000000U, 1000417U, 2000417U}) {
    append(bytes, record(1, {200, 1, 2, 0}, time));
  }
  OutputBuffer out;
  makeJsonRenderer(times)->render(bytes.data(), 3, out);
  std::vector<std::string> texts;
  for (const std::string& line : linesOf(std::string(out.view()))) {
    const Json json = Json::parse(line);
    EXPECT_EQ(json["boot-timestamp"], "18446744073709551615");
    texts.push_back(json["calendar-time"]);
  }
  EXPECT_THAT(texts,
              testing::ElementsAre("Nov 15 01:43:20.000000", "Nov 15 01:43:20.000417", "Nov 15 01:43:21.000417"));
}

std::vector<std::string> csvColumns(const std::string& line) {
  std::vector<std::string> columns(1);
  bool quoted = false;
  for (std::size_t i = 0; i < line.size(); ++i) {
    if (quoted && line[i] == '"' && i + 1 < line.size() && line[i + 1] == '"') {
      columns.back() += line[++i];
    } else if (line[i] == '"') {
      quoted = !quoted;
    } else if (line[i] == ',' && !quoted) {
      columns.emplace_back();
    } else {
      columns.back() += line[i];
    }
  }
  return columns;
}

TEST(CsvFormat, EveryRecordReadsBack) {
  const auto records = anyRecords();
  const profile::TimePolicy times{std::nullopt, 77};
  const std::vector<std::string> lines = linesOf(rendered(*makeCsvRenderer(times), records));
  const std::vector<std::string> names = csvColumns(std::string(csvHeader.substr(0, csvHeader.size() - 1)));
  ASSERT_EQ(lines.size(), records.size());
  for (std::size_t i = 0; i < records.size(); ++i) {
    const std::vector<std::string> columns = csvColumns(lines[i]);
    ASSERT_EQ(columns.size(), names.size()) << lines[i];
    std::map<std::string, std::string> row;
    for (std::size_t j = 0; j < names.size(); ++j) {
      row[names[j]] = columns[j];
    }
    const _VelProfileReport& record = records[i];
    std::string hex;
    for (std::size_t j = 0; j < recordSize; ++j) {
      char digits[3];
      std::snprintf(digits, sizeof digits, "%02x", bytesOf(record)[j]);
      hex += digits;
    }
    EXPECT_EQ(row["binary-data"], hex);
    EXPECT_EQ(row["category-id"], std::to_string(record.category));
    EXPECT_EQ(row["component-id"], std::to_string(record.component));
    EXPECT_EQ(row["event-id"], std::to_string(record.event));
    EXPECT_EQ(row["type-id"], std::to_string(record.type));
    EXPECT_EQ(row["timestamp"], std::to_string(record.timestamp));
    EXPECT_EQ(row["sequence_num"], std::to_string(record.sequence_num));
    EXPECT_EQ(row["calendar-time"], "");
    EXPECT_EQ(row["boot-timestamp"], "77");
    expectPayload(Json::parse(row["payload"]), record);
    if (HasFailure()) {
      FAIL() << lines[i];
    }
  }
}

} // namespace

} // namespace vel::sources
