// The format: "bplist00", the objects, a table with the offset of each object, and a trailer of 32 bytes. The trailer
// gives the place of the table, and the width of its entries and of the references inside arrays and dictionaries. An
// object begins with a byte of type (high half) and size (low half). All numbers are big-endian.
//
// The tree is built recursively from the top object, at most maximumDepth levels deep. Each value and its bytes are
// charged to a memory budget before they are made, which also bounds the time. The budget would stop cycles too, but
// they are detected earlier, so that the error names the cause.

#include "formats/binary_property_list.h"

#include <formats/binary_layout.h>
#include <formats/binary_values.h>

#include <fmt/format.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace vel::formats {

namespace {

// The memory that a value is charged for: that of a dictionary member, the largest form.
constexpr std::size_t valueCost = sizeof(Member);

// The memory that text or data is charged for. Bytes that do not fit into the object itself need an allocation.
std::size_t costOf(std::size_t bytes) {
  constexpr std::size_t inPlace = 15;
  constexpr std::size_t allocation = 24;
  return bytes <= inPlace ? bytes : bytes + allocation;
}

namespace Type {
enum : unsigned {
  simple = 0x0,
  integer = 0x1,
  real = 0x2,
  date = 0x3,
  data = 0x4,
  textASCII = 0x5,
  textUTF16 = 0x6,
  uid = 0x8,
  array = 0xA,
  set = 0xC,
  dictionary = 0xD,
};
}

class Reader {
public:
  Reader(const BinarySource& source, std::size_t memoryLimit)
      : source_(source), layout_(readBinaryLayout(source)), memoryLimit_(memoryLimit), memoryLeft_(memoryLimit) {}

  Value read() {
    charge(0, valueCost);
    return valueOf(layout_.topObject, layout_.topReference);
  }

private:
  struct Head {
    std::size_t offset; // of the object, for errors
    unsigned type;
    unsigned size;
    std::size_t body; // offset of what follows the first byte
  };

  void charge(std::size_t offset, std::size_t memory) {
    if (memory > memoryLeft_) {
      source_.fail(
          offset, "the values take more than {} bytes of memory, as there are too many or objects are shared too often",
          memoryLimit_);
    }
    memoryLeft_ -= memory;
  }

  // The object with this number; `referrer` is the offset of the reference to it.
  Value valueOf(std::uint64_t object, std::size_t referrer) {
    return valueAt(layout_.offsetOf(object, referrer, source_));
  }

  Head headAt(std::size_t offset) const {
    const unsigned first = source_.byteAt(offset);
    return {offset, first >> 4, first & 0xF, offset + 1};
  }

  Value valueAt(std::size_t offset) {
    Head head = headAt(offset);
    switch (head.type) {
    case Type::simple:
      return simpleOf(head);
    case Type::integer:
      charge(offset, head.size == 4 ? valueCost + 40 : 0); // it may become text of 40 digits
      return integerValue(leaf(head, std::size_t{1} << head.size, head.size <= 4));
    case Type::real:
      return {realValue(leaf(head, std::size_t{1} << head.size, head.size == 2 || head.size == 3))};
    case Type::date:
      charge(offset, valueCost + 32);
      return dateValue(leaf(head, std::size_t{1} << head.size, head.size == 3));
    case Type::uid:
      charge(offset, valueCost);
      return uidValue(leaf(head, head.size + 1, head.size < 8));
    case Type::data: {
      const auto bytes = counted(head, 1, "data");
      charge(offset, costOf(bytes.size()));
      return {Bytes(bytes.begin(), bytes.end())};
    }
    case Type::textASCII:
    case Type::textUTF16:
      return {textOf(head)};
    case Type::array:
    case Type::set:
    case Type::dictionary:
      return containerOf(head);
    default:
      unknown(head);
    }
  }

  [[noreturn]] void unknown(const Head& head) const {
    source_.fail(head.offset, "no value begins with byte 0x{:02x}", source_.byteAt(head.offset));
  }

  Value simpleOf(const Head& head) {
    switch (head.size) {
    case 0:
      charge(head.offset, valueCost);
      return taggedValue("$null", {true});
    case 8:
      return {false};
    case 9:
      return {true};
    default:
      unknown(head);
    }
  }

  // The bytes of an object whose size is in its first byte.
  std::span<const std::byte> leaf(const Head& head, std::size_t size, bool possible) const {
    if (!possible) {
      unknown(head);
    }
    if (size > layout_.objectsEnd - head.body) {
      source_.fail(head.offset, "value of {} bytes runs past the objects, which end at {}", size,
                   source_.inFile(layout_.objectsEnd));
    }
    return source_.part(head.body, size);
  }

  // The bytes of an object with a variable number of items of `width` bytes. Moves the head's body to the first item.
  std::span<const std::byte> counted(Head& head, std::size_t width, const char* what) const {
    std::uint64_t count = head.size;
    if (head.size == 0xF) {
      if (head.body >= layout_.objectsEnd || source_.byteAt(head.body) >> 4 != Type::integer ||
          (source_.byteAt(head.body) & 0xF) > 3) {
        source_.fail(head.body, "the length of {} is missing", what);
      }
      const Head length = headAt(head.body);
      const auto bytes = leaf(length, std::size_t{1} << length.size, true);
      count = bigEndian(bytes);
      head.body = length.body + bytes.size();
    }
    if (count > (layout_.objectsEnd - head.body) / width) {
      source_.fail(head.offset, "{} of length {} runs past the objects, which end at {}", what, count,
                   source_.inFile(layout_.objectsEnd));
    }
    return source_.part(head.body, static_cast<std::size_t>(count) * width);
  }

  std::string textOf(Head head) {
    const bool wide = head.type == Type::textUTF16;
    const auto bytes = counted(head, wide ? 2 : 1, "text");
    const std::size_t length = wide ? lengthOfUTF16(bytes) : bytes.size();
    charge(head.offset, costOf(length));
    std::string text;
    text.reserve(length);
    if (const auto fault = wide ? appendUTF16(text, bytes) : appendASCII(text, bytes)) {
      source_.fail(head.body + fault->offset, "{}", fault->what);
    }
    return text;
  }

  Value containerOf(Head head) {
    const std::size_t object = head.offset;
    if (std::find(open_.begin(), open_.end(), object) != open_.end()) {
      source_.fail(object, "this object contains itself");
    }
    // A set becomes a dictionary with an array, which are two levels.
    const std::size_t levels = head.type == Type::set ? 2 : 1;
    if (open_.size() + levels > maximumDepth) {
      source_.fail(object, "nested more than {} levels deep", maximumDepth);
    }
    open_.insert(open_.end(), levels, object);
    Value value = head.type == Type::dictionary ? dictionaryOf(head) : arrayOf(head);
    open_.resize(open_.size() - levels);
    return value;
  }

  Value referred(std::size_t offset) { return valueOf(source_.numberAt(offset, layout_.referenceWidth), offset); }

  Value arrayOf(Head head) {
    const std::size_t width = layout_.referenceWidth;
    const std::size_t size = counted(head, width, head.type == Type::set ? "set" : "array").size();
    charge(head.offset, size / width * sizeof(Value));
    Array values;
    values.reserve(size / width);
    for (std::size_t offset = head.body; offset < head.body + size; offset += width) {
      values.push_back(referred(offset));
    }
    if (head.type == Type::set) {
      charge(head.offset, valueCost);
      return taggedValue("$set", {std::move(values)});
    }
    return {std::move(values)};
  }

  Value dictionaryOf(Head head) {
    const std::size_t width = layout_.referenceWidth;
    const std::size_t keys = counted(head, 2 * width, "dictionary").size() / 2;
    charge(head.offset, keys / width * valueCost);
    Dictionary members;
    members.reserve(keys / width);
    for (std::size_t offset = head.body; offset < head.body + keys; offset += width) {
      Value key = referred(offset);
      auto* text = std::get_if<std::string>(&key.content);
      if (text == nullptr) {
        source_.fail(offset, "a key that is not text ({})", key.typeName());
      }
      members.push_back({std::move(*text), referred(offset + keys)});
    }
    checkKeys(head.offset, members);
    return {std::move(members)};
  }

  void checkKeys(std::size_t offset, const Dictionary& members) const {
    std::vector<std::string_view> keys;
    keys.reserve(members.size());
    for (const Member& member : members) {
      keys.push_back(member.key);
    }
    std::sort(keys.begin(), keys.end());
    const auto twice = std::adjacent_find(keys.begin(), keys.end());
    if (twice != keys.end()) {
      source_.fail(offset, "the key \"{}\" is there twice in a dictionary", twice->substr(0, 60));
    }
  }

  const BinarySource& source_;
  const BinaryLayout layout_;
  const std::size_t memoryLimit_;
  std::size_t memoryLeft_;
  std::vector<std::size_t> open_; // the containers around the current value, one per level
};

} // namespace

std::size_t expansionLimit(std::size_t fileSize) {
  // Without shared subtrees, a tree takes less than 128 times the size of its file: a reference of one byte becomes a
  // value of 72 bytes. Text that is used in many places is stored once in the file; the floor lets small files repeat
  // it freely. The ceiling keeps the two trees of a comparison and a file that is being read within 256 MiB.
  constexpr std::size_t factor = 128;
  constexpr std::size_t least = std::size_t{16} << 20;
  constexpr std::size_t most = std::size_t{80} << 20;
  return fileSize > most / factor ? most : std::max(fileSize * factor, least);
}

Value readBinaryPropertyList(std::span<const std::byte> bytes, std::size_t base, std::size_t memoryLimit) {
  const BinarySource source(bytes, base);
  return Reader(source, memoryLimit).read();
}

} // namespace vel::formats
