// Typed layouts: where each key's bytes go.
#include <host/model/reply_layouts.h>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace {

using namespace vel::formats;
using namespace vel::host;

template <class Shape>
Bytes encode(const Shape& shape, const char* json) {
  const std::string origin = "test";
  const Json document = parseJson(json, origin);
  return encode(shape, JsonNode(document, origin));
}

std::uint64_t wordAt(const Bytes& bytes, std::size_t offset, std::size_t width) {
  std::uint64_t word = 0;
  for (std::size_t i = width; i-- > 0;) {
    word = word << 8 | std::to_integer<std::uint64_t>(bytes.at(offset + i));
  }
  return word;
}

TEST(Layouts, ZORBStatistics_AreZeroUnlessGiven) {
  EXPECT_EQ(encode(replyLayout("zorb-statistics"), "{}"), Bytes(330));
}

TEST(Layouts, ClickCount_LeavesBit0OfItsWord) {
  const Bytes record = encode(replyLayout("zorb-statistics"), R"({"click count": 3})");
  EXPECT_EQ(wordAt(record, 233, 4), 6U);
}

TEST(Layouts, ClickCount_FillsItsWordToTheTop) {
  const Bytes record = encode(replyLayout("zorb-statistics"), R"({"click count": 2147483647})");
  EXPECT_EQ(wordAt(record, 233, 4), 0xFFFFFFFEU);
}

struct Place {
  const char* json;
  std::size_t offset;
  std::size_t width;
  std::uint64_t word;
};

class ZORBStatisticsPlaces : public testing::TestWithParam<Place> {};

TEST_P(ZORBStatisticsPlaces, HoldTheValueAndNothingElseDoes) {
  const auto& [json, offset, width, word] = GetParam();
  Bytes record = encode(replyLayout("zorb-statistics"), json);
  EXPECT_EQ(wordAt(record, offset, width), word);
  std::fill_n(record.begin() + static_cast<std::ptrdiff_t>(offset), width, std::byte{0});
  EXPECT_EQ(record, Bytes(330));
}

INSTANTIATE_TEST_SUITE_P(
    Layouts, ZORBStatisticsPlaces,
    testing::Values(
        Place{R"({"finger on ts": "0xFFFFFFFFFFFFFFFF"})", 0, 8, UINT64_MAX}, Place{R"({"finger off ts": 1})", 8, 8, 1},
        Place{R"({"start haptic ts": 258})", 16, 8, 258}, Place{R"({"finger detect to button down": 7})", 24, 8, 7},
        Place{R"({"click 1 button down ts": 1})", 88, 8, 1}, Place{R"({"click 3 button up ts": 9})", 128, 8, 9},
        Place{R"({"click 2 down play asset ts": 2})", 152, 8, 2},
        Place{R"({"click 2 up play asset ts": 2})", 160, 8, 2},
        Place{R"({"click 1 button down to play asset": 4})", 184, 8, 4},
        Place{R"({"click 3 button up to play asset": 5})", 224, 8, 5}, Place{R"({"second scan ts": 6})", 266, 8, 6},
        Place{R"({"turtle scans": 4294967295})", 274, 4, UINT32_MAX},
        Place{R"({"min_nz_latency_FD_to_BD": 1})", 282, 8, 1}, Place{R"({"max_latency_FD_to_BD": 1})", 290, 8, 1},
        Place{R"({"min_nz_latency_BC_to_PlayAsset": 1})", 298, 8, 1},
        Place{R"({"max_latency_BC_to_PlayAsset": 1})", 306, 8, 1}, Place{R"({"min_latency_Total": 1})", 314, 8, 1},
        Place{R"({"max_latency_Total": 1})", 322, 8, 1}));

TEST(Layouts, AnalyticsEntry_HasTheTableVersionUnlessGiven) {
  const Bytes entry = encode(analyticsEntry(), R"({"op": 2, "key": 47, "value": -2})");
  EXPECT_EQ(wordAt(entry, 0, 1), 0x30U);
  EXPECT_EQ(wordAt(entry, 1, 1), 2U);
  EXPECT_EQ(wordAt(entry, 2, 1), 47U);
  EXPECT_EQ(wordAt(entry, 3, 4), 0xFFFFFFFEU);
}

} // namespace
