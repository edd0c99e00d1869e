// Type names, look-up and equality of values.
#include "formats/value.h"

#include <algorithm>
#include <array>

namespace vel::formats {

const char* Value::typeName() const {
  static constexpr std::array<const char*, 7> names = {"dictionary", "array",   "string", "integer",
                                                       "real",       "boolean", "data"};
  static_assert(names.size() == std::variant_size_v<decltype(content)>);
  return names[content.index()];
}

const Value* Value::find(std::string_view key) const {
  const auto* members = as<Dictionary>();
  if (members == nullptr) {
    return nullptr;
  }
  const auto found = std::find_if(members->begin(), members->end(), [&](const Member& m) { return m.key == key; });
  return found == members->end() ? nullptr : &found->value;
}

bool Value::operator==(const Value& other) const {
  return content == other.content;
}

} // namespace vel::formats
