// Filters by name and id, ranges, skip and limit.
#include "support/record_files.h"
#include <sources/selection.h>

#include <gmock/gmock.h>

#include <stdexcept>

namespace vel::sources {

namespace {

struct FilterCase {
  const char* name;
  SelectionRequest request;
  bool passes;
};

class Filter : public testing::TestWithParam<FilterCase> {};

// category 7 "zorb", component 3 "latency", event 5 "ckp_HaldenStartHaptics", type 3 "event"
TEST_P(Filter, LetsARecordPassOrNot) {
  const Selection selection(GetParam().request);
  EXPECT_EQ(selection.passes(record(1000, {7, 3, 5, 3}, 50000).data()), GetParam().passes);
}

INSTANTIATE_TEST_SUITE_P(
    Filters, Filter,
    testing::Values(FilterCase{"Nothing", {}, true}, FilterCase{"CategoryName", {.categories = {"zorb"}}, true},
                    FilterCase{"CategoryId", {.categories = {"7"}}, true},
                    FilterCase{"OtherCategory", {.categories = {"uart"}}, false},
                    FilterCase{"OneOfTwoCategories", {.categories = {"uart", "zorb"}}, true},
                    FilterCase{"ComponentName", {.components = {"latency"}}, true},
                    FilterCase{"ComponentId", {.components = {"3"}}, true},
                    // Component 3 of other categories: names belong to a category.
                    FilterCase{"NameOfTheIdInAnotherCategory", {.components = {"pressure"}}, false},
                    FilterCase{"EventName", {.events = {"ckp_HaldenStartHaptics"}}, true},
                    FilterCase{"EventId", {.events = {"5"}}, true},
                    FilterCase{"NameOfTheEventInAnotherComponent", {.events = {"regwrite"}}, false},
                    FilterCase{"TypeName", {.types = {"event"}}, true}, FilterCase{"TypeId", {.types = {"3"}}, true},
                    FilterCase{"OtherType", {.types = {"trigger"}}, false},
                    FilterCase{"AllMustAgree", {.categories = {"zorb"}, .types = {"trigger"}}, false},
                    FilterCase{"SequenceInside", {.sequence = {1000, 1000}}, true},
                    FilterCase{"SequenceBelow", {.sequence = {1001, 2000}}, false},
                    FilterCase{"SequenceAbove", {.sequence = {0, 999}}, false},
                    FilterCase{"TimeInside", {.time = {50000, 50000}}, true},
                    FilterCase{"TimeOutside", {.time = {50001, 60000}}, false}),
    [](const auto& info) { return info.param.name; });

TEST(Names, NumbersNameIdsThatHaveNoName) {
  const Selection selection({.categories = {"200"}, .components = {"255"}, .events = {"9"}, .types = {"0"}});
  EXPECT_TRUE(selection.passes(record(1, {200, 255, 9, 0}).data()));
  EXPECT_FALSE(selection.passes(record(1, {200, 254, 9, 0}).data()));
}

std::string refusal(const SelectionRequest& request) {
  try {
    const Selection selection(request);
  } catch (const std::invalid_argument& error) {
    return error.what();
  }
  return "accepted";
}

TEST(Names, UnknownNames_AreRefused) {
  EXPECT_EQ(refusal({.categories = {"sensor"}}), "there is no category 'sensor'");
  EXPECT_EQ(refusal({.components = {"zorbb"}}), "there is no component 'zorbb'");
  EXPECT_EQ(refusal({.events = {"latency", "Latency"}}), "there is no event 'Latency'");
  EXPECT_EQ(refusal({.types = {""}}), "there is no type ''");
  EXPECT_EQ(refusal({.types = {"256"}}), "type 256 is out of range: ids go from 0 to 255");
  EXPECT_EQ(refusal({.types = {"18446744073709551617"}}),
            "'18446744073709551617' is not a number from 0 to 18446744073709551615");
}

TEST(Skip, SkipAndLimit_CountWhatPasses) {
  Selection selection({.skip = 2, .limit = 3});
  EXPECT_FALSE(selection.showsAll());
  std::string shown;
  for (int i = 0; i < 7; ++i) {
    shown += selection.showsNext() ? '1' : '0';
    shown += selection.isFull() ? "! " : " ";
  }
  EXPECT_EQ(shown, "0 0 1 1 1! 0! 0! ");
  EXPECT_TRUE(Selection({.limit = 0}).isFull());
  EXPECT_TRUE(Selection({}).showsAll());
}

TEST(Range, Forms) {
  EXPECT_EQ(parseRange("3..9"), (Range{3, 9}));
  EXPECT_EQ(parseRange("3.."), (Range{3, ~std::uint64_t{0}}));
  EXPECT_EQ(parseRange("..9"), (Range{0, 9}));
  EXPECT_EQ(parseRange("4"), (Range{4, 4}));
  EXPECT_EQ(parseRange("0..18446744073709551615"), Range{});
}

TEST(Range, Nonsense_IsRefused) {
  for (const char* text : {"", "..", "9..3", "a..b", "1...3", "-1..4", "1..18446744073709551616", " 1..2"}) {
    EXPECT_THROW(parseRange(text), std::invalid_argument) << text;
  }
}

} // namespace

} // namespace vel::sources
