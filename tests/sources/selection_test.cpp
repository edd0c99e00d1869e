// Filters by name and id, ranges, skip and limit.
#include "support/record_files.h"
#include <sources/selection.h>

#include <gmock/gmock.h>

#include <algorithm>
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
                    FilterCase{"NamesInAnyCase",
                               {.categories = {"ZORB"},
                                .components = {"Latency"},
                                .events = {"CKP_haldenstarthaptics"},
                                .types = {"Event"}},
                               true},
                    FilterCase{"LayoutName", {.layouts = {"zorb-event"}}, true},
                    FilterCase{"SecondLayout", {.layouts = {"Event"}}, true},
                    FilterCase{"OtherLayout", {.layouts = {"corvane"}}, false},
                    FilterCase{"OneOfTwoLayouts", {.layouts = {"corvane", "event"}}, true},
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
  EXPECT_EQ(refusal({.categories = {"sensor"}}), "there is no category 'sensor'; did you mean 'sensors'?");
  EXPECT_EQ(refusal({.components = {"zorbb"}}), "there is no component 'zorbb'; did you mean 'zorb'?");
  EXPECT_EQ(refusal({.events = {"latency", "Latenzy"}}), "there is no event 'Latenzy'; did you mean 'latency'?");
  EXPECT_EQ(refusal({.events = {"AmpTurnOnn"}}), "there is no event 'AmpTurnOnn'; did you mean 'AmpTurnOn'?");
  EXPECT_EQ(refusal({.types = {"evnet"}}), "there is no type 'evnet'; did you mean 'event'?");
  EXPECT_EQ(refusal({.layouts = {"corvan"}}), "there is no layout 'corvan'; did you mean 'corvane'?");
  EXPECT_EQ(refusal({.layouts = {"5"}}), "there is no layout '5'");
  EXPECT_EQ(refusal({.categories = {"somewhere"}}), "there is no category 'somewhere'");
  EXPECT_EQ(refusal({.types = {""}}), "there is no type ''");
  EXPECT_EQ(refusal({.types = {"256"}}), "type 256 is out of range: ids go from 0 to 255");
  EXPECT_EQ(refusal({.types = {"18446744073709551617"}}),
            "'18446744073709551617' is not a number from 0 to 18446744073709551615");
}

// A record of an action: its id is the first word of the payload.
Bytes action(std::uint8_t component, std::uint8_t type, std::uint8_t id) {
  Bytes bytes = record(1, {7, component, 0, type});
  std::fill(bytes.begin() + 16, bytes.begin() + 20, 0);
  bytes[16] = id;
  return bytes;
}

TEST(Actions, EventsAreSelectedByThem) {
  constexpr std::uint8_t event = 3;
  constexpr std::uint8_t shortData = 2;
  const struct {
    const char* what;
    std::vector<std::string> events;
    Bytes record;
    bool passes;
  } rows[] = {
      {"the action", {"AmpTurnOn"}, action(0, event, 10), true},
      {"in any case", {"ampturnon"}, action(0, event, 10), true},
      {"another action", {"AmpTurnOn"}, action(0, event, 12), false},
      {"the first id of a name", {"AmpPowerUpPhase1"}, action(2, event, 215), true},
      {"its other id", {"AmpPowerUpPhase1"}, action(2, event, 224), true},
      {"a component without actions", {"AmpTurnOn"}, action(5, event, 10), false},
      {"a record that shows no action", {"AmpTurnOn"}, action(0, shortData, 10), false},
      {"an action or an event", {"AmpTurnOn", "trace"}, action(0, event, 12), true},
      {"a checkpoint's id in another component", {"ckp_ARCTurnOn"}, action(0, event, 4), false},
      {"a number is an event's id", {"10"}, action(0, event, 10), false},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(Selection({.events = row.events}).passes(row.record.data()), row.passes) << row.what;
  }
}

TEST(Time, CanBeNarrowedLater) {
  Selection selection({.time = {100, 200}});
  selection.narrowTime({150, 300});
  EXPECT_FALSE(selection.passes(record(1, {}, 149).data()));
  EXPECT_TRUE(selection.passes(record(1, {}, 150).data()));
  EXPECT_TRUE(selection.passes(record(1, {}, 200).data()));
  EXPECT_FALSE(selection.passes(record(1, {}, 201).data()));
  Selection all({});
  all.narrowTime({});
  EXPECT_TRUE(all.showsAll());
  all.narrowTime({1, 0});
  EXPECT_FALSE(all.showsAll());
  EXPECT_FALSE(all.passes(record(1, {}, 0).data()));
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
