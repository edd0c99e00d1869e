// Fields as typed values: the same content as the text, in the same order.
#include "profile/fields.h"
#include "sample_records.h"

#include <gtest/gtest.h>

#include <iomanip>

namespace {

using namespace vel::profile;

std::vector<Field> fields_of(const Record& record) {
  std::vector<Field> fields;
  FieldCursor cursor(record.bytes);
  for (Field field; cursor.next(field);) {
    fields.push_back(field);
  }
  return fields;
}

// A payload's text, made from nothing but its fields.
std::string text_of_fields(const Record& record) {
  std::stringstream out;
  profile_decoder decoder;
  FieldCursor cursor(record.bytes);
  for (Field field; cursor.next(field);) {
    out << decoder.key(std::string(field.row->key)) << std::setw(field.row->width);
    switch (field.row->kind) {
    case FieldKind::number:
    case FieldKind::constant:
      out << field.number;
      break;
    case FieldKind::quoted_number:
      out << "'" << field.number << "'";
      break;
    case FieldKind::text:
    case FieldKind::subtype_name:
      out << decoder.str(std::string(field.bytes));
      break;
    case FieldKind::bytes:
    case FieldKind::sliced_bytes:
      out << decoder.dump(field.bytes.data(), static_cast<unsigned>(field.bytes.size()));
      break;
    case FieldKind::character:
      out << field.bytes.front();
      break;
    case FieldKind::fixed_point:
      out << field.real;
      break;
    }
    out << ",";
  }
  return out.str();
}

TEST(Fields, SayAllThatTheTextSays) {
  RandomRecords records(13);
  for (unsigned i = 0; i < 50'000; ++i) {
    const Record record = records.next();
    ASSERT_EQ(text_of_fields(record), payload_of(record));
  }
}

TEST(Fields, OfALayoutShownTwice_AreToldApartByTheirGroup) {
  const std::vector<Field> fields = fields_of(Record(7, 0, 1, 2));
  ASSERT_EQ(fields.size(), 10U);
  EXPECT_EQ(fields[0].layout->name, "short-data");
  EXPECT_EQ(fields[0].group, 0U);
  EXPECT_EQ(fields[5].layout->name, "short-data");
  EXPECT_EQ(fields[5].group, 1U);
}

TEST(Fields, OfAnAction) {
  const Record record = Record(7, 5, 0, 3).u32(16, 3000000000).u32(20, 6);
  FieldCursor cursor(record.bytes);
  Field field;
  ASSERT_TRUE(cursor.next(field));
  EXPECT_EQ(field.layout->name, "zorb-event");
  EXPECT_EQ(field.row->key, "trace");
  EXPECT_EQ(field.number, 3000000000U);
  EXPECT_EQ(field.bytes, "3000000000");
  ASSERT_TRUE(cursor.next(field));
  EXPECT_EQ(field.row->key, "thread");
  EXPECT_EQ(field.number, 6U);
}

TEST(Fields, FixedPoint_HasItsWordAndItsValue) {
  const std::vector<Field> fields = fields_of(Record(4, 0, 1, 3).u32(16, 0xffff8000));
  ASSERT_EQ(fields.size(), 9U);
  EXPECT_EQ(fields[6].row->key, "x");
  EXPECT_EQ(fields[6].number, 0xffff8000U);
  EXPECT_EQ(fields[6].real, -0.5);
}

TEST(Fields, NoneWhereNothingIsShown) {
  EXPECT_TRUE(fields_of(Record(7, 0, 0, 10)).empty());
  EXPECT_TRUE(fields_of(Record(2, 0, 0, 0)).empty());
  EXPECT_TRUE(fields_of(Record(255, 255, 255, 255)).empty());
}

TEST(Layouts, AreAllThere) {
  std::vector<std::string> names;
  for (const Layout& layout : all_layouts()) {
    names.emplace_back(layout.name);
  }
  EXPECT_EQ(names, (std::vector<std::string>{"long-data", "short-data", "event", "trigger", "function", "sensorinfo",
                                             "extfunction", "annotation", "decimationinfo", "corvane", "zorb-event",
                                             "zorb-input-packet", "zorb-status-event", "zorb-context-3",
                                             "zorb-context-4", "zorb-context-5", "zorb-context-7"}));
}

} // namespace
