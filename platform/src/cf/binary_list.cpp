// Numbers the objects, with one number for equal strings, integers or booleans, and writes them with their offsets.
#include "cf/binary_list.h"

#include "cf/data.h"
#include "cf/number.h"

#include <bit>
#include <span>
#include <utility>

namespace vel::platform {

namespace {

using Bytes = std::vector<std::uint8_t>;

// Longer texts rarely occur twice, and searching for them would cost more than writing them again.
constexpr std::size_t longestSought = 128;

enum Marker : std::uint8_t {
  falseMarker = 0x08,
  trueMarker = 0x09,
  integerMarker = 0x10,
  doubleMarker = 0x23,
  dataMarker = 0x40,
  asciiMarker = 0x50,
  utf16Marker = 0x60,
  arrayMarker = 0xA0,
  dictionaryMarker = 0xD0,
};

// Big-endian.
void append(Bytes& out, std::uint64_t number, std::size_t width) {
  for (std::size_t shift = width * 8; shift != 0;) {
    shift -= 8;
    out.push_back(static_cast<std::uint8_t>(number >> shift));
  }
}

void append(Bytes& out, std::string_view bytes) {
  out.insert(out.end(), bytes.begin(), bytes.end());
}

// 1, 2, 4 or 8 bytes.
std::size_t widthOf(std::uint64_t most) {
  return most <= 0xFF ? 1 : most <= 0xFFFF ? 2 : most <= 0xFFFFFFFF ? 4 : 8;
}

// Only integers of 8 bytes are signed.
void appendInteger(Bytes& out, std::int64_t number) {
  const std::size_t width = widthOf(static_cast<std::uint64_t>(number));
  out.push_back(static_cast<std::uint8_t>(integerMarker | std::countr_zero(width)));
  append(out, static_cast<std::uint64_t>(number), width);
}

void appendMarker(Bytes& out, Marker marker, std::size_t length) {
  constexpr std::size_t lengthFollows = 15;
  out.push_back(static_cast<std::uint8_t>(marker | std::min(length, lengthFollows)));
  if (length >= lengthFollows) {
    appendInteger(out, static_cast<std::int64_t>(length));
  }
}

// `utf8` must be valid.
void appendUTF16(Bytes& out, std::string_view utf8) {
  for (std::size_t i = 0; i < utf8.size();) {
    const auto byte = [&](std::size_t at) { return static_cast<std::uint32_t>(static_cast<std::uint8_t>(utf8[at])); };
    const std::size_t length = byte(i) < 0x80 ? 1 : byte(i) < 0xE0 ? 2 : byte(i) < 0xF0 ? 3 : 4;
    std::uint32_t character = length == 1 ? byte(i) : byte(i) & (0x7FU >> length);
    for (std::size_t j = 1; j < length; ++j) {
      character = character << 6 | (byte(i + j) & 0x3FU);
    }
    if (character >= 0x10000) {
      append(out, 0xD800 + ((character - 0x10000) >> 10), 2);
      character = 0xDC00 + ((character - 0x10000) & 0x3FF);
    }
    append(out, character, 2);
    i += length;
  }
}

} // namespace

BinaryList::Number BinaryList::addEntry(const Object& object) {
  entries_.push_back({.object = &object});
  return static_cast<Number>(entries_.size() - 1);
}

BinaryList::Number BinaryList::numberString(const CFStringObject& string) {
  if (string.view().size() > longestSought) {
    return addEntry(string);
  }
  const auto [place, isNew] = strings_.try_emplace(string.view(), static_cast<Number>(entries_.size()));
  if (isNew) {
    addEntry(string);
  }
  return place->second;
}

std::optional<BinaryList::Number> BinaryList::number(CFTypeRef reference, int levels) {
  const Object& object = objectAt(reference, "CFPropertyListCreateData");
  if (const auto* string = as<CFStringObject>(object)) {
    return numberString(*string);
  }
  if (const auto* number = as<CFNumberObject>(object)) {
    if (number->isReal()) {
      return addEntry(object);
    }
    const auto [place, isNew] = integers_.try_emplace(number->integer(), static_cast<Number>(entries_.size()));
    return isNew ? addEntry(object) : place->second;
  }
  if (const auto* boolean = as<CFBooleanObject>(object)) {
    std::optional<Number>& known = booleans_[boolean->value ? 1 : 0];
    return known ? known : known = addEntry(object);
  }
  if (as<CFDataObject>(object) != nullptr) {
    return addEntry(object);
  }
  if (levels == 0) {
    return std::nullopt;
  }
  if (const auto* array = as<CFArrayObject>(object)) {
    return numberArray(*array, levels - 1);
  }
  if (const auto* dictionary = as<CFDictionaryObject>(object)) {
    return numberDictionary(*dictionary, levels - 1);
  }
  return std::nullopt;
}

std::optional<BinaryList::Number> BinaryList::numberArray(const CFArrayObject& array, int levels) {
  if (!array.holdsObjects()) {
    return std::nullopt;
  }
  const Number self = addEntry(array);
  std::vector<Number> numbers;
  numbers.reserve(array.values().size());
  for (const void* value : array.values()) {
    const auto item = number(value, levels);
    if (!item) {
      return std::nullopt;
    }
    numbers.push_back(*item);
  }
  setReferences(self, numbers);
  return self;
}

// All keys, then all values.
std::optional<BinaryList::Number> BinaryList::numberDictionary(const CFDictionaryObject& dictionary, int levels) {
  if (!dictionary.holdsObjects()) {
    return std::nullopt;
  }
  const Number self = addEntry(dictionary);
  const auto pairs = dictionary.pairs();
  std::vector<Number> numbers;
  numbers.reserve(2 * pairs.size());
  for (const auto& pair : pairs) {
    const auto* key = as<CFStringObject>(objectAt(pair.key, "CFPropertyListCreateData"));
    if (key == nullptr) {
      return std::nullopt;
    }
    numbers.push_back(numberString(*key));
  }
  for (const auto& pair : pairs) {
    const auto value = number(pair.value, levels);
    if (!value) {
      return std::nullopt;
    }
    numbers.push_back(*value);
  }
  setReferences(self, numbers);
  return self;
}

void BinaryList::setReferences(Number container, const std::vector<Number>& numbers) {
  entries_[container].firstReference = references_.size();
  entries_[container].references = numbers.size();
  references_.insert(references_.end(), numbers.begin(), numbers.end());
}

void BinaryList::writeObject(Bytes& out, const Entry& entry, std::size_t referenceWidth) const {
  const Object& object = *entry.object;
  if (const auto* string = as<CFStringObject>(object)) {
    appendMarker(out, string->ascii() ? asciiMarker : utf16Marker, string->length());
    string->ascii() ? append(out, string->view()) : appendUTF16(out, string->view());
  } else if (const auto* number = as<CFNumberObject>(object)) {
    if (number->isReal()) {
      out.push_back(doubleMarker);
      append(out, std::bit_cast<std::uint64_t>(number->real()), 8);
    } else {
      appendInteger(out, number->integer());
    }
  } else if (const auto* boolean = as<CFBooleanObject>(object)) {
    out.push_back(boolean->value ? trueMarker : falseMarker);
  } else if (const auto* data = as<CFDataObject>(object)) {
    appendMarker(out, dataMarker, data->bytes().size());
    out.insert(out.end(), data->bytes().begin(), data->bytes().end());
  } else {
    const bool isArray = as<CFArrayObject>(object) != nullptr;
    appendMarker(out, isArray ? arrayMarker : dictionaryMarker, isArray ? entry.references : entry.references / 2);
    for (const Number reference : std::span(references_).subspan(entry.firstReference, entry.references)) {
      append(out, reference, referenceWidth);
    }
  }
}

std::vector<std::uint8_t> BinaryList::write() const {
  const std::size_t referenceWidth = widthOf(entries_.size() - 1);
  Bytes out;
  append(out, "bplist00");
  std::vector<std::size_t> offsets;
  offsets.reserve(entries_.size());
  for (const Entry& entry : entries_) {
    offsets.push_back(out.size());
    writeObject(out, entry, referenceWidth);
  }
  const std::size_t table = out.size();
  const std::size_t offsetWidth = widthOf(table);
  for (const std::size_t offset : offsets) {
    append(out, offset, offsetWidth);
  }
  append(out, 0, 6); // unused, and no sort version
  append(out, offsetWidth, 1);
  append(out, referenceWidth, 1);
  append(out, entries_.size(), 8);
  append(out, 0, 8); // the top object
  append(out, table, 8);
  return out;
}

} // namespace vel::platform
