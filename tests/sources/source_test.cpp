// What a consumer gets besides the records: kinds, places, runs, gaps, calendar times, findings.
#include <profile/render.h>
#include <sources/recent_records.h>
#include <sources/recognise.h>
#include <sources/source.h>
#include <support/binary_list.h>
#include <support/record_files.h>

#include <gmock/gmock.h>

#include <algorithm>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <string>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

namespace vel::sources {

namespace {

using testing::ElementsAre;
using namespace std::string_literals;

Bytes bytesOf(std::string_view text) {
  return {text.begin(), text.end()};
}

std::string textOf(const Bytes& records, const profile::TimePolicy& times = {}) {
  std::string text(records.size() / recordSize * profile::frame_capacity, '\0');
  text.resize(profile::BulkRenderer(times).render(records.data(), records.size() / recordSize, text.data()));
  return text;
}

struct Result {
  Bytes records;
  std::vector<Details> details;
  std::vector<Run> runs;
  std::vector<Finding> findings;
  std::vector<std::string> complaints;
};

Result readAll(const std::vector<std::string>& names, Options options = {}) {
  Result result;
  options.complain = [&](std::string_view line) { result.complaints.emplace_back(line); };
  Sources sources(names, options);
  for (int pass = 0; pass < 2; ++pass) { // the second gives the same
    Result read;
    const auto stream = sources.records();
    Bytes room(5 * recordSize);
    std::vector<Details> details(5);
    while (const std::size_t count = stream->read(room, details)) {
      read.records.insert(read.records.end(), room.begin(),
                          room.begin() + static_cast<std::ptrdiff_t>(count * recordSize));
      read.details.insert(read.details.end(), details.begin(), details.begin() + static_cast<std::ptrdiff_t>(count));
    }
    EXPECT_TRUE(pass == 0 || read.records == result.records);
    result.records = read.records;
    result.details = read.details;
    result.runs = stream->runs();
    result.findings = stream->findings();
  }
  return result;
}

TEST(Recognise, KindsByTheirBeginnings) {
  const std::string line = textOf(record(1));
  const std::string state = "\x01\0\0\0"s + "\x0A\0\0\0"s + std::string(192, '\0');
  const std::pair<std::string, Kind> rows[] = {
      {"", Kind::records},
      {std::string(48, '\0'), Kind::records},
      {std::string(50, '\x05'), Kind::records},
      {"bplist00", Kind::propertyList},
      {"<?xml version=\"1.0\"?>", Kind::propertyList},
      {"\xEF\xBB\xBF<plist>", Kind::propertyList},
      {state + std::string(10, 'x'), Kind::stateRecord},
      {state + "bplist00", Kind::stateRecord},       // cut, which its reader tells
      {state + std::string(40, 'x'), Kind::records}, // long-data of category 0 begins like a state record
      {"category,component,event,type,timestamp,sequence_num,payload,", Kind::csvLines},
      {"{\"category\":\"uart\",", Kind::jsonLines},
      {line, Kind::lines},
      {"Nov 21 host[7]: " + line, Kind::lines},
      {"\x80\x02\0\0"s + line, Kind::lines}, // framed
      {"\x89PNG\r\n\x1a\n" + std::string(100, '\0'), Kind::unknown},
      {"just text", Kind::unknown},
  };
  for (const auto& [content, kind] : rows) {
    EXPECT_EQ(recognise(content, true, content.size()).kind, kind) << content.substr(0, 30);
  }
  EXPECT_EQ(recognise("just text", false, {}).kind, Kind::lines) << "lines may follow";
}

TEST(Recognise, RecordsAreNotText) {
  for (std::uint32_t i = 0; i < 200; ++i) {
    const Bytes bytes = record(i * 7919, {7, 0, 0, 3}, i * 1000);
    EXPECT_FALSE(isText({reinterpret_cast<const char*>(bytes.data()), bytes.size()}));
  }
}

TEST(RecentRecords, RemembersTheLastOnes) {
  constexpr auto reach = static_cast<std::uint32_t>(RecentRecords::reach);
  for (const std::uint32_t count : {1U, reach - 1, reach, reach + 1, 2 * reach, 2 * reach + 1, 3 * reach}) {
    RecentRecords recent;
    for (std::uint32_t i = 0; i < count; ++i) {
      ASSERT_TRUE(recent.add(record(i).data())) << i;
    }
    for (std::uint32_t i = count > reach ? count - reach : 0; i < count; ++i) {
      ASSERT_FALSE(recent.add(record(i).data())) << i << " of " << count;
    }
  }
}

TEST(RecentRecords, ForgetsInConstantMemory) {
  RecentRecords recent;
  for (std::uint32_t i = 0; i <= 2 * RecentRecords::reach; ++i) {
    recent.add(record(i).data());
  }
  EXPECT_TRUE(recent.add(record(0).data()));
}

TEST(Sources, RawRecords_HaveOffsetsRunsAndGaps) {
  Bytes content = record(5, {}, 10);
  append(content, record(6, {}, 20));
  append(content, record(9, {}, 30));
  append(content, record(9, {}, 30)); // repetitions stay
  append(content, record(0, {}, 5));
  const TemporaryFile file(content);
  const Result result = readAll({file.path()});
  EXPECT_EQ(result.records, content);
  ASSERT_EQ(result.details.size(), 5U);
  EXPECT_EQ(result.details[2].location, (Location{.input = 0, .at = 96}));
  EXPECT_EQ(result.details[2].missing, 2U);
  EXPECT_EQ(result.details[4].run, 0U) << "nine numbers and some microseconds back may be late";
  ASSERT_EQ(result.runs.size(), 1U);
  EXPECT_EQ(result.runs[0].records, 5U);
}

TEST(Sources, RawRecords_OfARestartAreAnotherRun) {
  Bytes content = record(5000, {}, 10'000'000);
  append(content, record(0, {}, 5));
  const TemporaryFile file(content);
  const Result result = readAll({file.path(), file.path()});
  ASSERT_EQ(result.details.size(), 4U);
  EXPECT_EQ(result.details[1].run, 1U);
  EXPECT_EQ(result.details[2].run, 2U) << "each file has its own";
  EXPECT_EQ(result.details[2].location.input, 1U);
  EXPECT_EQ(result.runs[1].start, Run::Start::restarted);
  EXPECT_EQ(result.runs[2].start, Run::Start::first);
}

TEST(Sources, RecoveredRecords_HaveTheirOffsets) {
  Bytes content = records(0, 8);
  content.insert(content.begin() + 3 * recordSize, 7, 0xAB);
  const TemporaryFile file(content);
  const Result result = readAll({file.path()}, {.recover = true});
  ASSERT_EQ(result.details.size(), 8U);
  EXPECT_EQ(result.details[2].location.at, 96U);
  EXPECT_EQ(result.details[3].location.at, 151U);
  EXPECT_THAT(result.complaints, testing::Each(testing::HasSubstr("damage, 7 bytes skipped")));
}

TEST(Sources, Lines_HaveOffsetsAndCalendarTimes) {
  const profile::TimePolicy times{profile::TimeSync{0, 1'731'000'000'000'000'000}, 1'730'900'000'000'000};
  Bytes content = record(1, {}, 10);
  append(content, record(2, {}, 20));
  const std::string text = "a log: " + textOf(content, times);
  const TemporaryFile file(bytesOf(text));
  for (const unsigned jobs : {1U, 3U}) {
    const Result result = readAll({file.path()}, {.jobs = jobs});
    EXPECT_EQ(result.records, content);
    ASSERT_EQ(result.details.size(), 2U);
    EXPECT_EQ(result.details[0].location.at, 7U);
    EXPECT_EQ(result.details[1].location.at, text.find('\n') + 1);
    EXPECT_EQ(result.details[1].calendar, 1'731'000'000'000'020U);
  }
}

TEST(Sources, FindingsSayWhatAndWhere) {
  std::string text = textOf(record(1)) + textOf(record(2)) + textOf(record(3)).substr(0, 200) + '\n';
  const std::size_t second = text.find('\n') + 1;
  text.replace(text.find("'event'", second), 7, "'evenT'");
  const TemporaryFile file(bytesOf(text));
  const Result result = readAll({file.path()});
  ASSERT_EQ(result.findings.size(), 2U);
  EXPECT_EQ(result.findings[0].kind, FindingKind::contradiction);
  EXPECT_EQ(result.findings[0].location.at, second);
  EXPECT_EQ(result.findings[1].kind, FindingKind::truncated);
  EXPECT_EQ(result.findings[1].count, 1U);
}

TEST(Sources, LinesThatDisagreeOnTheClocks_AreCounted) {
  const profile::TimePolicy one{profile::TimeSync{0, 1'731'000'000'000'000'000}, 1'730'900'000'000'000};
  const profile::TimePolicy other{profile::TimeSync{0, 1'731'000'001'000'000'000}, 1'730'900'000'000'000};
  std::string text;
  for (std::uint32_t i = 0; i < 100; ++i) {
    text += textOf(record(i, {}, i), i < 97 ? one : other);
  }
  const TemporaryFile file(bytesOf(text));
  const Result result = readAll({file.path()});
  ASSERT_EQ(result.findings.size(), 1U);
  EXPECT_EQ(result.findings[0].kind, FindingKind::clock);
  EXPECT_EQ(result.findings[0].count, 3U);
  EXPECT_THAT(result.complaints, ElementsAre());
}

class Folder {
public:
  Folder() {
    std::string pattern = testing::TempDir() + "/velstat-capture-XXXXXX";
    path_ = mkdtemp(pattern.data());
  }
  ~Folder() { std::filesystem::remove_all(path_); }
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;

  void write(const std::string& name, const std::string& content) const {
    std::ofstream(path_ / name, std::ios::binary) << content;
  }
  std::string path() const { return path_.string(); }

private:
  std::filesystem::path path_;
};

// A list of one text.
std::string stateRecord(std::string title, const std::string& text) {
  const tests::BinaryList list{.objects = {"\xA1\x01"s, "\x5F\x11"s + tests::bigEndianText(text.size(), 2) + text},
                               .offsetWidth = 2};
  const std::string bytes = list.bytes();
  std::string size = tests::bigEndianText(bytes.size(), 4);
  std::reverse(size.begin(), size.end());
  title.resize(64);
  return "\x01\0\0\0"s + size + std::string(128, '\0') + title + bytes;
}

TEST(Sources, CaptureFolder_IsOneValue) {
  const Folder folder;
  const profile::TimePolicy times{profile::TimeSync{0, 1'731'000'000'000'000'000}, 1'730'900'000'000'000};
  std::string line = textOf(record(9, {7, 0, 0, 3}, 10), times);
  line.pop_back();
  folder.write("001-b.state", stateRecord("KIP Profile 0 ;count=2 ;type=err", line));
  folder.write("log.jsonl", R"({"time":"T","level":"error","subsystem":"s","category":"c","message":"m"})"
                            "\n");
  folder.write("manifest.json", R"({"version": "1", "device": "d", "model": "m", "plug-in": "p", "api": 3, "later": [],
    "services": [{"name": "button", "usages": [{"page": 12, "usage": 1}], "opened": true, "first handler": 1,
                  "handlers": 2}],
    "handler results": [{"handler": 1, "service": "button", "answered": false, "result": "0xe00002c5",
                         "result text": "busy"}, {"handler": 2, "service": "button", "answered": true}],
    "records": [{"file": "001-b.state", "handler": 2}]})");
  std::vector<std::string> complaints;
  Sources sources({folder.path()}, {.complain = [&](std::string_view text) { complaints.emplace_back(text); }});
  ASSERT_EQ(sources.inputs()[0].kind, Kind::capture);
  const Capture& capture = sources.inputs()[0].capture;
  EXPECT_EQ(capture.device + capture.model + capture.plugIn + capture.version, "dmp1");
  EXPECT_EQ(capture.api, 3U);
  ASSERT_EQ(capture.services.size(), 1U);
  EXPECT_EQ(capture.services[0].name, "button");
  EXPECT_THAT(capture.services[0].usages, ElementsAre(std::pair(12U, 1U)));
  EXPECT_EQ(capture.services[0].handlers, 2U);
  ASSERT_EQ(capture.handlers.size(), 2U);
  EXPECT_FALSE(capture.handlers[0].answered);
  EXPECT_EQ(capture.handlers[0].result, 0xe00002c5U);
  EXPECT_EQ(capture.handlers[0].resultText, "busy");
  EXPECT_EQ(capture.handlers[1].service, "button");
  ASSERT_EQ(capture.reports.size(), 1U);
  EXPECT_EQ(capture.reports[0].title, "KIP Profile 0 ;count=2 ;type=err");
  EXPECT_EQ(capture.reports[0].handler, 2U);
  ASSERT_EQ(capture.log.size(), 1U);
  EXPECT_EQ(capture.log[0].message, "m");
  ASSERT_EQ(capture.clocks.size(), 1U);
  EXPECT_EQ(capture.clocks[0].offset, 1'731'000'000'000'000);
  EXPECT_EQ(capture.clocks[0].boot, times.boot);
  ASSERT_EQ(sources.findings().size(), 1U);
  EXPECT_EQ(sources.findings()[0].kind, FindingKind::missingLines) << "the title counts two";
  EXPECT_THAT(complaints, ElementsAre(testing::HasSubstr("the title counts 2 records and the list has 1 line")));

  const auto stream = sources.records();
  Bytes room(recordSize);
  std::vector<Details> details(1);
  ASSERT_EQ(stream->read(room, details), 1U);
  EXPECT_EQ(room, record(9, {7, 0, 0, 3}, 10));
  EXPECT_EQ(details[0].location, (Location{.input = 0, .report = 0, .at = 0}));
  EXPECT_EQ(details[0].calendar, 1'731'000'000'000'010U);
  EXPECT_EQ(stream->runs()[0].log, "err");
}

TEST(Sources, LinesOfACaptureThatDisagreeOnTheClocks_AreAFinding) {
  const Folder folder;
  for (const int seconds : {0, 1}) {
    const profile::TimePolicy times{profile::TimeSync{0, (1'731'000'000LL + seconds) * 1'000'000'000LL},
                                    1'730'900'000'000'000};
    std::string line = textOf(record(9, {7, 0, 0, 3}, 10 + static_cast<unsigned>(seconds)), times);
    line.pop_back();
    folder.write(std::to_string(seconds) + ".state", stateRecord("KIP Profile 0 ;count=1 ;type=err", line));
  }
  Sources sources({folder.path()}, {});
  EXPECT_EQ(sources.inputs()[0].capture.clocks.size(), 2U);
  ASSERT_EQ(sources.findings().size(), 1U);
  EXPECT_EQ(sources.findings()[0].kind, FindingKind::clock);
  EXPECT_EQ(sources.findings()[0].count, 1U);
  EXPECT_THAT(sources.findings()[0].text, testing::HasSubstr("1000000 us apart"));
}

TEST(Sources, ListsOfAnyContent_AreTakenOnRequest) {
  const TemporaryFile xml(bytesOf("<plist><dict><key>k</key><integer>1</integer></dict></plist>"));
  std::string header = "\x01\0\0\0\x0A\0\0\0"s;
  const TemporaryFile cutState(bytesOf(header + std::string(92, '\0')));
  const struct {
    const TemporaryFile& file;
    bool anyList;
    bool noRaw;
    Kind kind;
    const char* complaint; // its end
  } rows[] = {
      {xml, false, false, Kind::unknown, "nor a report of the plug-in"},
      {xml, true, false, Kind::propertyList, ""},
      {cutState, false, false, Kind::records, ""},
      {cutState, true, false, Kind::records, ""},
      {cutState, true, true, Kind::unknown, "ends at offset 100: a state record has a header of 200 bytes"},
  };
  for (const auto& row : rows) {
    std::string complaints;
    const Sources sources(
        {row.file.path()},
        {.anyList = row.anyList, .noRaw = row.noRaw, .complain = [&](std::string_view line) { complaints += line; }});
    EXPECT_EQ(sources.inputs()[0].kind, row.kind) << row.complaint;
    EXPECT_TRUE(complaints.ends_with(row.complaint)) << complaints;
    EXPECT_EQ(complaints.empty(), *row.complaint == '\0') << complaints;
  }
}

TEST(Sources, InputsInAnyNumber_AreToldApart) {
  const TemporaryFile raw(record(1));
  const TemporaryFile text(bytesOf(textOf(record(2))));
  std::vector<std::string> complaints;
  Sources sources({raw.path(), "/nothing/there", text.path()},
                  {.complain = [&](std::string_view line) { complaints.emplace_back(line); }});
  ASSERT_EQ(sources.inputs().size(), 3U);
  EXPECT_EQ(sources.inputs()[0].kind, Kind::records);
  EXPECT_EQ(sources.inputs()[1].kind, Kind::unknown);
  EXPECT_EQ(sources.inputs()[2].kind, Kind::lines);
  EXPECT_THAT(complaints, ElementsAre("/nothing/there: No such file or directory"));
  EXPECT_FALSE(sources.isSound());
}

TEST(Sources, FindingsAreNotComplainedOf_IfTheCallerShowsThem) {
  const std::string text =
      textOf(record(1)) + "\n{  'category':'zorb', 'binary-data':[1,2,3]}\n{  'category':'zorb', 'x\n";
  const TemporaryFile file(bytesOf(text));
  const Result told = readAll({file.path()});
  EXPECT_EQ(told.findings.size(), 2U);
  EXPECT_EQ(told.complaints.size(), 4U) << "both passes";
  Options quiet;
  quiet.tellFindings = false;
  const Result kept = readAll({file.path()}, quiet);
  EXPECT_EQ(kept.findings.size(), 2U);
  EXPECT_THAT(kept.complaints, testing::IsEmpty());
}

TEST(Sources, CopiedPipes_CanBeReadAgain) {
  const std::string path = testing::TempDir() + "sources_pipe_" + std::to_string(getpid());
  ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
  const Bytes content = records(7, 4000); // more than a pipe holds
  std::thread writer([&] {
    const int pipe = open(path.c_str(), O_WRONLY);
    for (std::size_t done = 0; done < content.size();) {
      const ssize_t written = write(pipe, content.data() + done, content.size() - done);
      ASSERT_GT(written, 0);
      done += static_cast<std::size_t>(written);
    }
    close(pipe);
  });
  Options options;
  options.copies = true;
  const Result read = readAll({path}, options); // twice
  writer.join();
  std::filesystem::remove(path);
  EXPECT_EQ(read.records, content);
  EXPECT_THAT(read.complaints, testing::IsEmpty());
}

TEST(Sources, CaptureInMemory_IsReadAsFromItsFolder) {
  Capture capture;
  formats::Array lines;
  for (const std::uint32_t number : {3U, 1U, 2U, 2U}) {
    lines.push_back({textOf(record(number, {}, number * 10))});
  }
  lines.push_back({std::string("{  'category':'zorb', 'binary-data':[1,2,3]}")});
  capture.reports.push_back({.title = "KIP Profile 0 ;count=9 ;type=fw", .value = {std::move(lines)}});
  Sources sources("memory", std::move(capture), {.tellFindings = false});
  EXPECT_EQ(sources.inputs().size(), 1U);
  EXPECT_EQ(sources.inputs()[0].name, "memory");
  EXPECT_EQ(sources.inputs()[0].kind, Kind::capture);
  EXPECT_EQ(sources.findings().size(), 2U) << "a damaged line, and lines that are missing";
  EXPECT_TRUE(sources.isSound());
  Bytes room(9 * recordSize);
  const auto stream = sources.records();
  ASSERT_EQ(stream->read(room), 3U) << "in order, and once each";
  EXPECT_EQ(sequenceNumber(room.data()), 1U);
  EXPECT_EQ(sequenceNumber(room.data() + 2 * recordSize), 3U);
}

} // namespace

} // namespace vel::sources
