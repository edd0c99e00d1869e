// SQL as a C++ interface: what is pushed down, typed values, limits, and what failures leave behind.
#include <query/database.h>
#include <support/record_files.h>

#include <gmock/gmock.h>

#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace {

using namespace vel;
using query::Database;
using query::Error;
using query::Statement;
using query::ValueType;
using sources::Bytes;
using testing::ElementsAre;
using testing::HasSubstr;

// Ten records each of two categories, numbered from 0.
Bytes twoCategories() {
  Bytes bytes;
  for (std::uint32_t i = 0; i < 10; ++i) {
    sources::append(bytes, sources::record(i, {.category = 7}, 100 + i));
    sources::append(bytes, sources::record(i, {.category = 6, .event = 3}, 200 + i));
  }
  return bytes;
}

class DatabaseTest : public testing::Test {
protected:
  // The values of the first column, as text.
  std::vector<std::string> ask(const std::string& sql) {
    Statement rows = database.prepare(sql);
    std::vector<std::string> values;
    while (rows.step()) {
      values.emplace_back(rows.text(0));
    }
    return values;
  }

  std::string failure(const std::string& sql) {
    try {
      ask(sql);
    } catch (const Error& error) {
      return error.what();
    }
    return "no failure";
  }

  sources::TemporaryFile file{twoCategories()};
  sources::Sources sources{{file.path()}, {}};
  Database database{sources};
};

TEST_F(DatabaseTest, Filters_OnlyWhatTheSelectionLetsPassReachesSQLite) {
  const std::pair<const char*, std::uint64_t> rows[] = {
      {"category = 'zorb'", 10},
      {"category IN ('zorb', 'uart')", 20},
      {"category IN ('uart', 'nothing')", 10},
      {"category_id = 6", 10},
      {"event = 'trace' AND category = 'uart'", 10},
      {"event_id = 4", 0},
      {"type = 'event'", 20},
      {"component_id = 0 AND type_id = 3", 20},
      {"sequence_num BETWEEN 3 AND 4", 4},
      {"sequence_num > 8.5", 4},
      {"timestamp >= 205", 5},
      {"timestamp < 103", 3},
      {"timestamp = 104", 1},
      {"timestamp IN (104, 106)", 3},
      {"category = 'nothing'", 0},
      {"category = NULL", 0},
      {"sequence_num < 0", 0},
      {"category = 'ZORB' COLLATE NOCASE", 10},
      {"category = 'ZORB'", 10},                // SQLite drops them
      {"category = 'zorb ' COLLATE RTRIM", 20}, // SQLite's own work
      {"category GLOB 'z*'", 10},
      {"type GLOB 'e*' AND category GLOB '[a-y]*'", 10},
      {"type GLOB '[0-9]*'", 0},
      {"category GLOB 'Z*'", 0},
      {"category GLOB 7", 20},                           // SQLite's own work
      {"category GLOB 'z*' AND category GLOB 'u*'", 10}, // one narrows
      {"component GLOB 'z*'", 20},                       // other names in each category
      {"run = 5", 20},
  };
  for (const auto& [where, produced] : rows) {
    const std::uint64_t before = database.recordsProduced();
    ask(std::string("SELECT count(*) FROM records WHERE ") + where);
    EXPECT_EQ(database.recordsProduced() - before, produced) << where;
  }
}

TEST_F(DatabaseTest, Limit_NoMoreRecordsAreReadThanAskedFor) {
  EXPECT_EQ(ask("SELECT sequence_num FROM records LIMIT 2").size(), 2U);
  EXPECT_LE(database.recordsProduced(), 3U);
}

TEST_F(DatabaseTest, Values_HaveTheirTypes) {
  Statement rows = database.prepare("SELECT 1, 2.5, 'a', x'00ff', NULL, '1' || char(0) || '2'");
  ASSERT_EQ(rows.columns(), 6U);
  ASSERT_TRUE(rows.step());
  const ValueType types[] = {ValueType::integer, ValueType::real, ValueType::text,
                             ValueType::blob,    ValueType::null, ValueType::text};
  for (std::size_t i = 0; i < rows.columns(); ++i) {
    EXPECT_EQ(rows.type(i), types[i]) << i;
  }
  EXPECT_EQ(rows.integer(0), 1);
  EXPECT_EQ(rows.real(1), 2.5);
  EXPECT_EQ(rows.text(2), "a");
  EXPECT_THAT(rows.blob(3), ElementsAre(std::byte{0}, std::byte{0xff}));
  EXPECT_EQ(rows.text(4), "");
  EXPECT_EQ(rows.text(5), std::string_view("1\0002", 3));
  EXPECT_FALSE(rows.step());
}

TEST_F(DatabaseTest, GreatNumbers_AreTextOfTheirDigits) {
  Bytes bytes = sources::record(0, {}, 0x7fffffffffffffff);
  sources::append(bytes, sources::record(1, {}, 0x8000000000000000));
  sources::append(bytes, sources::record(2, {}, 0xffffffffffffffff));
  const sources::TemporaryFile great(bytes);
  sources::Sources from({great.path()}, {});
  Database other(from);
  Statement rows = other.prepare("SELECT typeof(timestamp) || ' ' || timestamp FROM records");
  for (const char* const value :
       {"integer 9223372036854775807", "text 9223372036854775808", "text 18446744073709551615"}) {
    ASSERT_TRUE(rows.step());
    EXPECT_EQ(rows.text(0), value);
  }
}

TEST_F(DatabaseTest, Statements_RunSideBySideAndAfterAFailure) {
  Statement first = database.prepare("SELECT sequence_num FROM records WHERE category = 'zorb'");
  Statement second = database.prepare("SELECT sequence_num FROM records WHERE category = 'uart' AND sequence_num > 3");
  EXPECT_THROW(database.prepare("SELECT nothing"), Error);
  EXPECT_THROW(database.prepare("DELETE FROM records"), Error);
  for (int i = 0; i < 3; ++i) {
    ASSERT_TRUE(first.step());
    ASSERT_TRUE(second.step());
    EXPECT_EQ(first.integer(0), i);
    EXPECT_EQ(second.integer(0), i + 4);
  }
}

TEST_F(DatabaseTest, TheTimeLimit_EndsTheStatementAndNotTheDatabase) {
  Database hurried(sources, {.time = std::chrono::milliseconds(1)});
  Statement endless =
      hurried.prepare("WITH RECURSIVE c(x) AS (SELECT 1 UNION ALL SELECT x + 1 FROM c) SELECT count(*) FROM c");
  EXPECT_THROW(endless.step(), Error);
  Statement unlimited = database.prepare("SELECT count(*) FROM records");
  ASSERT_TRUE(unlimited.step());
  EXPECT_EQ(unlimited.integer(0), 20);
}

TEST_F(DatabaseTest, TheMemoryLimit_EndsTheStatementAndNotTheDatabase) {
  Database small(sources, {.memory = 8 << 20});
  EXPECT_EQ(
      [&]() -> std::string {
        try {
          Statement large = small.prepare("WITH RECURSIVE c(x) AS (SELECT 1 UNION ALL SELECT x + 1 FROM c LIMIT 100000)"
                                          " SELECT hex(zeroblob(1000)) AS a FROM c ORDER BY random()");
          large.step();
        } catch (const Error& error) {
          return error.what();
        }
        return "no failure";
      }(),
      "the SQL needs more than the 8 MiB of memory that it may use");
  Statement next = small.prepare("SELECT count(*) FROM records");
  ASSERT_TRUE(next.step());
  EXPECT_EQ(next.integer(0), 20);
}

TEST_F(DatabaseTest, Errors_TellThePlace) {
  EXPECT_THAT(failure("SELECT 1,\n  (2"), HasSubstr("the SQL"));
  EXPECT_THAT(failure("SELECT 1,\n  foo(2)"), HasSubstr("line 2, column 3: no such function: foo"));
  EXPECT_THAT(failure(std::string("SELECT 1\0", 9)), HasSubstr("line 1, column 9: a NUL"));
  EXPECT_THAT(failure(std::string(2 << 20, ' ')), HasSubstr("longer than the 1048576 bytes"));
  EXPECT_THAT(failure("SELECT 1 FROM record"), HasSubstr("did you mean 'records'?"));
}

TEST(Schema, EveryNameIsOneOfSQL_AndUnique) {
  std::set<std::string> tables;
  for (const query::TableInfo& table : query::schema()) {
    EXPECT_TRUE(tables.insert(table.name).second) << table.name;
    std::set<std::string> columns;
    for (const query::ColumnInfo& column : table.columns) {
      EXPECT_TRUE(columns.insert(column.name).second) << table.name << '.' << column.name;
      EXPECT_THAT(column.name, testing::MatchesRegex("[A-Za-z][A-Za-z0-9_]*"));
      EXPECT_FALSE(column.about.empty()) << table.name << '.' << column.name;
    }
  }
}

TEST_F(DatabaseTest, EachTable_CanBeRead) {
  for (const query::TableInfo& table : query::schema()) {
    EXPECT_EQ(ask("SELECT count(*) FROM " + table.name).size(), 1U) << table.name;
  }
}

TEST_F(DatabaseTest, JsonInValues_CanBeRead) {
  EXPECT_THAT(ask("SELECT value FROM json_each('[1, 22]')"), ElementsAre("1", "22"));
  EXPECT_THAT(failure("CREATE TABLE json_each(x)"), HasSubstr("may only read"));
}

// Two runs of one raw file: numbers 5, 6 and 9, and after a restart number 0.
sources::Bytes restarted() {
  sources::Bytes bytes;
  sources::append(bytes, sources::record(5, {}, 5001000));
  sources::append(bytes, sources::record(6, {}, 5002000));
  sources::append(bytes, sources::record(9, {}, 5003000));
  sources::append(bytes, sources::record(0, {}, 10));
  return bytes;
}

TEST(ReadingTables, Runs_AreThoseOfTheRecords) {
  sources::TemporaryFile file{restarted()};
  sources::Sources sources{{file.path()}, {}};
  Database database{sources};
  Statement row =
      database.prepare("SELECT run, start, first_time, last_time, first_sequence, last_sequence, runs.records, "
                       "gaps, missing, source, (SELECT count(*) FROM records WHERE records.run = runs.run) "
                       "FROM runs");
  std::vector<std::vector<std::string>> rows;
  while (row.step()) {
    auto& values = rows.emplace_back();
    for (std::size_t i = 0; i < row.columns(); ++i) {
      values.emplace_back(row.text(i));
    }
  }
  EXPECT_THAT(rows,
              ElementsAre(ElementsAre("0", "first", "5001000", "5003000", "5", "9", "3", "1", "2", file.path(), "3"),
                          ElementsAre("1", "restarted", "10", "10", "0", "0", "1", "0", "0", file.path(), "1")));
}

TEST(ReadingTables, Defects_AreThoseOfLinesAndOfCaptures) {
  const std::string lines = "{  'category':'zorb', 'binary-data':[1,2,3]}\n{  'category':'zorb', 'x\n";
  sources::TemporaryFile file{sources::Bytes(lines.begin(), lines.end())};
  sources::Sources sources{{file.path()}, {.tellFindings = false}};
  Database database{sources};
  Statement row = database.prepare("SELECT kind, count, report IS NULL, position, text FROM defects ORDER BY kind");
  std::map<std::string, std::string> texts;
  while (row.step()) {
    texts[std::string(row.text(0))] = row.text(4);
    EXPECT_EQ(row.integer(1), 1);
    EXPECT_EQ(row.integer(2), 1);
  }
  EXPECT_THAT(texts,
              testing::ElementsAre(testing::Pair("damaged", HasSubstr("line 1: its binary-data is not 48 bytes")),
                                   testing::Pair("truncated", HasSubstr("1 line was cut"))));
}

TEST(ReadingTables, ACaptureInMemory_HasClocksServicesAndItsLog) {
  sources::Capture capture;
  capture.clocks.push_back({.offset = -7, .boot = {}, .lines = 3});
  capture.services.push_back({.name = "s", .logLines = 4});
  capture.log.push_back({.message = "m", .count = 5});
  sources::Sources sources{"memory", std::move(capture), {}};
  Database database{sources};
  Statement row = database.prepare("SELECT log.source, services.log_lines, log.count FROM services, log");
  ASSERT_TRUE(row.step());
  EXPECT_EQ(row.text(0), "memory");
  EXPECT_EQ(row.integer(1), 4);
  EXPECT_EQ(row.integer(2), 5);
  Statement clock = database.prepare("SELECT count(*) FROM clocks WHERE offset = -7 AND boot IS NULL AND lines = 3");
  ASSERT_TRUE(clock.step());
  EXPECT_EQ(clock.integer(0), 0) << "relations are those of the capture's lines, of which it has none";
}

TEST_F(DatabaseTest, Reference_IsASecondSetOfTables) {
  sources::TemporaryFile other{restarted()};
  sources::Sources good{{other.path()}, {}};
  Database both{sources, good};
  Statement row = both.prepare("SELECT (SELECT count(*) FROM records), (SELECT count(*) FROM reference_records), "
                               "(SELECT count(*) FROM runs), (SELECT count(*) FROM reference_runs)");
  ASSERT_TRUE(row.step());
  EXPECT_EQ(row.integer(0), 20);
  EXPECT_EQ(row.integer(1), 4);
  EXPECT_EQ(row.integer(3), 2);
  EXPECT_THAT(failure("SELECT 1 FROM reference_records"), HasSubstr("no such table"));
}

} // namespace
