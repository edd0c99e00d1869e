// The rows that tools read: categories, datatypes and layouts agree with what records show.
#include "profile/category.h"
#include "profile/fields.h"
#include "record.h"

#include <gmock/gmock.h>

namespace {

using namespace vel::profile;
using testing::ElementsAreArray;

std::vector<const Layout*> shown_by(const Record& record) {
  const ShownLayouts shown = shown_layouts(record.bytes);
  return {shown.begin(), shown.end()};
}

TEST(Categories, EveryRule_IsMetByARecordOfItsConditions) {
  unsigned rules = 0;
  for (const Category& category : categories()) {
    for (const LayoutRule& rule : category.layouts) {
      Record record(category.id, 0, 0, 0);
      for (const Condition& condition : rule.when) {
        record.put(condition.offset, condition.value, condition.size);
      }
      EXPECT_THAT(shown_by(record), ElementsAreArray(rule.layouts.begin(), rule.layouts.end()))
          << category.name << ", rule " << rules;
      ++rules;
    }
  }
  EXPECT_EQ(rules, 10U);
}

TEST(Categories, ARecordThatMeetsNoRule_ShowsTheLayoutOfItsDatatype) {
  for (const unsigned category : {0, 8, 10, 255}) {
    for (const Datatype& datatype : datatypes()) {
      const std::vector<const Layout*> shown = shown_by({category, 0, 0, datatype.id});
      if (datatype.layout == nullptr) {
        EXPECT_TRUE(shown.empty()) << datatype.name;
      } else {
        EXPECT_THAT(shown, testing::ElementsAre(datatype.layout)) << datatype.name;
      }
    }
    EXPECT_TRUE(shown_by({category, 0, 0, 13}).empty());
    EXPECT_TRUE(shown_by({category, 0, 0, 255}).empty());
  }
}

TEST(Categories, OnlyTheWholeFirstWordMakesACorvaneRecord) {
  EXPECT_EQ(shown_by({4, 0, 0, 3}).size(), 2U);
  EXPECT_EQ(shown_by({4, 0, 1, 3}).size(), 1U);
  EXPECT_EQ(shown_by({4, 1, 0, 3}), shown_by({0, 0, 0, 3}));
  EXPECT_EQ(shown_by({4, 0, 2, 3}), shown_by({0, 0, 0, 3}));
}

TEST(Categories, HaveTheNamesThatNamesHas) {
  ASSERT_EQ(categories().size(), 10U);
  for (const Category& category : categories()) {
    EXPECT_EQ(id_of(category_names(), category.name), category.id);
    EXPECT_EQ(component_names(category.id).data(), category.components.begin());
    EXPECT_EQ(component_names(category.id).size(), category.components.size());
    for (const ComponentNames& events : category.events) {
      const unsigned component = events.components.size() == 0 ? 255U : *events.components.begin();
      EXPECT_EQ(event_names(category.id, component).data(), events.names.begin());
      EXPECT_EQ(event_names(category.id, component).size(), events.names.size());
    }
  }
  ASSERT_EQ(datatypes().size(), 13U);
  for (const Datatype& datatype : datatypes()) {
    EXPECT_EQ(id_of(datatype_names(), datatype.name), datatype.id);
  }
}

TEST(Subtypes, BelongToTheirCategory) {
  EXPECT_EQ(subtype_names(category_id::zorb, 0).size(), 90U);
  EXPECT_EQ(subtype_names(category_id::zorb, 3).data(), event_names(category_id::zorb, 3).data());
  EXPECT_TRUE(subtype_names(category_id::zorb, 5).empty());
  EXPECT_TRUE(subtype_names(category_id::uart, 0).empty());
  EXPECT_TRUE(subtype_names(category_id::count, 0).empty());
}

} // namespace
