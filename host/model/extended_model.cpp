// Merges a model into the one that it extends, one override at a time.
#include "host/model/extended_model.h"

#include <formats/error.h>
#include <formats/json_node.h>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <charconv>
#include <string_view>
#include <utility>

namespace vel::host {

namespace {

using formats::Json;

constexpr std::size_t modelsLimit = 4; // in a chain of models that extend each other
constexpr std::size_t overridesLimit = 256;
constexpr std::size_t nameLimit = 127;
constexpr std::string_view documentKeys[] = {"$schema",  "name",           "description", "boot-time", "time-sync",
                                             "services", "named-services", "extends",     "overrides"};

// Removes the first key from a JSON pointer and returns it.
std::string takeKey(std::string_view& path) {
  path.remove_prefix(1);
  const std::string_view escaped = path.substr(0, path.find('/'));
  path.remove_prefix(escaped.size());
  std::string key;
  for (std::size_t i = 0; i < escaped.size(); ++i) {
    const std::string_view two = escaped.substr(i, 2);
    const bool isEscape = two == "~0" || two == "~1";
    key += !isEscape ? escaped[i] : two == "~0" ? '~' : '/';
    i += isEscape ? 1 : 0;
  }
  return key;
}

bool isNamed(const Json& item, const std::string& name) {
  const auto found = item.is_object() ? item.find("name") : item.end();
  return item.is_object() && found != item.end() && *found == name;
}

// The part of an object or a list that the key names: a member, or an item by its index or its "name". Null if none.
Json* part(Json& whole, const std::string& key) {
  if (whole.is_object()) {
    const auto found = whole.find(key);
    return found == whole.end() ? nullptr : &*found;
  }
  if (!whole.is_array()) {
    return nullptr;
  }
  std::size_t index = 0;
  const auto [stop, error] = std::from_chars(key.data(), key.data() + key.size(), index);
  if (error == std::errc() && stop == key.data() + key.size() && index < whole.size()) {
    return &whole[index];
  }
  for (Json& item : whole) {
    if (isNamed(item, key)) {
      return &item;
    }
  }
  return nullptr;
}

// Stores the value at the path: replaces the value that is there, or adds a new key to an object, or appends to a list
// for the key "-". Returns why that is not possible, or an empty string on success.
std::string putInPlace(Json& model, const std::string& source, std::string_view path, const Json& value) {
  if (!path.starts_with('/')) {
    return fmt::format("{} is not a path such as \"/services/Button/transport\"", formats::inQuotes(path));
  }
  Json* whole = &model;
  while (true) {
    const std::string key = takeKey(path);
    Json* const found = part(*whole, key);
    if (path.empty() && found != nullptr) {
      *found = value;
    } else if (path.empty() && whole->is_object()) {
      whole->get_ref<Json::object_t&>().emplace_back(key, value);
    } else if (path.empty() && whole->is_array() && key == "-") {
      whole->push_back(value);
    } else if (found == nullptr) {
      const std::string place = formats::pointerTo(model, *whole);
      return fmt::format("no {} in {} of {}", formats::inQuotes(key), place.empty() ? "the document" : place, source);
    } else {
      whole = found;
      continue;
    }
    return "";
  }
}

std::string readBaseName(const Json& document, const std::string& source) {
  const formats::JsonNode node = *formats::JsonNode(document, source).find("extends");
  std::string name = node.text(nameLimit);
  if (name.empty() || name == "." || name == ".." || name.find('/') != std::string::npos) {
    node.fail(fmt::format("{} is not the name of a file in the same folder", formats::inQuotes(name)));
  }
  return name;
}

Json withBase(const Json& document, std::string& source, const ModelReader& readModel, std::size_t depth) {
  const formats::JsonNode node(document, source);
  node.allowKeys(documentKeys);
  const auto overrides = node.find("overrides");
  if (!node.find("extends")) {
    if (overrides) {
      overrides->fail("has no place without \"extends\"");
    }
    return document;
  }
  const std::string name = readBaseName(document, source);
  if (!readModel) {
    formats::refuse(source, "/extends", "has no place: this model has no folder in which to look");
  }
  if (depth == modelsLimit) {
    formats::refuse(source, "/extends",
                    fmt::format("is one too many: up to {} models extend each other, and none itself", modelsLimit));
  }
  std::string text;
  try {
    text = readModel(name);
  } catch (const formats::Error& error) {
    formats::refuse(source, "/extends", error.what());
  }
  std::string baseSource = name;
  Json model = withBase(formats::parseJson(text, baseSource), baseSource, readModel, depth + 1);

  for (const auto& [key, value] : document.get_ref<const Json::object_t&>()) {
    if (key != "extends" && key != "overrides") {
      model[key] = value;
    }
  }
  if (overrides) {
    if (overrides->members().size() > overridesLimit) {
      overrides->fail(fmt::format("has more than {} members", overridesLimit));
    }
    for (const auto& [path, value] : document.at("overrides").get_ref<const Json::object_t&>()) {
      if (const std::string problem = putInPlace(model, baseSource, path, value); !problem.empty()) {
        formats::refuse(source, formats::pointerTo(document, value), problem);
      }
    }
  }
  source += ", which extends " + baseSource;
  return model;
}

} // namespace

formats::Json withBase(const formats::Json& document, std::string& source, const ModelReader& readModel) {
  return withBase(document, source, readModel, 1);
}

} // namespace vel::host
