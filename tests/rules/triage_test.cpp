// From a rule's rows to findings: their words, order, evidence and number, and rules that are wrong.
#include <rules/self_test.h>
#include <rules/triage.h>
#include <support/record_files.h>

#include <gmock/gmock.h>

#include <filesystem>
#include <string>
#include <vector>

namespace {

using namespace vel;
using namespace vel::rules;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

Rule rule(const std::string& name, const std::string& severity, const std::string& finding, const std::string& sql,
          const std::string& more = {}) {
  return readRule("-- title: t\n-- severity: " + severity + "\n-- finding: " + finding +
                      "\n-- why: because\n-- next: then\n" + more + sql,
                  name + ".sql");
}

sources::Capture captureOfOneReport() {
  sources::Capture capture;
  formats::Dictionary members;
  members.push_back({"clicks", formats::Value{std::int64_t{3}}});
  members.push_back({"name", formats::Value{std::string("ab\x1b[31m")}});
  capture.reports.push_back({.title = "Report", .file = "folder/001.state", .handler = 1, .value = {members}});
  capture.log.push_back({.level = "error", .message = "m", .count = 7});
  return capture;
}

class TriageTest : public testing::Test {
protected:
  std::vector<Finding> find(const std::vector<Rule>& rules, const query::Limits& limits = {}) {
    return triage(device, nullptr, rules, limits);
  }

  std::string failure(const Rule& wrong, const query::Limits& limits = {}) {
    try {
      find({wrong}, limits);
    } catch (const Error& error) {
      return error.what();
    }
    return "no failure";
  }

  sources::Sources device{"device", captureOfOneReport(), {}};
};

TEST_F(TriageTest, Words_AreFilledFromTheRow) {
  const auto found = find({rule("r", "error", "{n} of {m}, {text}{absent}{half}{bytes}.",
                                "SELECT 2 AS n, 30 AS m, 'x' AS text, NULL AS absent, 0.5 AS half, x'0102' AS bytes")});
  ASSERT_EQ(found.size(), 1U);
  EXPECT_EQ(found[0].text, "2 of 30, x0.52 bytes.");
  EXPECT_EQ(found[0].rule, "r");
  EXPECT_EQ(found[0].why, "because");
  EXPECT_EQ(found[0].next, "then");
  EXPECT_EQ(found[0].severity, Severity::error);
}

TEST_F(TriageTest, Evidence_IsWhatTheColumnsTell) {
  const auto found = find({rule("r", "note", "x",
                                "SELECT source, report_number AS report, path, 4 AS position FROM state "
                                "WHERE path = 'clicks'")});
  ASSERT_EQ(found.size(), 1U);
  const Evidence& evidence = found[0].evidence;
  EXPECT_EQ(evidence.source, "device");
  EXPECT_EQ(evidence.report, 0U);
  EXPECT_EQ(evidence.title, "Report");
  EXPECT_EQ(evidence.file, "folder/001.state");
  EXPECT_EQ(evidence.path, "clicks");
  EXPECT_EQ(evidence.position, 4U);
}

TEST_F(TriageTest, Commands_HaveNamesAsWordsAndTextsThatNoShellActsOn) {
  const std::pair<const char*, const char*> names[] = {
      {"logs/a-1.bin", "logs/a-1.bin"}, {"my log", "'my log'"}, {"it''s", "'it'\\''s'"}, {"$(x)", "'$(x)'"}, {"", "''"},
  };
  for (const auto& [name, word] : names) {
    const auto found = find({readRule(std::string("-- title: t\n-- severity: note\n-- finding: {source} {event}\n"
                                                  "-- why: because\n-- next: velstat show {source} \"{event}\"\n"
                                                  "SELECT '") +
                                          name + "' AS source, 'a$(b)`c`\"d' AS event",
                                      "r.sql")});
    ASSERT_EQ(found.size(), 1U);
    EXPECT_EQ(found[0].next, std::string("velstat show ") + word + " \"a?(b)?c??d\"");
    EXPECT_THAT(found[0].text, testing::EndsWith(" a$(b)`c`\"d"));
  }
}

TEST_F(TriageTest, Evidence_OfOtherTypesIsLeftOut) {
  const auto found = find({rule("r", "note", "x",
                                "SELECT 'elsewhere' AS source, 9 AS report, NULL AS path, -1 AS position "
                                "UNION ALL SELECT 'device', 'two', '', 'p'")});
  ASSERT_EQ(found.size(), 2U);
  EXPECT_EQ(found[0].evidence.report, 9U);
  EXPECT_EQ(found[0].evidence.title, "");
  EXPECT_EQ(found[0].evidence.position, std::nullopt);
  EXPECT_EQ(found[1].evidence.report, std::nullopt);
  EXPECT_EQ(found[1].evidence.position, std::nullopt);
}

TEST_F(TriageTest, Worst_IsFirst) {
  const auto found =
      find({rule("note", "note", "x", "SELECT 1", "-- rank: 100\n"),
            rule("low", "error", "x", "SELECT 1", "-- rank: 10\n"), rule("warning", "warning", "x", "SELECT 1"),
            rule("b", "error", "x", "SELECT 1"), rule("a", "error", "{n}", "SELECT 1 AS n UNION ALL SELECT 2"),
            rule("high", "error", "x", "SELECT 1", "-- rank: 90\n")});
  std::vector<std::string> order;
  for (const Finding& finding : found) {
    order.push_back(finding.rule + finding.text);
  }
  EXPECT_THAT(order, ElementsAre("highx", "a1", "a2", "bx", "lowx", "warningx", "notex"));
}

TEST_F(TriageTest, ManyRows_AreCountedInTheLastFinding) {
  const std::string rows = "WITH RECURSIVE c(n) AS (SELECT 1 UNION ALL SELECT n + 1 FROM c LIMIT 25) SELECT n FROM c";
  const auto found = find({rule("r", "note", "{n}", rows)});
  ASSERT_EQ(found.size(), mostFindings);
  EXPECT_EQ(found.front().more, 0U);
  EXPECT_EQ(found.back().text, "20");
  EXPECT_EQ(found.back().more, 5U);
}

TEST_F(TriageTest, LongValues_AreCutBetweenCharacters) {
  const auto found = find({rule("r", "note", "{v}", "SELECT replace(hex(zeroblob(150)), '0', 'ä') AS v")});
  ASSERT_EQ(found.size(), 1U);
  std::string expected;
  for (int i = 0; i < 100; ++i) {
    expected += "ä";
  }
  EXPECT_EQ(found[0].text, expected + "…");
  const auto odd = find({rule("r", "note", "{v}", "SELECT 'x' || replace(hex(zeroblob(150)), '0', 'ä') AS v")});
  EXPECT_EQ(odd[0].text, "x" + expected.substr(0, expected.size() - 2) + "…");
}

TEST_F(TriageTest, WrongRules_AreOneLineWithFileAndPlace) {
  EXPECT_EQ(failure(rule("r", "note", "x", "SELECT\n xyzzy FROM state")),
            "r.sql: the SQL, line 7, column 2: no such column: xyzzy; --schema lists tables and columns");
  EXPECT_EQ(failure(rule("r", "note", "x {gone}", "SELECT 1 AS one, 2 AS two")),
            "r.sql: line 3: {gone} is not a column of the query, which has one, two");
  EXPECT_THAT(failure(rule("r", "note", "x", "DELETE FROM state")), StartsWith("r.sql: the SQL"));
  EXPECT_THAT(failure(rule("r", "note", "x", "ATTACH 'x' AS y")), HasSubstr("may only read"));
  EXPECT_THAT(failure(rule("r", "note", "x", "")), HasSubstr("r.sql: the SQL holds no statement"));
  EXPECT_THAT(failure(rule("r", "note", "x", "SELECT 1; SELECT 2")), HasSubstr("only one statement"));
  EXPECT_THAT(failure(rule("r", "note", "x",
                           "WITH RECURSIVE c(n) AS (SELECT 1 UNION ALL SELECT n FROM c) SELECT sum(n) FROM c"),
                      {.time = std::chrono::milliseconds(30)}),
              StartsWith("r.sql: the SQL has not ended within 0.03 s"));
}

TEST_F(TriageTest, WrongRules_AreFoundBeforeAnyRuns) {
  const Rule slow =
      rule("slow", "note", "x", "WITH RECURSIVE c(n) AS (SELECT 1 UNION ALL SELECT n FROM c) SELECT sum(n) FROM c");
  try {
    find({slow, rule("wrong", "note", "x", "SELECT nothing")},
         {.time = std::chrono::milliseconds(2000)}); // which the first one needs
    FAIL();
  } catch (const Error& error) {
    EXPECT_THAT(error.what(), StartsWith("wrong.sql"));
  }
}

TEST_F(TriageTest, RulesThatDoNotEnd_LeaveTheOthers) {
  const Rule rules[] = {
      rule("never", "error", "x", "WITH RECURSIVE c(n) AS (SELECT 1 UNION ALL SELECT n FROM c) SELECT sum(n) FROM c"),
      rule("good", "note", "x", "SELECT 1")};
  std::vector<std::string> told;
  const auto found = triage(device, nullptr, rules, {.time = std::chrono::milliseconds(30)},
                            [&](const Error& error) { told.emplace_back(error.what()); });
  EXPECT_THAT(told, ElementsAre(StartsWith("never.sql: the SQL has not ended")));
  ASSERT_EQ(found.size(), 1U);
  EXPECT_EQ(found[0].rule, "good");
}

TEST_F(TriageTest, Reference_HasTablesOfItsOwn) {
  const Rule compares =
      rule("r", "note", "{device} {good}",
           "SELECT (SELECT count(*) FROM state) AS device, (SELECT count(*) FROM reference_state) AS good");
  sources::Sources empty({}, {});
  EXPECT_EQ(find({compares})[0].text, "2 0");
  EXPECT_EQ(triage(empty, &device, {&compares, 1})[0].text, "0 2");
  EXPECT_EQ(triage(device, &device, {&compares, 1})[0].text, "2 2");
}

TEST_F(TriageTest, ShippedRules_FindNothingInNothing) {
  sources::Sources empty({}, {});
  EXPECT_THAT(triage(empty, nullptr, shippedRules()), IsEmpty());
}

TEST(Samples, ShippedRulesDoWhatTheirSamplesSay) {
  std::filesystem::path folder;
  {
    const ShippedSamples samples;
    folder = samples.folder();
    EXPECT_THAT(failedSamples(shippedRules(), samples.folder()), IsEmpty());
  }
  EXPECT_FALSE(std::filesystem::exists(folder));
}

TEST(Samples, EachWayToFailIsTold) {
  const ShippedSamples samples;
  const auto failures = [&](const Rule& tried) { return failedSamples({&tried, 1}, samples.folder()); };
  const std::string press = "-- triggers: samples/press.jsonl\n-- clean: samples/press.jsonl\n";
  EXPECT_THAT(failures(rule("r", "note", "x", "SELECT 1", press)),
              ElementsAre("r.sql: finds something in its sample samples/press.jsonl"));
  EXPECT_THAT(failures(rule("r", "note", "x", "SELECT 1 WHERE 0", press)),
              ElementsAre("r.sql: finds nothing in its sample samples/press.jsonl"));
  EXPECT_THAT(failures(rule("r", "note", "x", "SELECT 1", "-- triggers: samples/press.jsonl\n")),
              ElementsAre("r.sql: names no sample: '-- clean: …' is missing"));
  EXPECT_THAT(failures(rule("r", "note", "x", "SELECT 1 FROM records LIMIT 1",
                            "-- triggers: samples/press.jsonl\n-- clean: samples/none\n")),
              ElementsAre(HasSubstr("samples/none: No such file or directory")));
}

} // namespace
