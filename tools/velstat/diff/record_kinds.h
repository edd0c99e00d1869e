// Summarizes the records of an input in bounded memory: how many of each kind, and the values of each of its fields.
#pragma once

#include <profile/fields.h>
#include <velstat/diff/field_range.h>

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace vel::stat {

struct CountedText {
  std::string text;
  std::uint64_t count = 0;
};

// A field of a kind. [borrowed: the decoder's row]
struct KindField {
  const profile::Row* row;
  FieldRange range;               // of a number
  std::vector<CountedText> texts; // of a text: the different ones, sorted
  bool hasMore = false;           // further ones are not kept
};

// Records of the same category, component, event, type and, if their layout names one, action.
struct RecordKind {
  const profile::Row* action = nullptr; // the field that holds it
  std::uint64_t count = 0;
  std::vector<KindField> fields;
};

// The ids in the order of their comparison.
struct KindIds {
  std::uint8_t category;
  std::uint8_t component;
  std::uint8_t event;
  std::uint8_t type;
  std::uint32_t action;

  auto operator<=>(const KindIds&) const = default;
};

// [one thread at a time]
class RecordKinds {
public:
  static constexpr std::size_t mostKinds = 4096;
  static constexpr std::size_t mostFields = 8192; // of all kinds together
  static constexpr std::size_t mostTexts = 16;    // of a field

  void add(const unsigned char* record);

  const std::map<KindIds, RecordKind>& kinds() const { return kinds_; }
  std::uint64_t count() const { return count_; }
  // Records beyond these limits: how many, and a sum of their contents without times and sequence numbers, which does
  // not depend on their order.
  std::uint64_t further() const { return further_; }
  std::uint64_t furtherSum() const { return furtherSum_; }

private:
  bool addField(RecordKind& kind, std::size_t place, const profile::Field& field, std::uint64_t time);
  void addFurther(const unsigned char* record);

  std::map<KindIds, RecordKind> kinds_;
  std::size_t fields_ = 0;
  std::uint64_t count_ = 0;
  std::uint64_t further_ = 0;
  std::uint64_t furtherSum_ = 0;
};

// "zorb/halden/ResetBegin/event": the names of category, component, event, action and type. The event is left out if
// its name only says that there is an action.
std::string kindPath(const KindIds& ids, const RecordKind& kind);

} // namespace vel::stat
