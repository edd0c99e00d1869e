// The way back: every record's line gives the record, lines are found in other text, and what does not fit is told.
#include "profile/read_line.h"
#include "sample_records.h"

#include <gtest/gtest.h>

namespace {

using namespace vel::profile;

constexpr TimePolicy times = {TimeSync{3'600'000'000'000, 1'763'708'400'000'000'000}, 1'763'704'800'000'000};

class Renders {
public:
  explicit Renders(const TimePolicy& policy = {}) : renderer_(policy, Framing::none) {}
  std::string operator()(const Record& record) {
    return std::string(block_, renderer_.render(record.bytes, 1, block_));
  }

private:
  BulkRenderer renderer_;
  char block_[frame_capacity];
};

std::string bytes_of(const FoundLine& line) {
  return std::string(reinterpret_cast<const char*>(line.record.data()), line.record.size());
}
std::string bytes_of(const Record& record) {
  return std::string(reinterpret_cast<const char*>(record.bytes), sizeof record.bytes);
}

std::vector<FoundLine> read_all(std::string_view text) {
  std::vector<FoundLine> lines;
  LineReader reader;
  FoundLine line;
  for (std::size_t from = 0; reader.next(text, from, line); from = line.end) {
    lines.push_back(line);
  }
  return lines;
}

Record sample() {
  return Record(7, 0, 0, 3).sequence(57).timestamp(2005736).counting(3);
}
const std::string sample_text = Renders()(sample());

TEST(ReadLine, AnyRecord_ComesBackFromItsText) {
  Renders without_times;
  Renders with_times(times);
  LineReader reader;
  RandomRecords records(12);
  for (int i = 0; i < (sanitized ? 50'000 : 1'200'000); ++i) {
    const Record record = records.next();
    Renders& renders = i % 2 == 0 ? without_times : with_times;
    const std::string text = renders(record);
    FoundLine line;
    ASSERT_TRUE(reader.next(text, 0, line)) << text;
    ASSERT_EQ(bytes_of(line), bytes_of(record)) << text;
    ASSERT_TRUE(line.sound) << text;
    ASSERT_EQ(line.begin, 0U);
    ASSERT_EQ(line.end, text.size());
    ASSERT_EQ(line.boot, i % 2 == 0 ? std::nullopt : times.boot);
    ASSERT_EQ(line.calendar.empty(), i % 2 == 0);
  }
}

TEST(ReadLine, Times_AreGivenAsTheyStand) {
  const std::string text = sample_text.substr(0, sample_text.size() - 1) +
                           ", 'calendar-time':'Nov 21 08:15:02.000417', 'boot-timestamp':1731000000000000}";
  const auto lines = read_all(text);
  ASSERT_EQ(lines.size(), 1U);
  EXPECT_EQ(lines[0].calendar, "Nov 21 08:15:02.000417");
  EXPECT_EQ(lines[0].boot, 1731000000000000U);
  EXPECT_EQ(lines[0].end, text.size());
}

TEST(ReadLine, LineAfterLine_EachIsFoundWithItsPlace) {
  RandomRecords records(5);
  Renders renders;
  std::string text;
  std::vector<std::string> expected;
  std::vector<std::size_t> begins;
  for (int i = 0; i < 500; ++i) {
    const Record record = records.next();
    text += i % 3 == 0 ? "<12>Nov 21 08:15:02 host velprofile[7]: " : "";
    begins.push_back(text.size());
    text += renders(record);
    text += i % 3 == 1 ? " 'binary-data':[1,2] (end)\r\n" : "\n";
    expected.push_back(bytes_of(record));
  }
  const auto lines = read_all(text);
  ASSERT_EQ(lines.size(), expected.size());
  for (std::size_t i = 0; i < lines.size(); ++i) {
    EXPECT_EQ(bytes_of(lines[i]), expected[i]);
    EXPECT_EQ(lines[i].begin, begins[i]);
    EXPECT_TRUE(lines[i].sound);
  }
}

// Text fields may contain everything that a line is recognised by.
TEST(ReadLine, FieldsThatLookLikeALine_BelongToTheirLine) {
  for (const std::string_view name : {"'binary-data':[7", "{  'category':", "\n\0\n", "', 'binary-data'"}) {
    const Record record = Record(0, 4, 0, 9).text(32, name.substr(0, 16));
    const std::string text = Renders()(record) + '\n' + Renders()(record);
    const auto lines = read_all(text);
    ASSERT_EQ(lines.size(), 2U) << name;
    EXPECT_EQ(bytes_of(lines[1]), bytes_of(record));
    EXPECT_TRUE(lines[0].sound && lines[1].sound);
    EXPECT_EQ(lines[0].begin, 0U);
    EXPECT_EQ(count_unread_lines(std::string_view(text).substr(lines[0].end, 1)).truncated, 0U);
  }
}

struct Contradiction {
  const char* name;
  std::string_view from;
  std::string_view to;
  std::string_view differs_at; // the words from here on
};

TEST(ReadLine, WordsThatContradictTheBytes_AreToldAndTheBytesWin) {
  const Contradiction rows[] = {
      {"a name", "'zorb', 'comp", "'zurb', 'comp", "urb', 'component'"},
      {"a longer name", "'zorb', 'comp", "'zzorb', 'comp", "'zzorb', 'component'"},
      {"a number", "'sequence_num':        57", "'sequence_num':        58", "8, 'trace'"},
      {"an id", "'type-id':3", "'type-id':4", "4, 'category-id'"},
      {"a byte of the dump", "[3,0,0,7,57,", "[3,0,0,7,56,", "7, 'trace'"},
  };
  for (const Contradiction& row : rows) {
    std::string text = "log: " + sample_text + '\n' + sample_text + '\n';
    const std::size_t at = text.find(row.from);
    ASSERT_NE(at, std::string::npos) << row.name;
    text.replace(at, row.from.size(), row.to);
    const auto lines = read_all(text);
    ASSERT_EQ(lines.size(), 2U) << row.name;
    EXPECT_FALSE(lines[0].sound) << row.name;
    EXPECT_EQ(lines[0].begin, 5U) << row.name;
    if (std::string_view(row.name) != "a longer name") { // where padding gives way
      EXPECT_EQ(std::string_view(text).substr(lines[0].fault, row.differs_at.size()), row.differs_at) << row.name;
    }
    EXPECT_TRUE(lines[1].sound) << row.name;
    Record expected = sample();
    expected.sequence(std::string_view(row.name) == "a byte of the dump" ? 56 : 57);
    EXPECT_EQ(bytes_of(lines[0]), bytes_of(expected)) << row.name;
  }
}

// Bytes that no field shows are in the dump only: nothing contradicts a change to them.
TEST(ReadLine, AnyCharacterUpToTheLastShownByte_ContradictsWhenChanged) {
  const std::size_t not_shown = sample_text.find(",27,28,29,30,31,32,33,34]");
  ASSERT_NE(not_shown, std::string::npos);
  for (std::size_t at = 0; at < not_shown; ++at) {
    std::string text = sample_text + ' ';
    text[at] ^= 1;
    for (const FoundLine& line : read_all(text + std::string(300, ' '))) {
      EXPECT_FALSE(line.sound) << text;
    }
  }
}

TEST(ReadLine, LineWithoutItsFront_StillHasItsBytes) {
  const std::string text = sample_text.substr(40);
  const auto lines = read_all(text);
  ASSERT_EQ(lines.size(), 1U);
  EXPECT_FALSE(lines[0].sound);
  EXPECT_EQ(bytes_of(lines[0]), bytes_of(sample()));
}

// As text that became a string of C does, and a log with a limit.
TEST(ReadLine, LineThatIsCut_GivesNoRecordAndIsCounted) {
  for (std::size_t length = line_beginning.size(); length + 2 < sample_text.size(); ++length) {
    const std::string cut = sample_text.substr(0, length);
    for (const std::string& text : {cut, cut + '\n', cut + "\nsomething [else]\n"}) {
      EXPECT_TRUE(read_all(text).empty()) << text;
      const UnreadLines unread = count_unread_lines(text);
      EXPECT_EQ(unread.truncated, 1U) << text;
      EXPECT_EQ(unread.damaged, 0U) << text;
    }
  }
}

TEST(ReadLine, DumpThatIsNoDump_IsDamage) {
  for (const std::string_view to :
       {"x,0,0,7,", "03,0,0,7,", "256,0,0,7,", "3, 0,0,7,", "0,3,0,0,7,", "", "-3,0,0,7,"}) {
    std::string text = "\n" + sample_text;
    text.replace(text.find("[3,0,0,7,") + 1, 8, to);
    EXPECT_TRUE(read_all(text).empty()) << text;
    const UnreadLines unread = count_unread_lines(text);
    EXPECT_EQ(unread.truncated, 0U) << text;
    EXPECT_EQ(unread.damaged, 1U) << text;
    EXPECT_EQ(unread.first_damaged, 1U) << text;
  }
}

TEST(ReadLine, OtherText_HoldsNoLines) {
  for (const std::string_view text : {"", "[", "]}", " 'binary-data':[", " 'binary-data':[1]}", "a\nb [c] d\n"}) {
    EXPECT_TRUE(read_all(text).empty()) << text;
    EXPECT_EQ(count_unread_lines(text).truncated, 0U) << text;
  }
}

// Cut wherever whole_lines says, blocks give the lines that the text as a whole gives.
TEST(ReadLine, TextInBlocks_GivesTheSameLines) {
  RandomRecords records(8);
  Renders renders(times);
  std::string text;
  for (int i = 0; i < 60; ++i) {
    const std::string line = renders(records.next());
    text += i % 7 == 6 ? line.substr(0, 300) + '\n' : i % 11 == 10 ? std::string(9000, '{') + '\n' : line + '\n';
  }
  std::vector<std::string> expected;
  for (const FoundLine& line : read_all(text)) {
    expected.push_back(bytes_of(line));
  }
  ASSERT_EQ(expected.size(), 47U);
  for (const std::size_t size : {5000U, 5001U, 7777U, 20000U}) {
    std::vector<std::string> found;
    std::size_t truncated = 0;
    std::string block;
    for (std::size_t at = 0; at < text.size(); at += size) {
      block += text.substr(at, size);
      const std::size_t whole = at + size >= text.size() ? block.size() : whole_lines(block);
      EXPECT_LE(block.size() - whole, longest_line);
      std::size_t from = 0;
      for (const FoundLine& line : read_all(std::string_view(block).substr(0, whole))) {
        truncated += count_unread_lines(std::string_view(block).substr(from, line.begin - from)).truncated;
        EXPECT_TRUE(line.sound);
        found.push_back(bytes_of(line));
        from = line.end;
      }
      truncated += count_unread_lines(std::string_view(block).substr(from, whole - from)).truncated;
      block.erase(0, whole);
    }
    EXPECT_EQ(found, expected) << size;
    EXPECT_EQ(truncated, 8U) << size;
  }
}

// However the text is cut in two, the second part has all of the line's bytes if the first one has none.
TEST(ReadLine, LineWithoutItsFront_IsNotCutInItsBytes) {
  const std::string text = sample_text.substr(40) + '\n' + sample_text;
  for (std::size_t size = 1; size < text.size(); ++size) {
    const std::size_t whole = whole_lines(std::string_view(text).substr(0, size));
    EXPECT_EQ(read_all(std::string_view(text).substr(0, whole)).size() +
                  read_all(std::string_view(text).substr(whole)).size(),
              2U)
        << size;
  }
}

} // namespace
