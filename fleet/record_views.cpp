// Turns layout rows, layout rules and name tables into SQL.
#include "fleet/record_views.h"

#include <fleet/error.h>
#include <fleet/schema.h>
#include <fleet/sql_text.h>
#include <profile/category.h>
#include <profile/layout.h>
#include <profile/names.h>
#include <profile/record_view.h>
#include <query/database.h>
#include <query/record_columns.h>

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <utility>

namespace vel::fleet {

namespace {

using profile::Category;
using profile::Condition;
using profile::FieldKind;
using profile::Layout;
using profile::LayoutRule;
using profile::NameTable;
using profile::Row;

constexpr std::size_t header = offsetof(_VelProfileReport, payload);

// Numbers that are stored in several columns, put together.
constexpr const char* sequence = "toUInt32(sequence_0 + 256 * sequence_1 + 65536 * sequence_2)";
constexpr const char* position =
    "(toUInt64(position_0) + 256 * position_1 + 65536 * position_2 + 4294967296 * toUInt64(position_4))";

// The 48 bytes of the record. reinterpretAsString drops trailing zero bytes, so each part is padded.
std::string wholeRecord() {
  return fmt::format("toFixedString(concat(toFixedString(reinterpretAsString(toUInt32(type_id + 256 * event_id + "
                     "65536 * component_id + 16777216 * category_id)), 4), toFixedString(reinterpretAsString({}), 4), "
                     "toFixedString(reinterpretAsString(timestamp), 8), payload), {})",
                     sequence, profile::record_size);
}

std::string bytesAt(std::size_t offset, const std::string& size) {
  return offset >= header ? fmt::format("substring(payload, {}, {})", offset - header + 1, size)
                          : fmt::format("substring({}, {}, {})", wholeRecord(), offset + 1, size);
}

std::string numberAt(std::size_t offset, std::size_t size, bool isSigned = false) {
  const std::size_t bits = size <= 1 ? 8 : size <= 2 ? 16 : size <= 4 ? 32 : 64; // missing bytes read as zero
  return fmt::format("reinterpretAs{}Int{}({})", isSigned ? "" : "U", bits, bytesAt(offset, std::to_string(size)));
}

template <class Items, class Text>
std::string list(const Items& items, Text text) {
  std::string all;
  for (const auto& item : items) {
    all += (all.empty() ? "" : ",") + text(item);
  }
  return "[" + all + "]";
}

struct Pair {
  std::uint64_t key;
  std::string value; // as SQL
};

// Without pairs the arrays would be empty, and so have no type.
std::string transform(const std::string& key, const std::vector<Pair>& pairs, const std::string& otherwise) {
  if (pairs.empty()) {
    return otherwise;
  }
  return fmt::format("transform({}, {}, {}, {})", key,
                     list(pairs, [](const Pair& pair) { return std::to_string(pair.key); }),
                     list(pairs, [](const Pair& pair) { return pair.value; }), otherwise);
}

// A table may have an id twice; the first row wins.
std::vector<Pair> namePairs(NameTable table, std::uint64_t keyBase = 0) {
  std::vector<Pair> pairs;
  for (const profile::NameRow& row : table) {
    const std::uint64_t key = keyBase + row.id;
    if (std::none_of(pairs.begin(), pairs.end(), [&](const Pair& pair) { return pair.key == key; })) {
      pairs.push_back({key, textLiteral(row.name)});
    }
  }
  return pairs;
}

// The name tables that categories and components refer to, numbered from 1.
using Lookup = NameTable (*)(unsigned category, unsigned component);

class NameLists {
public:
  explicit NameLists(Lookup lookup) {
    for (unsigned category = 0; category < profile::categories().size(); ++category) {
      add(lookup, category);
    }
  }

  // SQL for the name of an id in a record's category and component; `id` is the SQL for the id.
  std::string nameOf(const std::string& id) const {
    std::vector<Pair> names;
    for (std::size_t i = 0; i < tables_.size(); ++i) {
      std::vector<Pair> more = namePairs(tables_[i], static_cast<std::uint64_t>(i + 1) << 32);
      std::move(more.begin(), more.end(), std::back_inserter(names));
    }
    const std::string byCategory = transform("category_id", usual_, "0");
    const std::string table = transform("toUInt16(category_id * 256 + component_id)", exceptions_, byCategory);
    return transform(fmt::format("toUInt64({}) * 4294967296 + {}", table, id), names, fmt::format("toString({})", id));
  }

private:
  static constexpr unsigned components = 256;

  void add(Lookup lookup, unsigned category) {
    std::map<std::size_t, unsigned> uses;
    std::vector<std::size_t> numbers(components);
    for (unsigned component = 0; component < components; ++component) {
      numbers[component] = numberOf(lookup(category, component));
      ++uses[numbers[component]];
    }
    const std::size_t usual =
        std::max_element(uses.begin(), uses.end(), [](auto& a, auto& b) { return a.second < b.second; })->first;
    if (usual != 0) {
      usual_.push_back({category, std::to_string(usual)});
    }
    for (unsigned component = 0; component < components; ++component) {
      if (numbers[component] != usual) {
        exceptions_.push_back({category * components + component, std::to_string(numbers[component])});
      }
    }
  }

  std::size_t numberOf(NameTable table) {
    if (table.empty()) {
      return 0;
    }
    const auto same =
        std::find_if(tables_.begin(), tables_.end(), [&](NameTable each) { return each.data() == table.data(); });
    if (same != tables_.end()) {
      return static_cast<std::size_t>(same - tables_.begin()) + 1;
    }
    tables_.push_back(table);
    return tables_.size();
  }

  std::vector<NameTable> tables_;
  std::vector<Pair> usual_;      // category → table
  std::vector<Pair> exceptions_; // category and component → table
};

std::string componentName() {
  std::vector<Pair> names;
  for (const Category& category : profile::categories()) {
    std::vector<Pair> more = namePairs(profile::component_names(category.id), std::uint64_t{category.id} * 256);
    std::move(more.begin(), more.end(), std::back_inserter(names));
  }
  return transform("toUInt16(category_id * 256 + component_id)", names, "toString(component_id)");
}

constexpr const char* calendar = "toUInt64(timestamp + clock_offset)";

// "Nov 21 08:15:02.000417". UTC, as the devices of a fleet are in many zones.
std::string calendarTime() {
  constexpr std::array months = {"Jan", "Feb", "Mar", "Apr", "May", "Jun", "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
  std::vector<Pair> names;
  for (std::size_t i = 0; i < months.size(); ++i) {
    names.push_back({i + 1, textLiteral(months[i])});
  }
  const std::string seconds = fmt::format("toDateTime(toUInt32(intDiv(assumeNotNull({}), 1000000)), 'UTC')", calendar);
  return fmt::format("if(isNull(clock_offset), NULL, concat({}, ' ', substring(toString({}), 9), '.', "
                     "substring(toString(1000000 + assumeNotNull({}) % 1000000), 2)))",
                     transform(fmt::format("toMonth({})", seconds), names, "''"), seconds, calendar);
}

// The columns of velstat query that all tables of records have, each with its expression.
const std::map<std::string, std::string, std::less<>>& commonColumns() {
  static const std::map<std::string, std::string, std::less<>> columns = {
      {"category", transform("category_id", namePairs(profile::category_names()), "toString(category_id)")},
      {"component", componentName()},
      {"event", NameLists(profile::event_names).nameOf("event_id")},
      {"type", transform("type_id", namePairs(profile::datatype_names()), "toString(type_id)")},
      {"timestamp", "timestamp"},
      {"sequence_num", sequence},
      {"type_id", "type_id"},
      {"category_id", "category_id"},
      {"component_id", "component_id"},
      {"event_id", "event_id"},
      {"calendar_time", calendarTime()},
      {"calendar", calendar},
      {"run", "run"},
      {"missing", "missing"},
      {"source", "capture"},
      {"report", "nullIf(report_number, 4294967295)"},
      {"position", position},
      {"record", wholeRecord()},
  };
  return columns;
}

// Bytes as UTF-8: each byte becomes the code point of the same number.
std::string asText(const std::string& bytes) {
  const std::string byte = fmt::format("substring({}, i + 1, 1)", bytes);
  const std::string number = fmt::format("reinterpretAsUInt8({})", byte);
  return fmt::format("arrayStringConcat(arrayMap(i -> if({0} < 128, {1}, reinterpretAsString(toUInt16("
                     "192 + intDiv({0}, 64) + 256 * (128 + {0} % 64)))), range(toUInt64(length({2})))))",
                     number, byte, bytes);
}

std::string upToNul(const Row& row) {
  const std::string bytes = bytesAt(row.offset, std::to_string(row.size));
  return fmt::format("substring({0}, 1, toUInt8(position(concat({0}, '\\0'), '\\0') - 1))", bytes);
}

std::string fieldExpression(const Row& row) {
  switch (row.kind) {
  case FieldKind::number:
  case FieldKind::quoted_number:
  case FieldKind::character:
    return numberAt(row.offset, row.size);
  case FieldKind::constant:
    return fmt::format("toUInt8({})", row.parameter);
  case FieldKind::text:
    return asText(upToNul(row));
  case FieldKind::subtype_name:
    return NameLists(profile::subtype_names).nameOf(numberAt(row.offset, row.size));
  case FieldKind::bytes:
    return fmt::format("toFixedString({}, {})", bytesAt(row.offset, std::to_string(row.size)), row.size);
  case FieldKind::sliced_bytes:
    return bytesAt(row.offset, fmt::format("least({}, {})", row.size, numberAt(row.parameter, 2)));
  case FieldKind::fixed_point:
    return fmt::format("{} / 65536", numberAt(row.offset, row.size, true));
  }
  return {};
}

// The expression for one of the layout's own columns; empty if it is not one of them.
std::string ownColumn(const Layout& layout, std::string_view name) {
  for (const Row& row : layout.rows) {
    if (query::sqlName(row.key) == name) {
      return fieldExpression(row);
    }
    if (row.kind == FieldKind::subtype_name && query::sqlName(row.key) + "_id" == name) {
      return numberAt(row.offset, row.size);
    }
  }
  return {};
}

std::string conditionText(const Condition& condition) {
  // The columns of a record's first bytes, in their order.
  constexpr std::array ids = {"type_id", "event_id", "component_id", "category_id"};
  if (condition.offset + condition.size > ids.size()) {
    return fmt::format("{} = {}", numberAt(condition.offset, condition.size), condition.value);
  }
  std::string text;
  for (std::size_t i = 0; i < condition.size; ++i) {
    text +=
        fmt::format("{}{} = {}", i == 0 ? "" : " AND ", ids[condition.offset + i], condition.value >> (8 * i) & 255);
  }
  return text;
}

std::string ruleText(const LayoutRule& rule) {
  std::string text;
  for (const Condition& condition : rule.when) {
    text += (text.empty() ? "" : " AND ") + conditionText(condition);
  }
  return text;
}

// Whether no record can meet both rules, because the same bytes would have to hold two values.
bool excludeEachOther(const LayoutRule& a, const LayoutRule& b) {
  return std::any_of(a.when.begin(), a.when.end(), [&](const Condition& one) {
    return std::any_of(b.when.begin(), b.when.end(), [&](const Condition& other) {
      return one.offset == other.offset && one.size == other.size && one.value != other.value;
    });
  });
}

bool shows(const profile::ShownLayouts& layouts, const Layout& layout) {
  return std::find(layouts.begin(), layouts.end(), &layout) != layouts.end();
}

void addAlternative(std::string& all, const std::string& one) {
  all += (all.empty() ? "(" : " OR (") + one + ")";
}

// A record shows the layouts of the first rule of its category that it meets, otherwise the layout of its datatype.
std::string conditionOf(const Layout& layout) {
  std::string shown;
  std::string byRules; // records that meet any rule
  for (const Category& category : profile::categories()) {
    for (auto rule = category.layouts.begin(); rule != category.layouts.end(); ++rule) {
      std::string text = fmt::format("category_id = {} AND {}", category.id, ruleText(*rule));
      addAlternative(byRules, text);
      for (auto before = category.layouts.begin(); before != rule; ++before) {
        if (!excludeEachOther(*before, *rule)) {
          text += fmt::format(" AND NOT ({})", ruleText(*before));
        }
      }
      if (shows(rule->layouts, layout)) {
        addAlternative(shown, text);
      }
    }
  }
  for (const profile::Datatype& datatype : profile::datatypes()) {
    if (datatype.layout == &layout) {
      addAlternative(shown, fmt::format("type_id = {} AND NOT ({})", datatype.id, byRules));
    }
  }
  return shown;
}

RecordView viewOf(const query::TableInfo& table, const Layout* layout) {
  RecordView view{table.name, {}, layout == nullptr ? std::string() : conditionOf(*layout)};
  for (const query::ColumnInfo& column : table.columns) {
    if (column.hidden) { // the exact line, which only the decoder writes
      continue;
    }
    std::string expression = layout == nullptr ? std::string() : ownColumn(*layout, column.name);
    if (expression.empty()) {
      const auto found = commonColumns().find(column.name);
      if (found == commonColumns().end()) {
        throw Error(fmt::format("the column {}.{} has no expression", table.name, column.name));
      }
      expression = found->second;
    }
    view.columns.push_back({column.name, expression});
  }
  for (const StoredColumn& column : captureColumns()) {
    view.columns.push_back({column.name, column.name});
  }
  return view;
}

} // namespace

std::vector<RecordView> recordViews() {
  std::vector<RecordView> views;
  for (const query::TableInfo& table : query::schema()) {
    if (table.name == "records") {
      views.push_back(viewOf(table, nullptr));
    }
    for (const Layout& layout : profile::all_layouts()) {
      if (table.name == query::sqlName(layout.name)) {
        views.push_back(viewOf(table, &layout));
      }
    }
  }
  return views;
}

std::vector<NameView> nameViews() {
  NameView categories{"category_names", {"id", "name"}, {}};
  NameView types{"type_names", {"id", "name"}, {}};
  NameView components{"component_names", {"category_id", "id", "name"}, {}};
  NameView events{"event_names", {"category_id", "component_id", "id", "name"}, {}};
  NameView actions{"action_names", {"category_id", "component_id", "id", "name"}, {}};
  const auto add = [](NameView& view, const std::string& before, NameTable table) {
    for (const Pair& pair : namePairs(table)) {
      view.rows.push_back(fmt::format("({}{},{})", before, pair.key, pair.value));
    }
  };
  add(categories, "", profile::category_names());
  add(types, "", profile::datatype_names());
  for (const Category& category : profile::categories()) {
    add(components, fmt::format("{},", category.id), profile::component_names(category.id));
    for (const profile::NameRow& component : profile::component_names(category.id)) {
      const std::string before = fmt::format("{},{},", category.id, component.id);
      add(events, before, profile::event_names(category.id, component.id));
      add(actions, before, profile::subtype_names(category.id, component.id));
    }
  }
  return {categories, components, events, types, actions};
}

} // namespace vel::fleet
