// Reads the decoder's tables. Many components share a table.
#include "sources/record_names.h"

#include <profile/category.h>
#include <profile/layout.h>
#include <sources/renderer.h>

#include <fmt/format.h>

#include <algorithm>

namespace vel::sources {

namespace {

using profile::NameTable;

constexpr unsigned idCount = 256;

void addNames(std::vector<std::string_view>& names, NameTable table) {
  for (const profile::NameRow& row : table) {
    if (std::find(names.begin(), names.end(), row.name) == names.end()) {
      names.emplace_back(row.name);
    }
  }
}

std::vector<std::string_view> namesIn(NameTable table) {
  std::vector<std::string_view> names;
  addNames(names, table);
  return names;
}

} // namespace

std::vector<std::string_view> categoryNames() {
  return namesIn(profile::category_names());
}

std::vector<std::string_view> componentNames() {
  std::vector<std::string_view> names;
  for (const profile::Category& category : profile::categories()) {
    addNames(names, profile::component_names(category.id));
  }
  return names;
}

std::vector<std::string_view> eventNames() {
  std::vector<std::string_view> names;
  NameTable lastEvents;
  NameTable lastActions;
  forEachEventTable([&](NameTable events, NameTable actions) {
    if (events.data() != lastEvents.data() || actions.data() != lastActions.data()) {
      addNames(names, events);
      addNames(names, actions);
      lastEvents = events;
      lastActions = actions;
    }
  });
  return names;
}

std::vector<std::string_view> typeNames() {
  return namesIn(profile::datatype_names());
}

std::vector<std::string_view> layoutNames() {
  std::vector<std::string_view> names;
  for (const profile::Layout& layout : profile::all_layouts()) {
    names.emplace_back(layout.name);
  }
  return names;
}

std::vector<std::string_view> commonFieldNames() {
  std::vector<std::string_view> names;
  for (std::string_view rest = csvHeader.substr(0, csvHeader.size() - 1); !rest.empty();) {
    const std::size_t end = std::min(rest.find(','), rest.size());
    names.push_back(rest.substr(0, end));
    rest.remove_prefix(std::min(end + 1, rest.size()));
  }
  return names;
}

std::vector<std::string> payloadFieldNames(bool isQualified) {
  std::vector<std::string> names;
  for (const profile::Layout& layout : profile::all_layouts()) {
    for (const profile::Row& row : layout.rows) {
      names.push_back(isQualified ? fmt::format("{}.{}", layout.name, row.key) : std::string(row.key));
    }
  }
  std::sort(names.begin(), names.end()); // layouts share keys
  names.erase(std::unique(names.begin(), names.end()), names.end());
  return names;
}

void forEachEventTable(const std::function<void(NameTable, NameTable)>& visit) {
  for (unsigned category = 0; category < idCount; ++category) {
    for (unsigned component = 0; component < idCount; ++component) {
      visit(profile::event_names(category, component), profile::subtype_names(category, component));
    }
  }
}

} // namespace vel::sources
