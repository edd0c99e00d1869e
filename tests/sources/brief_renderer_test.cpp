// Brief lines: what they show of each layout, their times, their width, and that nothing depends on blocks.
#include "support/record_files.h"
#include "support/zone.h"
#include <profile/names.h>
#include <sources/brief_renderer.h>
#include <synthetic/record_stream.h>

#include <gmock/gmock.h>

#include <algorithm>

namespace vel::sources {

namespace {

using testing::ElementsAre;

const profile::Layout& layoutNamed(std::string_view name) {
  const auto layouts = profile::all_layouts();
  return *std::find_if(layouts.begin(), layouts.end(), [&](const auto& layout) { return layout.name == name; });
}

std::vector<std::string> briefKeys(std::string_view layout) {
  std::vector<std::string> keys;
  for (const profile::Row* const row : briefRows(layoutNamed(layout))) {
    keys.emplace_back(row->key);
  }
  return keys;
}

TEST(BriefRows, EachByteIsShownOnce_ByWhatSaysMost) {
  EXPECT_THAT(briefKeys("event"), ElementsAre("arg1", "arg2", "arg3", "arg4", "arg5", "arg6"));
  EXPECT_THAT(briefKeys("trigger"), ElementsAre("thread-id"));
  EXPECT_THAT(briefKeys("short-data"), ElementsAre("subtype", "raw-data"));
  EXPECT_THAT(briefKeys("annotation"), ElementsAre("entry", "global-id", "arg1", "arg2"));
  EXPECT_THAT(briefKeys("corvane"), ElementsAre("x", "y", "z", "arg4", "arg5", "arg6"));
  EXPECT_THAT(briefKeys("long-data"), ElementsAre("subtype", "packet-size", "data-length", "data-offset", "raw-data"));
  EXPECT_THAT(briefKeys("zorb-event"), ElementsAre("trace", "thread", "arg1", "arg2", "arg3", "arg4"));
}

Bytes recordWith(const Ids& ids, std::uint64_t time, std::initializer_list<std::pair<unsigned, std::uint32_t>> words) {
  Bytes bytes = record(1, ids, time);
  std::fill(bytes.begin() + 16, bytes.end(), 0);
  for (const auto& [offset, value] : words) {
    storeNumber(&bytes[offset], 4, value);
  }
  return bytes;
}

std::string rendered(const BriefOptions& options, const Bytes& records, std::optional<std::uint64_t> previous = {},
                     std::span<const Note> notes = {}) {
  OutputBuffer out;
  BriefRenderer(options).render({records.data(), records.size() / recordSize, previous, notes}, out);
  return std::string(out.view());
}

constexpr std::uint64_t stamp = 420'000'417;

TEST(BriefLine, NamesAndTheFieldsThatMatter) {
  const struct {
    const char* what;
    Bytes bytes;
    const char* line;
  } rows[] = {
      {"zeros are left out", recordWith({6, 1, 1, 3}, stamp, {{16, 206}, {24, 4}}),
       "  420.000417  uart uart1 sw-handshake                   arg1=206 arg3=4"},
      {"nothing but zeros", recordWith({6, 1, 1, 3}, stamp, {}), "  420.000417  uart uart1 sw-handshake"},
      {"an action", recordWith({7, 2, 0, 3}, stamp, {{16, 200}, {20, 9}, {24, 5}}),
       "  420.000417  zorb amp trace/SetState                   thread=9 arg1=5"},
      {"an action without a name", recordWith({7, 2, 0, 3}, stamp, {{16, 9999}}), "  420.000417  zorb amp trace/9999"},
      {"a checkpoint is event and action", recordWith({7, 3, 4, 3}, stamp, {{16, 4}}),
       "  420.000417  zorb latency ckp_ARCTurnOn"},
      {"a checkpoint with another action", recordWith({7, 3, 4, 3}, stamp, {{16, 5}}),
       "  420.000417  zorb latency ckp_ARCTurnOn/ckp_HaldenStartHaptics"},
      {"coordinates first", recordWith({4, 0, 0, 3}, stamp, {{16, 65536}, {20, 25285}, {24, 4294921643}, {28, 7}}),
       "  420.000417  corvane corvane data-in                   x=1 y=0.385818 z=-0.696609 arg4=7"},
      {"bytes", recordWith({9, 0, 3, 2}, stamp, {{16, 0x2a010000 | 5}, {44, 0xff000000}}),
       "  420.000417  scm spi0 3                                subtype=5 "
       "raw-data=012a000000000000000000000000000000000000000000000000000000ff"},
      {"a slice of bytes", recordWith({6, 0, 4, 1}, stamp, {{20, 2}, {24, 0xccbbaa}}),
       "  420.000417  uart uart0 packet                         data-length=2 raw-data=aabb"},
      {"no bytes", recordWith({6, 0, 4, 1}, stamp, {{16, 1}}),
       "  420.000417  uart uart0 packet                         subtype=1"},
      {"texts", recordWith({2, 1, 9, 8}, stamp, {{16, 10}, {32, 'a' << 24 | 1}, {36, '"' << 8 | 0x1b}}),
       "  420.000417  sensors gyro sensor-info                  name=\"a\\u001b\\\"\" report-interval=10 connected=1"},
      {"no layout", recordWith({0, 0, 0, 0}, stamp, {{16, 1}}),
       "  420.000417  execution scheduler context-switch        type=stop"},
      {"unknown ids", recordWith({200, 100, 50, 25}, stamp, {}),
       "  420.000417  200 100 50                                type=25"},
      {"names that take more room", recordWith({7, 6, 18, 4}, stamp, {{20, 1}}),
       "  420.000417  zorb kipvoicetrigger trigger-clickon      thread-id=1"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(rendered({}, row.bytes), std::string(row.line) + '\n') << row.what;
  }
}

Bytes several(std::initializer_list<std::uint64_t> times) {
  Bytes bytes;
  for (const std::uint64_t each : times) {
    append(bytes, recordWith({6, 1, 1, 3}, each, {}));
  }
  return bytes;
}

constexpr profile::TimeSync nearMidnight = {0, 1'700'006'399'000'000'000}; // Nov 14 23:59:59 UTC

TEST(BriefTimes, Forms) {
  const Zone zone("UTC");
  const BriefOptions calendar = {.times = {nearMidnight, {}}};
  const BriefOptions differences = {.differences = true};
  const BriefOptions both = {.times = {nearMidnight, {}}, .differences = true};
  const struct {
    const char* what;
    BriefOptions options;
    Bytes records;
    std::optional<std::uint64_t> previous;
    const char* times; // the lines up to the names
  } rows[] = {
      {"seconds", {}, several({0, 1, 99'999'999'999}), {}, "    0.000000|    0.000001|99999.999999|"},
      {"any number", {}, several({~std::uint64_t{0}}), {}, "18446744073709.551615|"},
      {"the calendar", calendar, several({0, 999'999}), {}, "-- Nov 14|23:59:59.000000|23:59:59.999999|"},
      {"a new day",
       calendar,
       several({999'999, 1'000'000}),
       {},
       "-- Nov 14|23:59:59.999999|-- Nov 15|00:00:00.000000|"},
      {"the day of the block before", calendar, several({999'999}), 0, "23:59:59.999999|"},
      {"another day than the block before", calendar, several({1'000'000}), 0, "-- Nov 15|00:00:00.000000|"},
      {"differences", differences, several({5, 1'000'006, 3}), {}, "    0.000005|   +1.000001|   -1.000003|"},
      {"a difference to the block before", differences, several({7}), 5, "   +0.000002|"},
      {"differences and calendar", both, several({0, 1'000'000}), {}, "-- Nov 14|23:59:59.000000|      +1.000000|"},
  };
  for (const auto& row : rows) {
    std::string times;
    const std::string text = rendered(row.options, row.records, row.previous);
    for (std::size_t at = 0; at < text.size(); at = text.find('\n', at) + 1) {
      const std::string line = text.substr(at, text.find('\n', at) - at);
      times += line.substr(0, line.find("  uart")) + '|';
    }
    EXPECT_EQ(times, row.times) << row.what;
  }
}

TEST(BriefNotes, StandBeforeTheirRecords) {
  const Note notes[] = {{0, false, "-- first"}, {2, false, "-- gap"}, {2, true, "-- restart"}};
  EXPECT_EQ(rendered({.differences = true}, several({1, 2, 3, 4}), {}, notes),
            "-- first\n    0.000001  uart uart1 sw-handshake\n"
            "   +0.000001  uart uart1 sw-handshake\n"
            "-- gap\n-- restart\n    0.000003  uart uart1 sw-handshake\n"
            "   +0.000001  uart uart1 sw-handshake\n");
}

TEST(BriefFields, AreThoseOfTheList) {
  const Bytes event = recordWith({7, 2, 0, 3}, stamp, {{16, 200}, {20, 9}});
  const BriefOptions options = {.fields = FieldList("arg1,event.arg1,raw-data,sequence_num,calendar-time,thread")};
  EXPECT_EQ(rendered(options, event),
            "  420.000417  zorb amp trace/SetState                   arg1=0 event.arg1=200 sequence_num=1 thread=9\n");
  EXPECT_EQ(rendered({.fields = FieldList("raw-data,thread")}, event),
            "  420.000417  zorb amp trace/SetState                   thread=9\n");
  EXPECT_EQ(rendered({.fields = FieldList("raw-data")}, event), "  420.000417  zorb amp trace/SetState\n");
}

Bytes anyRecords(std::size_t count) {
  std::vector<_VelProfileReport> records(2 * count);
  synthetic::RandomStream(5).fill({records.data(), count});
  synthetic::FlowStream(5).fill({records.data() + count, count});
  const auto* const bytes = reinterpret_cast<const unsigned char*>(records.data());
  return Bytes(bytes, bytes + records.size() * recordSize);
}

// "…" has three bytes.
std::size_t columnsOf(std::string_view line) {
  return line.ends_with("…") ? line.size() - 2 : line.size();
}

TEST(BriefWidth, NoLineIsWider_AndAllIsPrintable) {
  const Zone zone("UTC");
  const Bytes records = anyRecords(2000);
  for (const std::size_t width : {1, 20, 79, 80, 200}) {
    const std::string text = rendered({.times = {nearMidnight, {}}, .width = width}, records);
    std::size_t lines = 0;
    std::size_t cut = 0;
    for (std::size_t at = 0; at < text.size(); ++lines) {
      const std::size_t end = text.find('\n', at);
      std::string_view line(text.data() + at, end - at);
      at = end + 1;
      if (line.starts_with("-- ")) {
        continue;
      }
      ASSERT_LE(columnsOf(line), width) << line;
      if (line.ends_with("…")) {
        ++cut;
        ASSERT_EQ(columnsOf(line), width) << line;
        line.remove_suffix(std::string_view("…").size());
      }
      ASSERT_TRUE(std::all_of(line.begin(), line.end(), [](char c) { return c >= 0x20 && c < 0x7f; })) << line;
    }
    EXPECT_GE(lines, 4000U);
    EXPECT_GT(cut, 100U) << width;
  }
}

TEST(BriefBlocks, DoNotShow) {
  const Zone zone("UTC");
  const Bytes records = anyRecords(300);
  for (const bool differences : {false, true}) {
    const BriefOptions options = {.times = {nearMidnight, {}}, .differences = differences};
    std::string pieces;
    std::optional<std::uint64_t> previous;
    for (std::size_t at = 0; at < records.size();) {
      const std::size_t size = std::min((at / recordSize % 7 + 1) * recordSize, records.size() - at);
      const Bytes block(records.begin() + static_cast<std::ptrdiff_t>(at),
                        records.begin() + static_cast<std::ptrdiff_t>(at + size));
      pieces += rendered(options, block, previous);
      at += size;
      previous = timeStamp(records.data() + at - recordSize);
    }
    EXPECT_EQ(pieces, rendered(options, records));
  }
}

} // namespace

} // namespace vel::sources
