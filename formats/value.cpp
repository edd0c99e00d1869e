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

namespace {

// The overhead of a heap block.
constexpr std::size_t blockHead = 16;

std::size_t heapOf(const std::string& text) {
  const std::size_t within = std::string().capacity();
  return text.capacity() <= within ? 0 : text.capacity() + blockHead;
}

template <class T>
std::size_t heapOf(const std::vector<T>& items) {
  return items.capacity() == 0 ? 0 : items.capacity() * sizeof(T) + blockHead;
}

// The heap memory of a value, without the value itself.
struct HeapOf {
  std::size_t operator()(const Dictionary& members) const {
    std::size_t sum = heapOf(members);
    for (const Member& member : members) {
      sum += heapOf(member.key) + std::visit(*this, member.value.content);
    }
    return sum;
  }
  std::size_t operator()(const Array& items) const {
    std::size_t sum = heapOf(items);
    for (const Value& item : items) {
      sum += std::visit(*this, item.content);
    }
    return sum;
  }
  std::size_t operator()(const std::string& text) const { return heapOf(text); }
  std::size_t operator()(const Bytes& data) const { return heapOf(data); }
  std::size_t operator()(std::int64_t) const { return 0; }
  std::size_t operator()(double) const { return 0; }
  std::size_t operator()(bool) const { return 0; }
};

} // namespace

std::size_t Value::memory() const {
  return sizeof *this + std::visit(HeapOf{}, content);
}

bool Value::operator==(const Value& other) const {
  return content == other.content;
}

} // namespace vel::formats
