// What brief lines say between records.
#include <velstat/decode/notes.h>

#include <gmock/gmock.h>

namespace vel::stat {

namespace {

using sources::Run;

const std::vector<Run> runs = {
    {.log = "fw", .start = Run::Start::first, .firstSequence = 0},
    {.log = "kext", .start = Run::Start::first, .firstSequence = 0},
    {.log = "fw", .start = Run::Start::restarted, .firstSequence = 3},
    {.log = "kext", .start = Run::Start::clockBack, .firstSequence = 70},
    {.log = "", .start = Run::Start::restarted, .firstSequence = 5},
    {.log = "\x1b[31m", .start = Run::Start::restarted, .firstSequence = 0},
};

struct Read {
  std::uint32_t run;
  std::uint32_t missing;
  bool isShown;
};

// The notes with the number of the shown record that they precede, and '!' after those that separate times.
std::string notesOf(std::initializer_list<Read> records, std::size_t width = 0) {
  Notes notes(width);
  std::vector<sources::Note> found;
  std::size_t shown = 0;
  for (const Read& record : records) {
    notes.addRead({.run = record.run, .missing = record.missing}, runs);
    if (record.isShown) {
      notes.moveTo(found, shown++);
    }
  }
  std::string text;
  for (const sources::Note& note : found) {
    text += std::to_string(note.before) + ' ' + note.text + (note.isRestart ? "!" : "") + '\n';
  }
  return text;
}

TEST(Notes, GapsAndRestartsOfEachLog) {
  const struct {
    const char* what;
    std::initializer_list<Read> records;
    const char* notes;
  } rows[] = {
      {"logs begin", {{0, 0, true}, {1, 0, true}, {0, 0, true}}, ""},
      {"a gap", {{0, 0, true}, {0, 5, true}}, "1 -- 5 records are missing (fw)\n"},
      {"one record", {{0, 0, true}, {0, 1, true}}, "1 -- 1 record is missing (fw)\n"},
      {"a gap before a hidden record",
       {{0, 0, true}, {0, 5, false}, {0, 0, true}},
       "1 -- 5 records are missing (fw)\n"},
      {"several gaps", {{0, 0, true}, {0, 5, false}, {0, 2, true}}, "1 -- 7 records are missing (fw)\n"},
      {"of two logs", {{0, 0, true}, {1, 5, false}, {0, 2, true}}, "1 -- 7 records are missing\n"},
      {"a restart",
       {{0, 0, true}, {1, 0, true}, {2, 0, true}, {2, 0, true}},
       "2 -- restart, sequence numbers begin anew with 3 (fw)!\n"},
      {"logs that alternate after it",
       {{0, 0, true}, {1, 0, true}, {2, 0, true}, {1, 0, true}, {2, 0, true}},
       "2 -- restart, sequence numbers begin anew with 3 (fw)!\n"},
      {"the clock",
       {{2, 0, true}, {3, 0, true}},
       "0 -- restart, sequence numbers begin anew with 3 (fw)!\n1 -- the clock went back (kext)!\n"},
      {"without a log's name", {{4, 0, true}}, "0 -- restart, sequence numbers begin anew with 5!\n"},
      {"a gap in the run that follows",
       {{2, 0, false}, {2, 4, true}},
       "0 -- restart, sequence numbers begin anew with 3 (fw)!\n0 -- 4 records are missing (fw)\n"},
      {"nothing after the last record", {{0, 0, true}, {0, 9, false}}, ""},
      {"a hostile name", {{5, 0, true}}, "0 -- restart, sequence numbers begin anew with 0 (\\x1B[31m)!\n"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(notesOf(row.records), row.notes) << row.what;
  }
}

TEST(Notes, FitTheWidth) {
  EXPECT_EQ(notesOf({{2, 0, true}}, 20), "0 -- restart, sequenc…!\n");
}

} // namespace

} // namespace vel::stat
