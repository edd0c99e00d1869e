// One value of a JSON document together with its place, for readers that reject anything unexpected.
#pragma once

#include <formats/json_document.h>
#include <formats/value.h>

#include <cstdint>
#include <initializer_list>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace vel::formats {

// Refers to the document and to the name of its source, which must outlive it. Every failure throws Error with source,
// JSON pointer and reason.
class JsonNode {
public:
  JsonNode(const Json& document, const std::string& source)
      : json_(&document), document_(&document), source_(&source) {}

  [[noreturn]] void fail(const std::string& reason) const;

  // The value must be an object with no other keys than these.
  void allowKeys(std::span<const std::string_view> keys) const;
  void allowKeys(std::initializer_list<std::string_view> keys) const { allowKeys(std::span(keys.begin(), keys.end())); }
  void requireKeys(std::initializer_list<std::string_view> keys) const;
  // A key's value, if the object has it.
  std::optional<JsonNode> find(std::string_view key) const;
  // The members of an object, the items of an array; other types are refused.
  struct NamedNode;
  std::vector<NamedNode> members() const;
  std::vector<JsonNode> items(std::size_t most) const;

  bool isNull() const;
  bool isString() const;
  bool isObject() const;
  bool isArray() const;
  std::string text(std::size_t longest) const;
  bool flag() const;
  // A whole number, or a string such as "0xE00002BC".
  std::uint64_t unsignedNumber(std::uint64_t most) const;
  std::int64_t signedNumber(std::int64_t least, std::int64_t most) const;
  std::int32_t code() const;                    // 0 to 0xFFFFFFFF, as the signed number with the same bits
  double real(double least, double most) const; // any JSON number
  // Pairs of hexadecimal digits; blanks between the pairs are allowed.
  Bytes hex(std::size_t most) const;
  // Strings, numbers, booleans, arrays and objects; {"$data": "hex"} is data. Null is refused.
  Value propertyValue() const;
  Dictionary properties() const;

private:
  JsonNode child(const Json& json) const;
  void expect(bool fits, const char* what) const;
  Value propertyValue(int depth) const;
  Dictionary properties(int depth) const;

  // The JSON pointer is computed only on error, to keep nodes small.
  const Json* json_;
  const Json* document_;
  const std::string* source_;
};

struct JsonNode::NamedNode {
  const std::string& name; // owned by the document
  JsonNode node;
};

} // namespace vel::formats
