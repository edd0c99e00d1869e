// The header of a rule's file: what is read, and the error line for each way to get it wrong.
#include <rules/rule.h>

#include <gmock/gmock.h>

#include <set>
#include <string>

namespace {

using namespace vel::rules;
using testing::ElementsAre;

constexpr const char* good = "-- title: A title\n"
                             "-- severity: warning\n"
                             "-- finding: {n} of {all} were\n"
                             "--   bad: very\n"
                             "-- why: it matters\n"
                             "-- next: look\n"
                             "SELECT 1 AS n, 2 AS \"all\"\n";

// The good rule with one line in place of another.
std::string with(const std::string& line, const std::string& instead) {
  std::string text = good;
  const std::size_t at = text.find(line);
  EXPECT_NE(at, std::string::npos) << line;
  return text.replace(at, line.size(), instead);
}

std::string failure(const std::string& content) {
  try {
    readRule(content, "folder/bad.sql");
  } catch (const Error& error) {
    return error.what();
  }
  return "no failure";
}

TEST(Rule, Header_IsReadWithContinuedLines) {
  const Rule rule = readRule(good, "folder/a-rule.sql");
  EXPECT_EQ(rule.name, "a-rule");
  EXPECT_EQ(rule.file, "folder/a-rule.sql");
  EXPECT_EQ(rule.title, "A title");
  EXPECT_EQ(rule.severity, Severity::warning);
  EXPECT_EQ(rule.rank, 50);
  EXPECT_EQ(rule.finding.text, "{n} of {all} were bad: very");
  EXPECT_EQ(rule.finding.line, 3);
  EXPECT_EQ(rule.why.text, "it matters");
  EXPECT_EQ(rule.next.text, "look");
  EXPECT_EQ(rule.triggers, "");
  EXPECT_EQ(rule.sql, good) << "the whole file, so that lines have their numbers";
  EXPECT_THAT(placeholders(rule.finding, rule.file), ElementsAre("n", "all"));
}

TEST(Rule, OptionalKeys) {
  const Rule rule =
      readRule(with("-- why", "-- rank: 7\n-- triggers: samples/a.txt\n-- clean: b\n-- reference: c\n-- why"), "r.sql");
  EXPECT_EQ(rule.rank, 7);
  EXPECT_EQ(rule.triggers, "samples/a.txt");
  EXPECT_EQ(rule.clean, "b");
  EXPECT_EQ(rule.reference, "c");
}

TEST(Rule, CarriageReturnsAndTheFileEndAreNoPartOfTheWords) {
  EXPECT_EQ(readRule(with("matters\n", "matters\r\n"), "r.sql").why.text, "it matters");
  EXPECT_EQ(readRule(std::string(good).substr(0, std::string(good).find("\nSELECT")), "r.sql").next.text, "look");
}

struct Wrong {
  std::string content;
  std::string expected; // after the file's name
};

class WrongRule : public testing::TestWithParam<Wrong> {};

TEST_P(WrongRule, IsOneLineWithItsPlace) {
  EXPECT_EQ(failure(GetParam().content), "folder/bad.sql: " + GetParam().expected) << GetParam().content;
}

INSTANTIATE_TEST_SUITE_P(
    All, WrongRule,
    testing::Values(
        Wrong{"", "line 1: a rule begins with comments such as '-- title: …'; docs/velstat-triage.md lists them"},
        Wrong{"SELECT 1",
              "line 1: a rule begins with comments such as '-- title: …'; docs/velstat-triage.md lists them"},
        Wrong{with("-- title: A title\n", ""), "line 5: the comments at the beginning have no '-- title: …'"},
        Wrong{with("-- severity: warning\n", ""), "line 5: the comments at the beginning have no '-- severity: …'"},
        Wrong{with("-- why: it matters\n", ""), "line 5: the comments at the beginning have no '-- why: …'"},
        Wrong{with("-- why: it matters\n", "\n"), "line 4: the comments at the beginning have no '-- why: …'"},
        Wrong{with("warning", "bad"), "line 2: 'severity' is one of note, warning, error"},
        Wrong{with("it matters", ""), "line 5: 'why' says nothing"},
        Wrong{with("A title", " \t"), "line 1: 'title' says nothing"},
        Wrong{with("title", "titel"), "line 1: 'titel' is unknown; did you mean 'title'?"},
        Wrong{with("title", "x"), "line 1: 'x' is unknown; the keys are title, severity, rank, finding, why, next, "
                                  "triggers, clean, reference"},
        Wrong{with("-- why: it", "-- next: it"), "line 6: 'next' is there twice, first in line 5"},
        Wrong{with("-- why", "-- words\n-- why"),
              "line 5: neither '-- key: words' nor the words' next line, which begins with '--' and two blanks"},
        Wrong{with("-- title: A title\n", "--   first\n"),
              "line 1: neither '-- key: words' nor the words' next line, which begins with '--' and two blanks"},
        Wrong{with("-- why", "-- rank: 101\n-- why"), "line 5: 'rank' is a number from 0 to 100"},
        Wrong{with("-- why", "-- rank: -1\n-- why"), "line 5: 'rank' is a number from 0 to 100"},
        Wrong{with("-- why", "-- rank: 5x\n-- why"), "line 5: 'rank' is a number from 0 to 100"},
        Wrong{with("it matters", "it {matters"), "line 5: a '{' without its '}'"},
        Wrong{with("-- why", "-- clean: /etc/passwd\n-- why"),
              "line 5: a sample lies in the folder of the rule: its path is relative and has no '..'"},
        Wrong{with("-- why", "-- triggers: a/../../b\n-- why"),
              "line 5: a sample lies in the folder of the rule: its path is relative and has no '..'"},
        Wrong{std::string(70'000, '-'), "longer than the 65536 bytes that a rule may have"}));

TEST(ShippedRules, HaveNamesOfTheirOwn_AndBothSamples) {
  std::set<std::string> names;
  for (const Rule& rule : shippedRules()) {
    EXPECT_TRUE(names.insert(rule.name).second) << rule.name;
    EXPECT_NE(rule.triggers, "") << rule.name;
    EXPECT_NE(rule.clean, "") << rule.name;
    EXPECT_LE(rule.title.size(), 44U) << rule.name << ": a line of --list has 80 columns";
  }
  EXPECT_GT(names.size(), 40U);
}

TEST(AddRules, SameNameTakesThePlaceOfTheOther) {
  std::vector<Rule> rules(2);
  rules[0].name = "a";
  rules[1].name = "b";
  std::vector<Rule> added(2);
  added[0].name = "b";
  added[0].title = "new";
  added[1].name = "c";
  addRules(rules, std::move(added));
  ASSERT_EQ(rules.size(), 3U);
  EXPECT_EQ(rules[1].title, "new");
  EXPECT_EQ(rules[2].name, "c");
}

} // namespace
