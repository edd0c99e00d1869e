// The names by which records are selected, from the decoder's tables. [any thread]
#pragma once

#include <profile/names.h>

#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace vel::sources {

// Each name once, in the order of the tables. [static]
std::vector<std::string_view> categoryNames();
std::vector<std::string_view> componentNames();
std::vector<std::string_view> eventNames(); // and those of actions
std::vector<std::string_view> typeNames();
std::vector<std::string_view> layoutNames();

// The fields that every record has: the columns of CSV, which are the keys of JSON too. [static]
std::vector<std::string_view> commonFieldNames();
// The keys of payloads; LAYOUT.KEY if qualified. In order, each once.
std::vector<std::string> payloadFieldNames(bool isQualified);

// Calls `visit` for every category and component, also those without a name, with the tables of its events and of its
// actions.
void forEachEventTable(const std::function<void(profile::NameTable events, profile::NameTable actions)>& visit);

} // namespace vel::sources
