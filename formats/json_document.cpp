// Builds the document from the parser's events, within limits; a JSON pointer is only made for an error.
#include "formats/json_document.h"

#include <formats/error.h>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <optional>
#include <vector>

namespace vel::formats {

namespace {

// The beginning of a long text, cut between characters.
std::string cut(std::string_view text) {
  constexpr std::size_t most = 64;
  if (text.size() <= most) {
    return std::string(text);
  }
  std::size_t end = most;
  while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80) {
    --end;
  }
  return fmt::format("{}…", text.substr(0, end));
}

std::string token(std::string_view key) {
  std::string result = "/";
  for (const char c : cut(key)) {
    result += c == '~' ? "~0" : c == '/' ? "~1" : std::string(1, c);
  }
  return result;
}

// The JSON pointer from `at` to `part`. Only errors need it, so it is searched for instead of stored with each value.
std::optional<std::string> find(const Json& at, const Json& part) {
  if (&at == &part) {
    return "";
  }
  if (at.is_object()) {
    for (const auto& [key, value] : at.get_ref<const Json::object_t&>()) {
      if (const auto rest = find(value, part)) {
        return token(key) + *rest;
      }
    }
  } else if (at.is_array()) {
    for (std::size_t i = 0; i < at.size(); ++i) {
      if (const auto rest = find(at[i], part)) {
        return token(std::to_string(i)) + *rest;
      }
    }
  }
  return std::nullopt;
}

// Line and column, from 1, of a byte.
std::string place(std::string_view text, std::size_t offset) {
  const std::string_view before = text.substr(0, std::min(offset, text.size()));
  const auto line = std::count(before.begin(), before.end(), '\n') + 1;
  const std::size_t start = before.rfind('\n') == std::string_view::npos ? 0 : before.rfind('\n') + 1;
  return fmt::format("line {}, column {}", line, before.size() - start + 1);
}

// The parser's reason without the names and places around it.
std::string reason(std::string what, const std::string& lastToken) {
  if (const std::size_t column = what.find(": ", what.find("column ")); column != std::string::npos) {
    what.erase(0, column + 2);
  }
  if (const std::size_t at = what.rfind(lastToken); at != std::string::npos) {
    what.replace(at, lastToken.size(), cut(lastToken));
  }
  return what;
}

// Builds the document from the parser's events. The library's own builders take quadratic time: for each key or item
// they search all earlier ones.
class Builder : public nlohmann::json_sax<Json> {
public:
  Builder(std::string_view text, const std::string& source) : text_(text), source_(source) {}

  Json take() { return std::move(document_); }

  bool null() override { return add(nullptr); }
  bool boolean(bool value) override { return add(value); }
  bool number_integer(number_integer_t value) override { return add(value); }
  bool number_unsigned(number_unsigned_t value) override { return add(value); }
  bool number_float(number_float_t value, const string_t&) override { return add(value); }
  bool string(string_t& value) override { return add(std::move(value)); }
  bool binary(binary_t&) override { return false; } // text has no binary values

  bool start_object(std::size_t) override { return open(Json::object()); }
  bool start_array(std::size_t) override { return open(Json::array()); }
  bool key(string_t& key) override {
    open_.back()->get_ref<Json::object_t&>().emplace_back(std::move(key), nullptr);
    return true;
  }
  bool end_object() override {
    refuseTwins();
    return end_array();
  }
  bool end_array() override {
    open_.pop_back();
    return true;
  }

  bool parse_error(std::size_t position, const std::string& lastToken, const Json::exception& error) override {
    constexpr int numberOverflow = 406;
    if (error.id == numberOverflow) {
      refuse(source_, nextPointer(), "is a number that is too large");
    }
    throw Error(fmt::format("{}: {}: {}", source_, place(text_, position == 0 ? 0 : position - 1),
                            reason(error.what(), lastToken)));
  }

private:
  // The pointer to the container that is being parsed.
  std::string openPointer() const { return open_.empty() ? "" : pointerTo(document_, *open_.back()); }
  // The pointer to the next value.
  std::string nextPointer() const {
    if (open_.empty()) {
      return "";
    }
    const Json& parent = *open_.back();
    return openPointer() + token(parent.is_array() ? std::to_string(parent.size())
                                                   : parent.get_ref<const Json::object_t&>().back().first);
  }

  bool add(Json value) {
    if (++values_ > maximumValues) {
      refuse(source_, nextPointer(), fmt::format("is one value too many, {} are allowed", maximumValues));
    }
    if (open_.empty()) {
      added_ = &(document_ = std::move(value));
    } else if (Json& parent = *open_.back(); parent.is_array()) {
      added_ = &parent.get_ref<Json::array_t&>().emplace_back(std::move(value));
    } else {
      added_ = &(parent.get_ref<Json::object_t&>().back().second = std::move(value));
    }
    return true;
  }
  bool open(Json container) {
    if (open_.size() == maximumNesting) {
      refuse(source_, nextPointer(), fmt::format("is nested deeper than {} levels", maximumNesting));
    }
    add(std::move(container));
    open_.push_back(added_);
    return true;
  }

  void refuseTwins() const {
    const auto& members = open_.back()->get_ref<const Json::object_t&>();
    std::vector<std::string_view> keys;
    for (const auto& [key, value] : members) {
      keys.push_back(key);
    }
    std::sort(keys.begin(), keys.end());
    if (const auto twin = std::adjacent_find(keys.begin(), keys.end()); twin != keys.end()) {
      refuse(source_, openPointer(), fmt::format("the key {} is there twice", inQuotes(*twin)));
    }
  }

  const std::string_view text_;
  const std::string& source_;
  Json document_;
  // The containers that are not closed yet, outermost first. The pointers stay valid because nothing is added to a
  // container while one inside it is open.
  std::vector<Json*> open_;
  Json* added_ = nullptr;
  std::size_t values_ = 0;
};

} // namespace

Json parseJson(std::string_view text, const std::string& source) {
  Builder builder(text, source);
  Json::sax_parse(text, &builder);
  // The parser treats a NUL as the end of the text.
  if (const std::size_t end = text.find('\0'); end != std::string_view::npos) {
    throw Error(fmt::format("{}: {}: a NUL after the end of the document: remove it and all that follows", source,
                            place(text, end)));
  }
  return builder.take();
}

std::string pointerTo(const Json& document, const Json& part) {
  return find(document, part).value();
}

void refuse(const std::string& source, const std::string& pointer, const std::string& reason) {
  throw Error(fmt::format("{}: {}: {}", source, pointer.empty() ? "(whole document)" : pointer, reason));
}

std::string inQuotes(std::string_view text) {
  return fmt::format("\"{}\"", cut(text));
}

} // namespace vel::formats
