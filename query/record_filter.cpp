// Turns SQLite's constraints into a plan, and a plan with its values into a selection.
#include "query/record_filter.h"

#include <formats/nearest_name.h>
#include <profile/names.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <stdexcept>

namespace vel::query {

namespace {

using sources::Range;
using sources::Selection;
using sources::SelectionRequest;

constexpr std::string_view in = "=*";      // one of several values
constexpr std::string_view glob = "=glob"; // a pattern
constexpr double beyond = 9e18;            // larger numbers are left to SQLite

std::string_view operatorText(unsigned char op) {
  switch (op) {
  case SQLITE_INDEX_CONSTRAINT_EQ:
    return "=";
  case SQLITE_INDEX_CONSTRAINT_LT:
    return "<";
  case SQLITE_INDEX_CONSTRAINT_LE:
    return "<=";
  case SQLITE_INDEX_CONSTRAINT_GT:
    return ">";
  case SQLITE_INDEX_CONSTRAINT_GE:
    return ">=";
  case SQLITE_INDEX_CONSTRAINT_GLOB:
    return glob;
  default:
    return {};
  }
}

// The selection ignores the case of letters, so it passes all names that either of these collations finds equal.
bool comparesNames(sqlite3_index_info& index, int constraint) {
  const std::string_view collation = sqlite3_vtab_collation(&index, constraint);
  return collation == "BINARY" || collation == "NOCASE";
}

// The table of names if an id determines its name. The names of components and events depend on other ids too.
std::optional<profile::NameTable> namesOf(const FilteredBy& by) {
  if (by.names == &SelectionRequest::categories) {
    return profile::category_names();
  }
  if (by.names == &SelectionRequest::types) {
    return profile::datatype_names();
  }
  return std::nullopt;
}

bool canNarrow(sqlite3_index_info& index, int number, const FilteredBy& by) {
  const auto& constraint = index.aConstraint[number];
  if (constraint.usable == 0 || operatorText(constraint.op).empty()) {
    return false;
  }
  if (constraint.op == SQLITE_INDEX_CONSTRAINT_GLOB) {
    return namesOf(by).has_value();
  }
  if (by.range != nullptr) {
    return true;
  }
  return constraint.op == SQLITE_INDEX_CONSTRAINT_EQ &&
         (by.ids != nullptr || (by.names != nullptr && comparesNames(index, number)));
}

std::string textOf(sqlite3_value* value) {
  const auto* const text = reinterpret_cast<const char*>(sqlite3_value_text(value));
  return text == nullptr ? std::string() : std::string(text, static_cast<std::size_t>(sqlite3_value_bytes(value)));
}

// The number that a column of numbers is compared with: 7, 7.0 and '7' are the same. Nothing for other values.
std::optional<std::int64_t> wholeNumber(sqlite3_value* value) {
  const int type = sqlite3_value_numeric_type(value);
  if (type == SQLITE_INTEGER) {
    return sqlite3_value_int64(value);
  }
  const double number = type == SQLITE_FLOAT ? sqlite3_value_double(value) : beyond;
  return std::abs(number) < beyond && number == std::floor(number) ? std::optional(static_cast<std::int64_t>(number))
                                                                   : std::nullopt;
}

// Whether the selection passes exactly the records that show `text` in the column. It may pass more, because it also
// accepts other spellings, ids and, for events, actions.
bool selectsExactly(const FilteredBy& by, const std::string& text, bool ignoresCase) {
  if (!text.empty() && text.find_first_not_of("0123456789") == std::string::npos) {
    return false;
  }
  std::vector<profile::NameTable> tables;
  if (const auto names = namesOf(by)) {
    tables.push_back(*names);
  } else if (by.names == &SelectionRequest::components) {
    for (const profile::NameRow& category : profile::category_names()) {
      tables.push_back(profile::component_names(category.id));
    }
  } else {
    return false;
  }
  for (const profile::NameTable table : tables) {
    for (const profile::NameRow& row : table) {
      if (formats::equalIgnoringCase(row.name, text) && !ignoresCase && row.name != text) {
        return false;
      }
    }
  }
  return true;
}

// Whether the selection implements the constraint exactly, so that SQLite need not check each record again. Only
// constants are known while a statement is planned.
bool isExact(sqlite3_index_info& index, int number, const FilteredBy& by) {
  sqlite3_value* value = nullptr;
  if (sqlite3_vtab_rhs_value(&index, number, &value) != SQLITE_OK) {
    return false;
  }
  if (by.names == nullptr) {
    return wholeNumber(value).has_value();
  }
  return sqlite3_value_type(value) == SQLITE_TEXT &&
         selectsExactly(by, textOf(value), std::string_view(sqlite3_vtab_collation(&index, number)) == "NOCASE");
}

// Narrows by names or ids. Both go into the same list of the selection, so only the first constraint counts. False: no
// record can pass.
bool narrowList(SelectionRequest& request, const FilteredBy& by, std::span<sqlite3_value* const> values) {
  const auto list = by.names != nullptr ? by.names : by.ids;
  constexpr std::size_t mostValues = 64; // checking which of them are names takes time
  if (values.size() > mostValues || !(request.*list).empty()) {
    return true;
  }
  std::vector<std::string> wanted;
  for (sqlite3_value* const value : values) {
    const int type = sqlite3_value_type(value);
    if (type == SQLITE_NULL) {
      continue; // NULL equals nothing
    }
    if (by.names != nullptr && (type == SQLITE_TEXT || type == SQLITE_INTEGER)) {
      wanted.push_back(textOf(value));
    } else if (const auto id = wholeNumber(value); by.ids != nullptr && id) {
      wanted.push_back(std::to_string(*id));
    } else {
      return true; // SQLite may convert it
    }
  }
  request.*list = std::move(wanted);
  return !(request.*list).empty();
}

// Narrows to the ids whose names match a pattern. False: no record can pass.
bool narrowByPattern(SelectionRequest& request, const FilteredBy& by, sqlite3_value* value) {
  const auto names = namesOf(by);
  if (!names || sqlite3_value_type(value) != SQLITE_TEXT || !(request.*by.names).empty()) {
    return true;
  }
  const std::string pattern = textOf(value);
  for (unsigned id = 0; id < 256; ++id) {
    profile::DecimalText digits;
    if (sqlite3_strglob(pattern.c_str(), std::string(profile::name_of(*names, id, digits)).c_str()) == 0) {
      (request.*by.names).push_back(std::to_string(id));
    }
  }
  return !(request.*by.names).empty();
}

// Removes names and ids that the selection does not know, since no record has them. False: no record can pass.
bool leaveOutUnknown(SelectionRequest& request) {
  for (const auto list : {&SelectionRequest::categories, &SelectionRequest::components, &SelectionRequest::events,
                          &SelectionRequest::types}) {
    const bool isWanted = !(request.*list).empty();
    std::erase_if(request.*list, [&](const std::string& text) {
      SelectionRequest alone;
      alone.*list = {text};
      try {
        const Selection selection(alone);
      } catch (const std::invalid_argument&) {
        return true;
      }
      return false;
    });
    if (isWanted && (request.*list).empty()) {
      return false;
    }
  }
  return true;
}

// A range with all whole numbers that may satisfy the comparison with the value; nothing if there are none.
std::optional<Range> rangeOf(std::string_view op, sqlite3_value* value) {
  if (sqlite3_value_type(value) == SQLITE_NULL) {
    return std::nullopt;
  }
  Range range;
  if (const auto number = wholeNumber(value)) {
    const bool isBelow = *number < 0;
    const auto bound = static_cast<std::uint64_t>(isBelow ? 0 : *number);
    if (op.front() != '>') { // =, <, <=
      if (isBelow || (op == "<" && bound == 0)) {
        return std::nullopt;
      }
      range.last = op == "<" ? bound - 1 : bound;
    }
    if (op.front() != '<' && !isBelow) { // =, >, >=
      range.first = op == ">" ? bound + 1 : bound;
    }
  } else if (sqlite3_value_numeric_type(value) == SQLITE_FLOAT) {
    const double fraction = sqlite3_value_double(value);
    if (fraction >= 0 && fraction < beyond) {
      range.first = op.front() == '<' ? 0 : static_cast<std::uint64_t>(std::floor(fraction));
      range.last = op.front() == '>' ? range.last : static_cast<std::uint64_t>(std::ceil(fraction));
    }
  }
  return range;
}

std::optional<Range> common(const Range& a, const Range& b) {
  const Range both{std::max(a.first, b.first), std::min(a.last, b.last)};
  return both.first <= both.last ? std::optional(both) : std::nullopt;
}

// One "category=" of a plan.
struct Term {
  FilteredBy by;
  std::string_view op;
};

Term parseTerm(std::string_view text, std::span<const FilterColumn> columns) {
  const std::size_t end = text.find_first_of("=<>");
  const auto column = std::find_if(columns.begin(), columns.end(),
                                   [&](const FilterColumn& c) { return c.name == text.substr(0, end); });
  if (end == std::string_view::npos || column == columns.end()) {
    throw std::logic_error("a plan that no table has made");
  }
  return {column->by, text.substr(end)};
}

// The values of one term.
std::vector<sqlite3_value*> valuesOf(const Term& term, sqlite3_value* value) {
  if (term.op != in) {
    return {value};
  }
  std::vector<sqlite3_value*> values;
  sqlite3_value* item = nullptr;
  for (int result = sqlite3_vtab_in_first(value, &item); result == SQLITE_OK && item != nullptr;
       result = sqlite3_vtab_in_next(value, &item)) {
    // SQLite keeps an item only until the next call.
    values.push_back(sqlite3_value_dup(item));
  }
  return values;
}

class OwnedValues {
public:
  OwnedValues(const Term& term, sqlite3_value* value) : owned_(term.op == in), values_(valuesOf(term, value)) {}
  ~OwnedValues() {
    for (sqlite3_value* const value : values_) {
      if (owned_) {
        sqlite3_value_free(value);
      }
    }
  }
  OwnedValues(const OwnedValues&) = delete;
  OwnedValues& operator=(const OwnedValues&) = delete;

  std::span<sqlite3_value* const> all() const { return values_; }

private:
  bool owned_;
  std::vector<sqlite3_value*> values_;
};

// The smallest range that contains the ranges of all values.
std::optional<Range> rangeOfAll(const Term& term, std::span<sqlite3_value* const> values) {
  std::optional<Range> hull;
  for (sqlite3_value* const value : values) {
    if (const auto range = rangeOf(term.op == in ? "=" : term.op, value)) {
      hull = hull ? Range{std::min(hull->first, range->first), std::max(hull->last, range->last)} : *range;
    }
  }
  return hull;
}

} // namespace

std::string planFilter(sqlite3_index_info& index, std::span<const FilterColumn> columns) {
  std::string plan;
  int values = 0;
  std::vector<std::vector<std::string> SelectionRequest::*> lists; // that earlier constraints may have filled
  for (int i = 0; i < index.nConstraint; ++i) {
    const int number = index.aConstraint[i].iColumn;
    if (number < 0 || static_cast<std::size_t>(number) >= columns.size()) {
      continue;
    }
    const FilterColumn& column = columns[static_cast<std::size_t>(number)];
    if (!canNarrow(index, i, column.by)) {
      continue;
    }
    // Take all values of IN at once: otherwise SQLite would read the source once for each value.
    const bool isList = sqlite3_vtab_in(&index, i, 1) != 0;
    index.aConstraintUsage[i].argvIndex = ++values;
    const auto list = column.by.names != nullptr ? column.by.names : column.by.ids;
    const bool isFirst = list == nullptr || std::find(lists.begin(), lists.end(), list) == lists.end();
    const bool isPattern = index.aConstraint[i].op == SQLITE_INDEX_CONSTRAINT_GLOB;
    index.aConstraintUsage[i].omit = !isList && !isPattern && isFirst && isExact(index, i, column.by) ? 1 : 0;
    lists.push_back(list);
    plan += plan.empty() ? "" : " ";
    plan += column.name;
    plan += isList ? in : operatorText(index.aConstraint[i].op);
  }
  return plan;
}

std::optional<Selection> makeSelection(std::string_view plan, std::span<sqlite3_value*> values,
                                       std::span<const FilterColumn> columns) {
  SelectionRequest request;
  for (sqlite3_value* const value : values) {
    const std::size_t end = std::min(plan.find(' '), plan.size());
    const Term term = parseTerm(plan.substr(0, end), columns);
    plan.remove_prefix(std::min(end + 1, plan.size()));
    const OwnedValues owned(term, value);
    if (term.by.range == nullptr) {
      if (!(term.op == glob ? narrowByPattern(request, term.by, value) : narrowList(request, term.by, owned.all()))) {
        return std::nullopt;
      }
      continue;
    }
    const auto range = rangeOfAll(term, owned.all());
    const auto both = range ? common(request.*term.by.range, *range) : std::nullopt;
    if (!both) {
      return std::nullopt;
    }
    request.*term.by.range = *both;
  }
  try {
    return Selection(request);
  } catch (const std::invalid_argument&) { // an unknown name
    return leaveOutUnknown(request) ? std::optional<Selection>(request) : std::nullopt;
  }
}

} // namespace vel::query
