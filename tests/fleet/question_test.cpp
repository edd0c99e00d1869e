// Questions: the header, the error line for each way to get it wrong, and values that are hostile.
#include <fleet/question.h>

#include <gmock/gmock.h>

#include <string>

namespace {

using namespace vel::fleet;
using testing::ElementsAre;

constexpr const char* good = "-- title: A title\n"
                             "-- explanation: words\n"
                             "--   and more: words\n"
                             "-- parameter: build string: the build\n"
                             "-- parameter: least integer = 10: fewer are left out\n"
                             "-- columns: a, b\n"
                             "-- what follows {is} no parameter: '\n"
                             "SELECT {build} AS a, '{build}' AS b, `{x` -- {y} '\n"
                             "/* {z} ' */ LIMIT {least};\n";

std::string question() {
  std::string text = good;
  const std::string line = "-- what follows {is} no parameter: '\n";
  return text.replace(text.find(line), line.size(), "\n" + line);
}

// The good question with one part in place of another.
std::string with(const std::string& part, const std::string& instead) {
  std::string text = question();
  const std::size_t at = text.find(part);
  EXPECT_NE(at, std::string::npos) << part;
  return text.replace(at, part.size(), instead);
}

template <class Call>
std::string failure(Call call) {
  try {
    call();
  } catch (const Error& error) {
    return error.what();
  }
  return "no failure";
}

std::string readingFailure(const std::string& content) {
  return failure([&] { readQuestion(content, "folder/bad.sql"); });
}

std::string bindingFailure(const Values& values) {
  return failure([&] { bound(readQuestion(question(), "q.sql"), values); });
}

// What stands in the SQL for the text or, in another question, for a value of the type.
std::string boundText(const std::string& value) {
  const Question read =
      readQuestion("-- title: t\n-- explanation: e\n-- columns: v\n-- parameter: value string: a text\n\n"
                   "{value}",
                   "q.sql");
  const std::string sql = bound(read, {{"value", value}});
  return sql.substr(sql.find("\n\n") + 2);
}

std::string boundAs(const std::string& type, const std::string& value) {
  const Question read = readQuestion(
      "-- title: t\n-- explanation: e\n-- columns: v\n-- parameter: value " + type + ": words\n\n{value}", "q.sql");
  const std::string sql = bound(read, {{"value", value}});
  return sql.substr(sql.find("\n\n") + 2);
}

TEST(Question, Header_IsRead) {
  const Question read = readQuestion(question(), "folder/a-question.sql");
  EXPECT_EQ(read.name, "a-question");
  EXPECT_EQ(read.title, "A title");
  EXPECT_EQ(read.explanation, "words and more: words");
  EXPECT_THAT(read.columns, ElementsAre("a", "b"));
  ASSERT_EQ(read.parameters.size(), 2U);
  EXPECT_EQ(read.parameters[0].name, "build");
  EXPECT_EQ(read.parameters[0].usual, std::nullopt);
  EXPECT_EQ(read.parameters[1].type, ParameterType::integer);
  EXPECT_EQ(read.parameters[1].usual, "10");
  EXPECT_EQ(read.parameters[1].about, "fewer are left out");
}

TEST(Question, Parameters_AreOnlyOutsideOfTextsNamesAndComments) {
  const std::string sql = bound(readQuestion(question(), "q.sql"), {{"build", "7"}});
  EXPECT_THAT(sql, testing::EndsWith("\n-- what follows {is} no parameter: '\n"
                                     "SELECT '7' AS a, '{build}' AS b, `{x` -- {y} '\n"
                                     "/* {z} ' */ LIMIT 10;\n"));
}

TEST(Question, BadFiles_AreOneLineEach) {
  const struct {
    std::string content, line;
  } rows[] = {
      {"", "folder/bad.sql: line 1: a question begins with comments such as '-- title: …'; docs/velstat-fleet.md lists "
           "them"},
      {with("-- title: A title\n", ""), "folder/bad.sql: line 5: the comments at the beginning have no '-- title: …'"},
      {with("-- columns: a, b\n", ""), "folder/bad.sql: line 5: the comments at the beginning have no '-- columns: …'"},
      {with("A title", ""), "folder/bad.sql: line 1: 'title' says nothing"},
      {with("-- title: A title", "-- titel: A title"),
       "folder/bad.sql: line 1: 'titel' is unknown; did you mean 'title'?"},
      {with("build string: the build", "build"),
       "folder/bad.sql: line 4: a parameter is 'name type: words' or 'name type = value: words'"},
      {with("build string:", "build:"),
       "folder/bad.sql: line 4: a parameter is 'name type: words' or 'name type = value: words'"},
      {with("build string", "build text"),
       "folder/bad.sql: line 4: the type of a parameter is one of string, integer, number, day"},
      {with("build string", "Build string"),
       "folder/bad.sql: line 4: the name of a parameter has lower-case letters, digits, '-' and '_'"},
      {with("= 10", "= ten"), "folder/bad.sql: line 5: the value of 'least' is not of the type integer"},
      {with("least integer", "build integer"), "folder/bad.sql: line 10: '{least}' is not a parameter in the header"},
      {with("LIMIT {least}", "LIMIT {\nleast}"),
       "folder/bad.sql: line 10: what follows '{' is not the name of a parameter"},
      {with("LIMIT {least}", ""), "folder/bad.sql: line 5: the SQL does not use the parameter 'least'"},
      {with("LIMIT {least}", "LIMIT {least"), "folder/bad.sql: line 10: a '{' without its '}'"},
      {with("' */ LIMIT", "' LIMIT"), "folder/bad.sql: line 10: a comment without its end"},
      {with("LIMIT {least}", "LIMIT {least} \"x"), "folder/bad.sql: line 10: a \" without its end"},
      {with("LIMIT {least}", "LIMIT {least} '\\'"), "folder/bad.sql: line 10: a ' without its end"},
      {with("A title", std::string(70'000, 'x')),
       "folder/bad.sql: longer than the 65536 bytes that a question may have"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(readingFailure(row.content), row.line);
  }
}

TEST(Question, RepeatedParameter_IsAnError) {
  EXPECT_EQ(readingFailure(with("-- columns: a, b\n", "-- columns: a, b\n-- parameter: build string: again\n")),
            "folder/bad.sql: line 7: the parameter 'build' is there twice");
}

TEST(Question, BadValues_AreOneLineEach) {
  EXPECT_EQ(bindingFailure({}), "q: --build is missing: the build");
  EXPECT_EQ(bindingFailure({{"build", "7"}, {"leest", "1"}}),
            "q: there is no parameter 'leest'; did you mean 'least'?");
  EXPECT_EQ(bindingFailure({{"build", "7"}, {"zzzzzzzz", "1"}}),
            "q: there is no parameter 'zzzzzzzz'; it has build, least");
  for (const char* value : {"", "ten", "1 OR 1", "1.5", "0x10", "9223372036854775808", "+1", " 1", "1;"}) {
    EXPECT_EQ(bindingFailure({{"build", "7"}, {"least", value}}),
              "q: --least: '" + std::string(value) + "' is not of the type integer");
  }
}

TEST(Question, Texts_CannotEndTheirLiteral) {
  EXPECT_EQ(boundText("a"), "'a'");
  EXPECT_EQ(boundText("' OR '1'='1"), R"('\' OR \'1\'=\'1')");
  EXPECT_EQ(boundText("\\' OR 1 --"), R"('\\\' OR 1 --')");
  EXPECT_EQ(boundText("\\"), R"('\\')");
  EXPECT_EQ(boundText(std::string("a\0b\n\r\x1b\x7f", 7)), R"('a\x00b\x0A\x0D\x1B\x7F')");
  EXPECT_EQ(boundText("{value}"), "'{value}'");
}

TEST(Question, Numbers_AreWrittenAsNumbers) {
  EXPECT_EQ(boundAs("integer", "5"), "5");
  EXPECT_EQ(boundAs("integer", "-5"), "(-5)"); // "a-{value}" would otherwise begin a comment
  EXPECT_EQ(boundAs("number", "-1.5"), "(-1.5)");
  EXPECT_EQ(boundAs("number", "1e300"), "1e+300");
  EXPECT_EQ(boundAs("day", "2026-11-21"), "toDate('2026-11-21')");
  for (const char* type : {"integer", "number", "day"}) {
    for (const char* value : {"nan", "inf", "x", "", "2026-13-01", "2026-1-01", "2026-11-32", "1)", "2026-11-21'"}) {
      EXPECT_THAT(failure([&] { boundAs(type, value); }), testing::HasSubstr("is not of the type")) << type << value;
    }
  }
}

TEST(Question, OwnSql_NeedsNoHeaderAndMayHaveBraces) {
  const std::string sql = "-- mine\nSELECT '{' AS a, {b}";
  EXPECT_EQ(bound(readOwnSql(sql, "q.sql"), {}), sql);
  EXPECT_EQ(failure([&] {
              bound(readOwnSql(sql, "q.sql"), {{"b", "1"}});
            }),
            "q: there is no parameter 'b'; it has none");
}

TEST(Question, ShippedOnes_AreRead) {
  EXPECT_FALSE(shippedQuestions().empty());
  EXPECT_EQ(shippedQuestion("population").name, "population");
  EXPECT_EQ(failure([] { shippedQuestion("populaton"); }),
            "there is no question 'populaton'; did you mean 'population'?");
}

} // namespace
