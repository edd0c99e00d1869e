// Answers of servers, whole and in pieces, and what is refused.
#include <fleet/answer.h>
#include <fleet/http.h>
#include <fleet/row_binary.h>
#include <fleet/sql_text.h>

#include <gmock/gmock.h>

#include <string>
#include <vector>

namespace {

using namespace vel::fleet;
using testing::ElementsAre;

using Row = std::vector<std::string>;

// Rows as texts, "NULL" for NULL; in pieces of this size.
std::vector<Row> rowsOf(std::string_view answer, std::size_t size) {
  std::vector<Row> rows;
  AnswerReader reader(
      [&](std::span<const AnswerColumn> columns) {
        for (const AnswerColumn& column : columns) {
          rows.resize(1);
          rows[0].push_back(column.name + ":" + column.type);
        }
      },
      [&](std::span<const AnswerCell> cells) {
        Row& row = rows.emplace_back();
        for (const AnswerCell& cell : cells) {
          row.push_back(cell.isNull ? "NULL" : std::string(cell.bytes));
        }
      });
  for (; !answer.empty(); answer.remove_prefix(std::min(size, answer.size()))) {
    reader.take(answer.substr(0, size));
  }
  reader.end();
  return rows;
}

std::string failure(std::string_view answer) {
  try {
    rowsOf(answer, answer.size() + 1);
  } catch (const Error& error) {
    const std::string_view line = error.what();
    return std::string(line.substr(line.find(": ") + 2));
  }
  return "no failure";
}

TEST(Answer, Rows_AreTheSameInPiecesOfAnySize) {
  const std::string answer("a\tb\\t\nString\tNullable(Int64)\nx\\ty\\n\\\\\\'\\0\t\\N\n\t-5\n");
  for (std::size_t size = 1; size <= answer.size(); ++size) {
    EXPECT_THAT(rowsOf(answer, size), ElementsAre(Row{"a:String", "b\t:Nullable(Int64)"},
                                                  Row{std::string("x\ty\n\\'\0", 7), "NULL"}, Row{"", "-5"}));
  }
}

TEST(Answer, NullIsOnlyTheWholeValue) {
  EXPECT_THAT(rowsOf("a\nString\n\\\\N\n", 3), ElementsAre(Row{"a:String"}, Row{"\\N"}));
}

TEST(Answer, Damage_IsRefused) {
  EXPECT_EQ(failure(""), "it has no names and types");
  EXPECT_EQ(failure("a\n"), "it has no names and types");
  EXPECT_EQ(failure("a\tb\nString\n"), "fewer types than names");
  EXPECT_EQ(failure("a\nString\tString\n"), "more types than names");
  EXPECT_EQ(failure("a\nString\nx\ty\n"), "a row has too many values");
  EXPECT_EQ(failure("a\tb\nString\tString\nx\n"), "a row has too few values");
  EXPECT_EQ(failure("a\nString\nx\\\n"), "an escape without its character");
  EXPECT_EQ(failure("a\nString\nx"), "its last line has no end");
  EXPECT_EQ(failure(std::string(20'000, '\t') + "\n"), "too many columns");
}

TEST(Answer, TypesTellHowValuesAreMeant) {
  EXPECT_EQ(kindOfType("UInt8"), ValueKind::integer);
  EXPECT_EQ(kindOfType("Nullable(Int64)"), ValueKind::integer);
  EXPECT_EQ(kindOfType("IntervalDay"), ValueKind::text);
  EXPECT_EQ(kindOfType("Nullable(Float64)"), ValueKind::real);
  EXPECT_EQ(kindOfType("FixedString(48)"), ValueKind::bytes);
  EXPECT_EQ(kindOfType("Array(UInt8)"), ValueKind::text);
}

TEST(Words, OfServers_AreOneShortLineWithoutTheSecret) {
  EXPECT_EQ(safeWords("  a\n\tb\x1b[1mc \r\n", ""), "a b [1mc");
  EXPECT_EQ(safeWords("wrong password hunter2 for hunter2", "hunter2"), "wrong password … for …");
  EXPECT_EQ(safeWords("aa", "a"), "……");
  const std::string cut = safeWords(std::string(399, 'x') + "äöü" + std::string(100, 'y'), "");
  EXPECT_EQ(cut, std::string(399, 'x') + "…");
}

TEST(Words, ErrorCode_IsTheServersNumber) {
  EXPECT_EQ(errorCode("Code: 60, e.displayText() = DB::Exception"), 60);
  EXPECT_EQ(errorCode("Code: , e"), 0);
  EXPECT_EQ(errorCode("Code: 99999999999999999999"), 0);
  EXPECT_EQ(errorCode("nothing"), 0);
}

TEST(Identifiers, OnlyPlainNamesPass) {
  EXPECT_EQ(identifier("a_1"), "`a_1`");
  for (const char* name : {"", "1a", "a b", "a`", "a;", "ä", "a.b"}) {
    EXPECT_THROW(identifier(name), Error) << name;
  }
}

TEST(RowBinaryFormat, IsThatOfTheServer) {
  RowBinary rows;
  rows.number(std::uint32_t{0x01020304});
  rows.string("ab");
  rows.string(std::string(300, 'x'));
  rows.optional(std::optional<std::int64_t>(-2));
  rows.optional(std::optional<std::int64_t>());
  rows.number(1.0);
  EXPECT_EQ(rows.view(), std::string("\4\3\2\1\2ab\xac\2", 9) + std::string(300, 'x') + std::string("\0\xfe", 2) +
                             std::string(7, '\xff') + "\1" + std::string("\0\0\0\0\0\0\xf0\x3f", 8));
}

} // namespace
