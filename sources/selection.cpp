// Names become sets of ids once, so that each record costs only a few look-ups.
#include "sources/selection.h"

#include <formats/parse_number.h>
#include <profile/names.h>
#include <sources/record.h>

#include <fmt/format.h>

#include <stdexcept>

namespace vel::sources {

namespace {

using profile::NameTable;

bool isNumber(std::string_view text) {
  return !text.empty() && text.find_first_not_of("0123456789") == std::string_view::npos;
}

// The names or ids of one option.
class Wanted {
public:
  Wanted(std::string_view kind, const std::vector<std::string>& entries) : kind_(kind), all_(entries.empty()) {
    for (const std::string& entry : entries) {
      if (!isNumber(entry)) {
        names_.push_back({entry, false});
      } else if (const std::uint64_t id = formats::parseNumber<std::uint64_t>(entry); id < ids_.size()) {
        ids_.set(id);
      } else {
        throw std::invalid_argument(fmt::format("{} {} is out of range: ids go from 0 to 255", kind_, entry));
      }
    }
  }

  // The wanted ids among those that `table` names. A name stands for every id that bears it.
  std::bitset<256> among(NameTable table) {
    if (all_) {
      return std::bitset<256>{}.set();
    }
    std::bitset<256> found = ids_;
    for (Name& name : names_) {
      for (const profile::NameRow& row : table) {
        if (name.text == row.name) {
          found.set(row.id);
          name.known = true;
        }
      }
    }
    return found;
  }

  // After the last table.
  void requireKnown() const {
    for (const Name& name : names_) {
      if (!name.known) {
        throw std::invalid_argument(fmt::format("there is no {} '{}'", kind_, name.text));
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
  std::bitset<256> ids_;
  std::vector<Name> names_;
};

constexpr std::size_t idCount = 256;

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
  categories_ = categories.among(profile::category_names());
  types_ = types.among(profile::datatype_names());
  if (!request.components.empty()) {
    for (unsigned category = 0; category < idCount; ++category) {
      components_.push_back(components.among(profile::component_names(category)));
    }
  }
  if (!request.events.empty()) {
    for (unsigned category = 0; category < idCount; ++category) {
      for (unsigned component = 0; component < idCount; ++component) {
        events_.push_back(events.among(profile::event_names(category, component)));
      }
    }
  }
  for (const Wanted* wanted : {&categories, &types, &components, &events}) {
    wanted->requireKnown();
  }
}

bool Selection::passes(const unsigned char* record) const noexcept {
  const unsigned category = profile::category(record);
  const unsigned component = profile::component(record);
  return categories_[category] && types_[profile::type(record)] &&
         (components_.empty() || components_[category][component]) &&
         (events_.empty() || events_[category * idCount + component][profile::event(record)]) &&
         sequence_.holds(sequenceNumber(record)) && time_.holds(timeStamp(record));
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
