// The C interface, as the shared library exports it.
#include "profile/velprofile.h"
#include "sample_records.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <map>
#include <set>

extern "C" int c_program_renders_a_record(const void* record, const char* expected, size_t length);

namespace {

TEST(CInterface, IsUsableFromC) {
  const Record record = Record(2, 0, 9, 8).text(35, "\xff\xfe");
  const std::string expected = text_of(record);
  ASSERT_NE(expected.find('\0'), std::string::npos) << "NULs survive";
  EXPECT_EQ(c_program_renders_a_record(record.bytes, expected.data(), expected.size()), 0);
}

TEST(CInterface, SmallCapacity_WritesNothingAndSaysWhatIsNeeded) {
  const Record record(0, 0, 0, 5);
  const std::string expected = text_of(record);
  EXPECT_EQ(vel_profile_render(record.bytes, nullptr, nullptr, 0), expected.size());
  std::string out(expected.size() + 1, '#');
  EXPECT_EQ(vel_profile_render(record.bytes, nullptr, out.data(), expected.size()), expected.size());
  EXPECT_EQ(out, std::string(expected.size() + 1, '#'));
  EXPECT_EQ(vel_profile_render(record.bytes, nullptr, out.data(), expected.size() + 1), expected.size());
  EXPECT_EQ(out, expected + '\0');
}

struct TimesCase {
  const char* name;
  std::uint32_t flags;
  const char* end; // of the text
};

TEST(CInterface, Times_EachIsShownByItsOwnFlag) {
  const TimesCase cases[] = {
      {"neither", 0, "]}"},
      {"calendar", VEL_PROFILE_CALENDAR, "], 'calendar-time':'Jan 02 00:00:00.000002'}"},
      {"boot", VEL_PROFILE_BOOT, "], 'boot-timestamp':17}"},
      {"both", VEL_PROFILE_CALENDAR | VEL_PROFILE_BOOT,
       "], 'calendar-time':'Jan 02 00:00:00.000002', 'boot-timestamp':17}"},
      {"other flags", 4, "]}"},
      {"calendar and others", 0xFFFFFFFC | VEL_PROFILE_CALENDAR, "], 'calendar-time':'Jan 02 00:00:00.000002'}"},
      {"boot and others", 0xFFFFFFFC | VEL_PROFILE_BOOT, "], 'boot-timestamp':17}"},
  };
  setenv("TZ", "UTC0", 1);
  tzset();
  const Record record = Record(0, 0, 0, 5).timestamp(5);
  const auto end_of = [&](const vel_profile_times* times) {
    char out[VEL_PROFILE_TEXT_CAPACITY];
    const std::string_view text(out, vel_profile_render(record.bytes, times, out, sizeof out));
    return std::string(text.substr(text.find(']')));
  };
  for (const TimesCase& row : cases) {
    const vel_profile_times times = {row.flags, 3000, 86'400'000'000'000, 17};
    EXPECT_EQ(end_of(&times), row.end) << row.name;
  }
  EXPECT_EQ(end_of(nullptr), "]}");
  unsetenv("TZ");
  tzset();
}

TEST(CInterface, Many_RendersAsManyAsSurelyFit) {
  std::vector<unsigned char> records;
  std::string expected;
  std::vector<std::size_t> expected_ends;
  RandomRecords random(14);
  for (unsigned i = 0; i < 5; ++i) {
    const Record record = random.next();
    records.insert(records.end(), std::begin(record.bytes), std::end(record.bytes));
    if (i < 3) {
      expected += text_of(record) + '\n';
      expected_ends.push_back(expected.size());
    }
  }
  std::vector<char> out(4 * VEL_PROFILE_TEXT_CAPACITY - 1);
  std::size_t length = 0;
  EXPECT_EQ(vel_profile_render_many(records.data(), 5, nullptr, out.data(), out.size(), &length, nullptr), 3U);
  EXPECT_EQ(std::string(out.data(), length), expected);

  std::vector<std::size_t> ends(3);
  EXPECT_EQ(vel_profile_render_many(records.data(), 5, nullptr, out.data(), out.size(), &length, ends.data()), 3U);
  EXPECT_EQ(std::string(out.data(), length), expected);
  EXPECT_EQ(ends, expected_ends);
  EXPECT_EQ(vel_profile_render_many(records.data(), 0, nullptr, nullptr, 0, &length, nullptr), 0U);
  EXPECT_EQ(length, 0U);
}

TEST(CInterface, Fields) {
  const Record record = Record(7, 1, 0, 3).u32(16, 224).u32(20, 5);
  vel_profile_field fields[VEL_PROFILE_FIELD_CAPACITY];
  ASSERT_EQ(vel_profile_fields(record.bytes, fields, 0), 18U);
  ASSERT_EQ(vel_profile_fields(record.bytes, fields, VEL_PROFILE_FIELD_CAPACITY), 18U);
  EXPECT_STREQ(fields[0].layout, "zorb-event");
  EXPECT_STREQ(fields[0].key, "trace");
  EXPECT_EQ(fields[0].kind, unsigned{VEL_PROFILE_SUBTYPE_NAME});
  EXPECT_EQ(fields[0].number, 224U);
  EXPECT_EQ(std::string(fields[0].bytes, fields[0].length), "AmpPowerUpPhase1");
  EXPECT_EQ(fields[0].offset, 16U);
  EXPECT_EQ(fields[0].size, 4U);
  EXPECT_EQ(fields[0].width, 25U);
  EXPECT_STREQ(fields[17].layout, "event");
  EXPECT_EQ(fields[17].group, 1U);
  EXPECT_STREQ(fields[17].key, "xarg6");
}

TEST(CInterface, Fields_GoNoFurtherThanTheCapacity) {
  const Record record = Record(7, 1, 0, 3);
  vel_profile_field fields[6] = {};
  fields[5].group = 17;
  EXPECT_EQ(vel_profile_fields(record.bytes, fields, 5), 18U);
  EXPECT_STREQ(fields[4].key, "arg3");
  EXPECT_EQ(fields[5].key, nullptr);
  EXPECT_EQ(fields[5].group, 17U);
}

TEST(CInterface, NoRecordHasMoreFieldsThanTheCapacity) {
  RandomRecords records(15);
  for (unsigned i = 0; i < 20'000; ++i) {
    ASSERT_LE(vel_profile_fields(records.next().bytes, nullptr, 0), unsigned{VEL_PROFILE_FIELD_CAPACITY});
  }
}

TEST(CInterface, Rows_AreTheFieldsOfAnyRecordThatShowsTheLayout) {
  std::vector<vel_profile_row> rows(vel_profile_rows(nullptr, 0));
  ASSERT_EQ(vel_profile_rows(rows.data(), rows.size()), rows.size());
  std::map<std::string, std::vector<vel_profile_row>> layouts;
  for (const vel_profile_row& row : rows) {
    layouts[row.layout].push_back(row);
  }
  std::set<std::string> seen;
  RandomRecords records(16);
  for (unsigned i = 0; i < 20'000; ++i) {
    vel_profile_field fields[VEL_PROFILE_FIELD_CAPACITY];
    const std::size_t count = vel_profile_fields(records.next().bytes, fields, VEL_PROFILE_FIELD_CAPACITY);
    for (std::size_t at = 0, row = 0; at < count; ++at, ++row) {
      if (at != 0 && fields[at].group != fields[at - 1].group) {
        row = 0;
      }
      const std::vector<vel_profile_row>& listed = layouts[fields[at].layout];
      ASSERT_LT(row, listed.size()) << fields[at].layout;
      EXPECT_STREQ(listed[row].key, fields[at].key);
      EXPECT_EQ(listed[row].kind, fields[at].kind);
      EXPECT_EQ(listed[row].offset, fields[at].offset);
      EXPECT_EQ(listed[row].size, fields[at].size);
      EXPECT_EQ(listed[row].width, fields[at].width);
      if (fields[at].kind == VEL_PROFILE_CONSTANT) {
        EXPECT_EQ(listed[row].parameter, fields[at].number);
      }
      seen.insert(fields[at].layout);
    }
  }
  EXPECT_EQ(seen.size(), layouts.size()) << "every layout was compared";
}

TEST(CInterface, Rows_GoNoFurtherThanTheCapacity) {
  vel_profile_row rows[3] = {};
  EXPECT_GT(vel_profile_rows(rows, 2), 2U);
  EXPECT_STREQ(rows[1].key, "packet-size");
  EXPECT_EQ(rows[2].key, nullptr);
}

TEST(CInterface, Shows_CountsTheLayoutInEachRecord) {
  const Record records[] = {Record(7, 0, 2, 2), Record(7, 0, 9, 2), Record(0, 0, 0, 2), Record(0, 0, 0, 3)};
  struct ShowsCase {
    const char* layout;
    unsigned char shown[4];
    std::size_t showing;
  };
  const ShowsCase cases[] = {
      {"zorb-input-packet", {1, 0, 0, 0}, 1},
      {"short-data", {1, 2, 1, 0}, 3},
      {"event", {0, 0, 0, 1}, 1},
      {"short", {0, 0, 0, 0}, 0},
  };
  std::string bytes;
  for (const Record& record : records) {
    bytes.append(reinterpret_cast<const char*>(record.bytes), sizeof record.bytes);
  }
  for (const ShowsCase& row : cases) {
    unsigned char shown[5] = {9, 9, 9, 9, 9};
    EXPECT_EQ(vel_profile_shows(bytes.data(), 4, row.layout, shown), row.showing) << row.layout;
    EXPECT_EQ(std::string(shown, shown + 4), std::string(row.shown, row.shown + 4)) << row.layout;
    EXPECT_EQ(shown[4], 9) << row.layout;
  }
}

TEST(CInterface, Names) {
  const auto name = [](auto function, auto... ids) {
    char out[32];
    const std::size_t length = function(ids..., out, sizeof out);
    EXPECT_EQ(out[length], '\0');
    return std::string(out, length);
  };
  EXPECT_EQ(name(vel_profile_category_name, 2U), "sensors");
  EXPECT_EQ(name(vel_profile_category_name, 4000000000U), "4000000000");
  EXPECT_EQ(name(vel_profile_component_name, 7U, 6U), "kipvoicetrigger");
  EXPECT_EQ(name(vel_profile_component_name, 12U, 3U), "3");
  EXPECT_EQ(name(vel_profile_event_name, 7U, 3U, 5U), "ckp_HaldenStartHaptics");
  EXPECT_EQ(name(vel_profile_datatype_name, 10U), "zorb-context");
  EXPECT_EQ(name(vel_profile_subtype_name, 7U, 1U, 224U), "AmpPowerUpPhase1");
  EXPECT_EQ(name(vel_profile_subtype_name, 7U, 3U, 7U), "ckp_HaldenPlayAsset");
  EXPECT_EQ(name(vel_profile_subtype_name, 2U, 0U, 7U), "7");
  char small[4] = "abc";
  EXPECT_EQ(vel_profile_datatype_name(0, small, sizeof small), 4U);
  EXPECT_STREQ(small, "abc");
}

} // namespace
