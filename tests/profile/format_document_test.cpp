// docs/record-format.md shows the tables that the decoder is made from.
#include "profile/category.h"

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>
#include <string>

namespace {

using namespace vel::profile;

std::string document() {
  std::ifstream file(RECORD_FORMAT_DOCUMENT);
  std::stringstream text;
  text << file.rdbuf();
  return text.str();
}

// The rows of a section's table, without its head.
std::string table_in_section(const std::string& text, const std::string& heading) {
  const std::size_t section = text.find("\n" + heading + "\n");
  if (section == std::string::npos) {
    return "no such section";
  }
  const std::size_t end = text.find("\n#", section + 1);
  constexpr std::string_view separator = "|---|---|---|---|---|\n";
  const std::size_t rows = text.find(separator, section);
  return rows < end ? text.substr(rows + separator.size(), text.find("\n\n", rows) + 1 - rows - separator.size())
                    : "no table";
}

std::string read_as(const Row& row) {
  switch (row.kind) {
  case FieldKind::constant:
    return "-";
  case FieldKind::text:
  case FieldKind::bytes:
    return std::to_string(row.size) + " bytes";
  case FieldKind::sliced_bytes:
    return "up to " + std::to_string(row.size) + " bytes";
  case FieldKind::fixed_point:
    return "i32";
  default:
    return "u" + std::to_string(row.size * 8);
  }
}

std::string shown_as(const Row& row) {
  switch (row.kind) {
  case FieldKind::number:
    return "decimal";
  case FieldKind::constant:
    return "always " + std::to_string(row.parameter);
  case FieldKind::quoted_number:
    return "`'`, decimal, `'`; the width pads only the first apostrophe";
  case FieldKind::text:
    return "text up to the first NUL, quoted";
  case FieldKind::subtype_name:
    return "name of the action, quoted";
  case FieldKind::bytes:
    return "byte dump";
  case FieldKind::sliced_bytes:
    return "byte dump of as many bytes as the u16 at " + std::to_string(row.parameter) + " says";
  case FieldKind::character:
    return "the byte itself";
  case FieldKind::fixed_point:
    return "times 2^-16, six significant digits";
  }
  return "";
}

std::string line_of(const Row& row) {
  std::ostringstream line;
  line << "| \"" << row.key << "\" | ";
  line << (row.size == 0 ? "-" : std::to_string(row.offset)) << " | " << read_as(row) << " | ";
  line << (row.width == 0 ? "none" : std::to_string(row.width)) << " | " << shown_as(row) << " |\n";
  return line.str();
}

template <class Names>
std::string list_of(const Names& names) {
  std::string list;
  for (const auto& row : names) {
    list += (list.empty() ? "" : ", ") + std::to_string(row.id) + " " + row.name;
  }
  return list.empty() ? "-" : list;
}

TEST(RecordFormatDocument, ShowsEveryLayout) {
  const std::string text = document();
  for (const Layout& layout : all_layouts()) {
    std::string rows;
    for (const Row& row : layout.rows) {
      rows += line_of(row);
    }
    EXPECT_EQ(table_in_section(text, "### " + std::string(layout.name)), rows) << layout.name;
  }
}

TEST(RecordFormatDocument, ShowsEveryName) {
  const std::string text = document();
  EXPECT_NE(text.find("\n| category | " + list_of(categories()) + " |\n"), std::string::npos) << list_of(categories());
  EXPECT_NE(text.find("\n| datatype | " + list_of(datatypes()) + " |\n"), std::string::npos) << list_of(datatypes());
  for (const Category& category : categories()) {
    const std::string row =
        "\n| " + std::to_string(category.id) + " " + category.name + " | " + list_of(category.components) + " | ";
    EXPECT_NE(text.find(row), std::string::npos) << row;
    const std::string line =
        text.substr(text.find(row) + row.size(), text.find('\n', text.find(row) + 1) - text.find(row) - row.size());
    for (const ComponentNames& events : category.events) {
      EXPECT_NE(line.find(list_of(events.names)), std::string::npos) << category.name << ": " << list_of(events.names);
    }
    EXPECT_EQ(line == "- |", category.events.size() == 0) << line;
    for (const ComponentNames& subtypes : category.subtypes) {
      EXPECT_NE(text.find(list_of(subtypes.names)), std::string::npos) << list_of(subtypes.names);
    }
  }
}

} // namespace
