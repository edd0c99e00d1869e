// Names become sets of ids once, so that each record costs only a few look-ups.
#include "sources/selection.h"

#include <formats/nearest_name.h>
#include <formats/parse_number.h>
#include <sources/record.h>
#include <sources/record_names.h>

#include <fmt/format.h>

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace vel::sources {

namespace {

using profile::NameTable;

bool isNumber(std::string_view text) {
  return !text.empty() && text.find_first_not_of("0123456789") == std::string_view::npos;
}

constexpr std::size_t idCount = 256;

// The names or ids of one option.
class Wanted {
public:
  Wanted(std::string_view kind, const std::vector<std::string>& entries, bool haveIds = true)
      : kind_(kind), all_(entries.empty()) {
    for (const std::string& entry : entries) {
      if (!haveIds || !isNumber(entry)) {
        names_.push_back({entry, false});
      } else if (const std::uint64_t id = formats::parseNumber<std::uint64_t>(entry); id < ids_.size()) {
        ids_.set(id);
      } else {
        throw std::invalid_argument(fmt::format("{} {} is out of range: ids go from 0 to 255", kind_, entry));
      }
    }
  }

  // Whether `known` is one of the names; these are then marked as known.
  bool contains(std::string_view known) {
    bool found = false;
    for (Name& name : names_) {
      if (formats::equalIgnoringCase(name.text, known)) {
        found = name.known = true;
      }
    }
    return found;
  }

  // The wanted ids: those given as numbers, and all ids in `table` that have a wanted name.
  std::bitset<idCount> among(NameTable table) {
    if (all_) {
      return std::bitset<idCount>{}.set();
    }
    if (table.data() != last_.data()) { // most components of a category have the same names
      last_ = table;
      lastFound_ = ids_;
      for (const profile::NameRow& row : table) {
        if (contains(row.name)) {
          lastFound_.set(row.id);
        }
      }
    }
    return table.empty() ? ids_ : lastFound_;
  }

  // The ids in `table` that have a wanted name. Unlike other ids, these may be above 255.
  std::vector<std::uint32_t> namedAmong(NameTable table) {
    std::vector<std::uint32_t> found;
    for (const profile::NameRow& row : table) {
      if (contains(row.name)) {
        found.push_back(row.id);
      }
    }
    return found;
  }

  // Throws for a name that none of the tables has. To be called after the last table. `knownNames` returns all names of
  // this kind.
  template <class KnownNames>
  void requireKnown(KnownNames knownNames) const {
    for (const Name& name : names_) {
      if (!name.known) {
        const std::vector<std::string_view> names = knownNames();
        const auto nearest = formats::nearestName(name.text, names);
        throw std::invalid_argument(fmt::format("there is no {} '{}'{}", kind_, name.text,
                                                nearest ? fmt::format("; did you mean '{}'?", *nearest) : ""));
      }
    }
  }

private:
  struct Name {
    std::string_view text;
    bool known;
  };

  std::string_view kind_;
  bool all_;
  std::bitset<idCount> ids_;
  std::vector<Name> names_;
  NameTable last_;
  std::bitset<idCount> lastFound_;
};

} // namespace

Range parseRange(std::string_view text) {
  Range range;
  const std::size_t dots = text.find("..");
  const std::string_view first = text.substr(0, dots);
  const std::string_view last = dots == std::string_view::npos ? first : text.substr(dots + 2);
  if (first.empty() && last.empty()) {
    throw std::invalid_argument("a range is A..B, A.., ..B or A");
  }
  if (!first.empty()) {
    range.first = formats::parseNumber<std::uint64_t>(first);
  }
  if (!last.empty()) {
    range.last = formats::parseNumber<std::uint64_t>(last);
  }
  if (range.first > range.last) {
    throw std::invalid_argument(fmt::format("the range {} is empty", text));
  }
  return range;
}

Selection::Selection(const SelectionRequest& request)
    : showsAll_(request == SelectionRequest{}), sequence_(request.sequence), time_(request.time), skip_(request.skip),
      limit_(request.limit) {
  Wanted categories("category", request.categories);
  Wanted types("type", request.types);
  Wanted components("component", request.components);
  Wanted events("event", request.events);
  Wanted layouts("layout", request.layouts, false);
  categories_ = categories.among(profile::category_names());
  types_ = types.among(profile::datatype_names());
  if (!request.components.empty()) {
    for (unsigned category = 0; category < idCount; ++category) {
      components_.push_back(components.among(profile::component_names(category)));
    }
  }
  if (!request.events.empty()) {
    forEachEventTable([&](NameTable eventTable, NameTable actionTable) {
      if (std::vector<std::uint32_t> ids = events.namedAmong(actionTable); !ids.empty()) {
        actions_.push_back({events_.size(), std::move(ids)});
      }
      events_.push_back(events.among(eventTable));
    });
  }
  if (!request.layouts.empty()) {
    for (const profile::Layout& layout : profile::all_layouts()) {
      if (layouts.contains(layout.name)) {
        layouts_.push_back(&layout);
      }
    }
  }
  categories.requireKnown(categoryNames);
  types.requireKnown(typeNames);
  components.requireKnown(componentNames);
  events.requireKnown(eventNames);
  layouts.requireKnown(layoutNames);
}

void Selection::narrowTime(const Range& range) noexcept {
  time_ = {std::max(time_.first, range.first), std::min(time_.last, range.last)};
  showsAll_ = showsAll_ && time_ == Range{};
}

bool Selection::passes(const unsigned char* record) const noexcept {
  const unsigned category = profile::category(record);
  const unsigned component = profile::component(record);
  const std::size_t place = category * idCount + component;
  return categories_[category] && types_[profile::type(record)] &&
         (components_.empty() || components_[category][component]) &&
         (events_.empty() || events_[place][profile::event(record)] || hasWantedAction(record, place)) &&
         sequence_.holds(sequenceNumber(record)) && time_.holds(timeStamp(record)) &&
         (layouts_.empty() || hasWantedLayout(record));
}

// The action is the subtype that the record shows.
bool Selection::hasWantedAction(const unsigned char* record, std::size_t component) const noexcept {
  const auto actions = std::find_if(actions_.begin(), actions_.end(),
                                    [&](const Actions& candidate) { return candidate.component == component; });
  if (actions == actions_.end()) {
    return false;
  }
  for (const profile::Layout* const layout : profile::shown_layouts(record)) {
    for (const profile::Row& row : layout->rows) {
      if (row.kind == profile::FieldKind::subtype_name) {
        const std::uint64_t id = profile::load_sized(record + row.offset, row.size);
        return std::find(actions->ids.begin(), actions->ids.end(), id) != actions->ids.end();
      }
    }
  }
  return false;
}

bool Selection::hasWantedLayout(const unsigned char* record) const noexcept {
  const profile::ShownLayouts shown = profile::shown_layouts(record);
  return std::any_of(shown.begin(), shown.end(), [&](const profile::Layout* layout) {
    return std::find(layouts_.begin(), layouts_.end(), layout) != layouts_.end();
  });
}

bool Selection::showsNext() noexcept {
  if (skip_ != 0) {
    --skip_;
    return false;
  }
  if (limit_ == 0) {
    return false;
  }
  --limit_;
  return true;
}

} // namespace vel::sources
