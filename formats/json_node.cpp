// Typed reads of JSON values; each refusal names the place and what was expected.
#include "formats/json_node.h"

#include <formats/nearest_name.h>

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <charconv>
#include <limits>

namespace vel::formats {

namespace {

constexpr std::size_t dataLimit = 1 << 20;
constexpr std::size_t textLimit = 1 << 16;

// Advice about an unknown key: the nearest known one, or all of them.
std::string advice(std::string_view key, std::span<const std::string_view> keys) {
  if (keys.empty()) {
    return "none is allowed here";
  }
  if (const auto nearest = nearestName(key, keys)) {
    return fmt::format("did you mean \"{}\"?", *nearest);
  }
  return fmt::format("allowed: {}", fmt::join(keys, ", "));
}

const char* typeName(const Json& json) {
  if (json.is_number_float()) {
    return "a fraction or too large";
  }
  switch (json.type()) {
  case Json::value_t::null:
    return "null";
  case Json::value_t::object:
    return "an object";
  case Json::value_t::array:
    return "an array";
  case Json::value_t::string:
    return "a string";
  case Json::value_t::boolean:
    return "a boolean";
  default:
    return "a number";
  }
}

// Parses "0x..."; nothing if the text has another form.
std::optional<std::uint64_t> hexNumber(std::string_view text) {
  if (!text.starts_with("0x")) {
    return std::nullopt;
  }
  std::uint64_t number = 0;
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data() + 2, end, number, 16);
  return error == std::errc() && stop == end ? std::optional(number) : std::nullopt;
}

int digit(char c) {
  if (c >= '0' && c <= '9') {
    return c - '0';
  }
  const char lower = static_cast<char>(c | 0x20);
  return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

} // namespace

void JsonNode::fail(const std::string& why) const {
  refuse(*source_, pointerTo(*document_, *json_), why);
}

void JsonNode::expect(bool fits, const char* what) const {
  if (!fits) {
    fail(fmt::format("is {}, must be {}", typeName(*json_), what));
  }
}

JsonNode JsonNode::child(const Json& json) const {
  JsonNode node = *this;
  node.json_ = &json;
  return node;
}

void JsonNode::allowKeys(std::span<const std::string_view> keys) const {
  for (const auto& [name, node] : members()) {
    if (std::find(keys.begin(), keys.end(), name) == keys.end()) {
      fail(fmt::format("unknown key {}; {}", inQuotes(name), advice(name, keys)));
    }
  }
}

void JsonNode::requireKeys(std::initializer_list<std::string_view> keys) const {
  for (const std::string_view key : keys) {
    if (!find(key)) {
      fail(fmt::format("lacks the key \"{}\"", key));
    }
  }
}

std::optional<JsonNode> JsonNode::find(std::string_view key) const {
  expect(json_->is_object(), "an object");
  const auto found = json_->find(std::string(key));
  return found == json_->end() ? std::nullopt : std::optional(child(*found));
}

std::vector<JsonNode::NamedNode> JsonNode::members() const {
  expect(json_->is_object(), "an object");
  std::vector<NamedNode> nodes;
  for (const auto& [key, value] : json_->get_ref<const Json::object_t&>()) {
    nodes.push_back({key, child(value)});
  }
  return nodes;
}

std::vector<JsonNode> JsonNode::items(std::size_t most) const {
  expect(json_->is_array(), "an array");
  if (json_->size() > most) {
    fail(fmt::format("has {} items, at most {} are allowed", json_->size(), most));
  }
  std::vector<JsonNode> nodes;
  for (const Json& value : *json_) {
    nodes.push_back(child(value));
  }
  return nodes;
}

bool JsonNode::isNull() const {
  return json_->is_null();
}

bool JsonNode::isString() const {
  return json_->is_string();
}

bool JsonNode::isObject() const {
  return json_->is_object();
}

bool JsonNode::isArray() const {
  return json_->is_array();
}

std::string JsonNode::text(std::size_t longest) const {
  expect(json_->is_string(), "a string");
  const auto& text = json_->get_ref<const std::string&>();
  if (text.size() > longest) {
    fail(fmt::format("has {} bytes, at most {} are allowed", text.size(), longest));
  }
  if (text.find('\0') != std::string::npos) {
    fail("holds a NUL, which no text can");
  }
  return text;
}

bool JsonNode::flag() const {
  expect(json_->is_boolean(), "a boolean");
  return json_->get<bool>();
}

std::uint64_t JsonNode::unsignedNumber(std::uint64_t most) const {
  std::optional<std::uint64_t> number;
  if (json_->is_string()) {
    number = hexNumber(json_->get_ref<const std::string&>());
    if (!number) {
      fail(fmt::format("{} is not a number; a number in a string is written as \"0x2A\"",
                       inQuotes(json_->get_ref<const std::string&>())));
    }
  } else {
    expect(json_->is_number_integer(), "a whole number");
    if (json_->is_number_unsigned()) {
      number = json_->get<std::uint64_t>();
    }
  }
  if (!number || *number > most) {
    fail(fmt::format("is out of range: 0 to {}", most));
  }
  return *number;
}

std::int64_t JsonNode::signedNumber(std::int64_t least, std::int64_t most) const {
  if (json_->is_number_integer() && !json_->is_number_unsigned()) {
    const auto number = json_->get<std::int64_t>();
    if (number >= least) {
      return number;
    }
  } else if (json_->is_string()) {
    const std::uint64_t number = unsignedNumber(std::numeric_limits<std::uint64_t>::max());
    if (number <= static_cast<std::uint64_t>(most)) {
      return static_cast<std::int64_t>(number);
    }
  } else {
    expect(json_->is_number_integer(), "a whole number");
    const auto number = json_->get<std::uint64_t>();
    if (number <= static_cast<std::uint64_t>(most)) {
      return static_cast<std::int64_t>(number);
    }
  }
  fail(fmt::format("is out of range: {} to {}", least, most));
}

std::int32_t JsonNode::code() const {
  return static_cast<std::int32_t>(unsignedNumber(std::numeric_limits<std::uint32_t>::max()));
}

double JsonNode::real(double least, double most) const {
  expect(json_->is_number(), "a number");
  const auto number = json_->get<double>();
  if (number < least || number > most) {
    fail(fmt::format("is out of range: {} to {}", least, most));
  }
  return number;
}

Bytes JsonNode::hex(std::size_t most) const {
  expect(json_->is_string(), "a string of hexadecimal digits");
  const auto& text = json_->get_ref<const std::string&>();
  Bytes bytes;
  int high = -1;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == ' ' && high < 0) {
      continue;
    }
    const int value = digit(text[i]);
    if (value < 0) {
      fail(fmt::format("character {} is not a hexadecimal digit", i + 1));
    }
    if (high < 0) {
      high = value;
    } else {
      bytes.push_back(static_cast<std::byte>(high << 4 | value));
      high = -1;
    }
  }
  if (high >= 0) {
    fail("has an odd number of hexadecimal digits");
  }
  if (bytes.size() > most) {
    fail(fmt::format("has {} bytes, at most {} are allowed", bytes.size(), most));
  }
  return bytes;
}

Value JsonNode::propertyValue() const {
  return propertyValue(0);
}

Dictionary JsonNode::properties() const {
  return properties(0);
}

Value JsonNode::propertyValue(int depth) const {
  if (depth >= maximumDepth) {
    fail(fmt::format("is nested deeper than {} levels", maximumDepth));
  }
  if (json_->is_object()) {
    if (const auto data = find("$data")) {
      allowKeys({"$data"});
      return {data->hex(dataLimit)};
    }
    return {properties(depth)};
  }
  if (json_->is_array()) {
    Array values;
    for (const JsonNode& item : items(std::numeric_limits<std::size_t>::max())) {
      values.push_back(item.propertyValue(depth + 1));
    }
    return {std::move(values)};
  }
  if (json_->is_string()) {
    return {text(textLimit)};
  }
  if (json_->is_boolean()) {
    return {flag()};
  }
  if (json_->is_number_float()) {
    return {json_->get<double>()};
  }
  expect(json_->is_number_integer(), "a property value");
  return {signedNumber(std::numeric_limits<std::int64_t>::min(), std::numeric_limits<std::int64_t>::max())};
}

Dictionary JsonNode::properties(int depth) const {
  Dictionary dictionary;
  for (const auto& [name, node] : members()) {
    if (name.find('\0') != std::string::npos) {
      fail("a key holds a NUL, which no text can");
    }
    dictionary.push_back({name, node.propertyValue(depth + 1)});
  }
  return dictionary;
}

} // namespace vel::formats
