// The engine against the naive rendering: the registry, the decoders, the bulk path and the C interface give the same
// bytes.
#include "given_times.h"
#include "profile/velprofile.h"
#include "sample_records.h"
#include "support/naive_profile.h"

#include <gtest/gtest.h>

#include <locale>

namespace {

using namespace vel::profile;

// Renders one record every way there is, into buffers that it keeps.
class EveryWay {
public:
  testing::AssertionResult agrees(const Record& record) {
    const std::string expected = naive::to_string(record.bytes);
    const std::string single = text_of(record);
    if (single != expected) {
      return testing::AssertionFailure() << "to_string:\n" << single << "\nnaive:\n" << expected;
    }
    const std::string slots = decoder_of(record)->to_string(record.report());
    if (slots != expected) {
      return testing::AssertionFailure() << "through the virtual members:\n" << slots << "\nnaive:\n" << expected;
    }
    const std::string_view bulk(block_.data(), renderer_.render(record.bytes, 1, block_.data()));
    if (bulk != expected) {
      return testing::AssertionFailure() << "bulk:\n" << bulk << "\nnaive:\n" << expected;
    }
    const std::string_view c(block_.data(), vel_profile_render(record.bytes, nullptr, block_.data(), block_.size()));
    if (c != expected || c.data()[c.size()] != '\0') {
      return testing::AssertionFailure() << "C interface:\n" << c << "\nnaive:\n" << expected;
    }
    return testing::AssertionSuccess();
  }

private:
  static profile_decoder* decoder_of(const Record& record) {
    const unsigned category = record.report().category;
    return category < KIPLogDecoder::_decoders.size() ? KIPLogDecoder::_decoders[category] : &KIPLogDecoder::_default;
  }

  BulkRenderer renderer_{{}, Framing::none};
  std::vector<char> block_ = std::vector<char>(frame_capacity);
};

TEST(Differential, EveryKnownCategoryComponentEventAndType_AndSomeBeyond) {
  const unsigned event_step = sanitized ? 17 : 1;
  EveryWay every_way;
  RandomRecords payloads(1);
  for (const unsigned category : {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 255}) {
    for (const unsigned component : {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 255}) {
      Record record = payloads.next();
      record.u8(3, category).u8(2, component);
      for (unsigned event = 0; event<256; event += event> 20 ? event_step : 1) {
        for (const unsigned type : {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 255}) {
          record.u8(1, event).u8(0, type);
          ASSERT_TRUE(every_way.agrees(record));
        }
      }
    }
  }
}

TEST(Differential, EveryIdByte) {
  EveryWay every_way;
  RandomRecords payloads(2);
  for (unsigned at = 0; at < 4; ++at) {
    for (unsigned id = 0; id < 256; ++id) {
      for (unsigned i = 0; i < 20; ++i) {
        ASSERT_TRUE(every_way.agrees(payloads.next().u8(at, id)));
      }
    }
  }
}

TEST(Differential, EveryAction) {
  EveryWay every_way;
  RandomRecords payloads(16);
  for (unsigned component = 0; component < 9; ++component) {
    for (std::uint32_t action = 0; action < 300; ++action) {
      for (const std::uint32_t id : {action, 0 - action, action << 8, action | 0x10000}) {
        ASSERT_TRUE(every_way.agrees(payloads.next().u8(3, 7).u8(2, component).u8(0, 3).u32(16, id))) << id;
      }
    }
  }
}

TEST(Differential, EveryZorbContextVersion) {
  EveryWay every_way;
  RandomRecords payloads(3);
  for (unsigned version = 0; version < 65536; version += sanitized && version > 600 ? 251 : 1) {
    ASSERT_TRUE(every_way.agrees(payloads.next().u8(3, 7).u8(0, 10).u16(16, version)));
  }
}

TEST(Differential, EverySliceLength) {
  EveryWay every_way;
  RandomRecords payloads(4);
  for (unsigned length = 0; length < 65536; length += sanitized && length > 600 ? 251 : 1) {
    ASSERT_TRUE(every_way.agrees(payloads.next().u8(3, length % 12).u8(0, 1).u16(20, length)));
  }
}

struct TextField {
  unsigned type;
  unsigned offset;
  unsigned size;
};

TEST(Differential, EveryTextLength) {
  EveryWay every_way;
  RandomRecords payloads(5);
  for (const TextField& field :
       {TextField{8, 35, 12}, TextField{9, 32, 16}, TextField{11, 24, 8}, TextField{12, 36, 12}}) {
    for (unsigned length = 0; length <= field.size; ++length) {
      for (unsigned fill = 1; fill < 256; ++fill) {
        Record record = payloads.next();
        record.u8(3, 2).u8(0, field.type);
        for (unsigned i = 0; i < field.size; ++i) {
          record.u8(field.offset + i, i == length ? 0 : fill);
        }
        ASSERT_TRUE(every_way.agrees(record)) << "type " << field.type << " length " << length << " fill " << fill;
      }
    }
  }
}

TEST(Differential, FixedPointAtEverySize) {
  EveryWay every_way;
  const auto agrees = [&](std::uint32_t word) {
    return every_way.agrees(Record(4, 0, 1, 3).u32(16, word).u32(20, 0 - word).u32(24, word * 3));
  };
  for (std::uint32_t word = 0; word < (sanitized ? 2000U : 100000U); ++word) {
    ASSERT_TRUE(agrees(word)) << word;
  }
  for (unsigned bit = 0; bit < 32; ++bit) {
    for (std::uint32_t around = 0; around < 300; ++around) {
      ASSERT_TRUE(agrees((1U << bit) + around - 150));
    }
  }
  // Around every power of ten and every carry into one, as far as 16 fraction bits reach.
  for (double power = 1e-5; power < 1e5; power *= 10) {
    const std::uint32_t word = static_cast<std::uint32_t>(power * 65536);
    for (std::uint32_t around = 0; around < 200; ++around) {
      ASSERT_TRUE(agrees(word + around - 100));
    }
  }
}

TEST(Differential, NumbersOfEveryLength) {
  EveryWay every_way;
  std::uint64_t power = 1;
  for (unsigned digits = 0; digits < 20; ++digits, power *= 10) {
    for (const std::uint64_t value : {power - 1, power, power + 1, power * 3, 0 - power}) {
      const std::uint32_t word = static_cast<std::uint32_t>(value);
      for (const unsigned type : {1, 2, 3, 5, 10, 11, 12}) {
        Record record(7, 0, 2, type);
        record.timestamp(value).sequence(word).u64(16, value).u64(24, value).u64(32, value).u32(36, word).u32(27, word);
        if (type == 10) {
          record.u16(16, 3).u32(26, word).u32(22, word);
        }
        ASSERT_TRUE(every_way.agrees(record)) << value;
      }
    }
  }
}

TEST(Differential, AMillionRandomRecords) {
  EveryWay every_way;
  RandomRecords records(6);
  for (unsigned i = 0; i < (sanitized ? 50'000U : 1'000'000U); ++i) {
    ASSERT_TRUE(every_way.agrees(records.next())) << "record " << i;
  }
}

TEST(Differential, TimesEndTheTextEveryWay) {
  RandomRecords records(7);
  const TimeSync sync = {-5, 1'700'000'000'000'000'123};
  for (unsigned i = 0; i < 2000; ++i) {
    const Record record = records.next();
    const std::string wall = naive::wall_time(record.report().timestamp, sync.vel, sync.calendar);
    const std::uint64_t boot = i % 2 == 0 ? UINT64_MAX - i : i;
    const std::string expected = naive::to_string(record.bytes, {wall, boot});

    given_times = {wall, boot};
    EXPECT_EQ(text_of(record), expected);
    given_times = {};

    char block[frame_capacity];
    BulkRenderer renderer({sync, boot}, Framing::none);
    ASSERT_EQ(std::string_view(block, renderer.render(record.bytes, 1, block)), expected);
    const vel_profile_times times = {VEL_PROFILE_CALENDAR | VEL_PROFILE_BOOT, sync.vel, sync.calendar, boot};
    ASSERT_EQ(std::string_view(block, vel_profile_render(record.bytes, &times, block, sizeof block)), expected);
  }
}

class Grouping : public std::numpunct<char> {
  char do_decimal_point() const override { return ','; }
  char do_thousands_sep() const override { return '.'; }
  std::string do_grouping() const override { return "\3"; }
};

TEST(Differential, GlobalLocale_ChangesNothing) {
  RandomRecords records(8);
  std::vector<Record> sample;
  std::vector<std::string> expected;
  for (unsigned i = 0; i < 2000; ++i) {
    sample.push_back(i % 2 == 0 ? records.next() : records.next().u8(3, 4).u8(2, 0).u8(1, 1).u8(0, 3));
    expected.push_back(naive::to_string(sample.back().bytes));
  }
  const std::locale before = std::locale::global(std::locale(std::locale::classic(), new Grouping));
  std::stringstream probe;
  probe << 1234.5;
  std::vector<std::string> single, bulk;
  BulkRenderer renderer({}, Framing::none);
  for (const Record& record : sample) {
    char block[frame_capacity];
    single.push_back(text_of(record));
    bulk.emplace_back(block, renderer.render(record.bytes, 1, block));
  }
  std::locale::global(before);
  EXPECT_EQ(probe.str(), "1.234,5") << "the locale was in force";
  EXPECT_EQ(single, expected);
  EXPECT_EQ(bulk, expected);
}

} // namespace
