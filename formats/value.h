// A property list as a tree, as in state records and in the properties of device models.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace vel::formats {

struct Value;
struct Member;
using Dictionary = std::vector<Member>; // in the order of the file
using Array = std::vector<Value>;
using Bytes = std::vector<std::byte>;

struct Value {
  std::variant<Dictionary, Array, std::string, std::int64_t, double, bool, Bytes> content;

  // The content if it is a T, else null.
  template <class T>
  const T* as() const {
    return std::get_if<T>(&content);
  }
  // "dictionary", "array", "string", "integer", "real", "boolean", "data".
  const char* typeName() const;
  // The value of a dictionary's key; null if there is no such key or this is not a dictionary.
  const Value* find(std::string_view key) const;

  // The approximate memory of the value and everything in it, in bytes. [any thread]
  std::size_t memory() const;

  bool operator==(const Value& other) const;
};

struct Member {
  std::string key;
  Value value;

  bool operator==(const Member& other) const = default;
};

// Every reader refuses deeper trees, so that walking one cannot exhaust the stack.
constexpr int maximumDepth = 64;

} // namespace vel::formats
