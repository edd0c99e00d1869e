// Walks two trees at once and collects the leaves that differ.
#include "velstat/diff/value_diff.h"

#include <velstat/text/value_path.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

namespace vel::stat {

namespace {

// Of values that are not both dictionaries or both arrays.
bool sameLeaf(const formats::Value& before, const formats::Value& after) {
  const auto* one = before.as<double>();
  const auto* other = after.as<double>();
  return (one != nullptr && other != nullptr && std::isnan(*one) && std::isnan(*other)) || before == after;
}

// The members of a dictionary, found by key.
class Index {
public:
  explicit Index(const formats::Dictionary& members) {
    members_.reserve(members.size());
    for (const formats::Member& member : members) {
      members_.push_back(&member);
    }
    std::sort(members_.begin(), members_.end(), [](const auto* a, const auto* b) { return a->key < b->key; });
  }
  const formats::Value* find(std::string_view key) const {
    const auto found = std::lower_bound(members_.begin(), members_.end(), key,
                                        [](const auto* member, std::string_view k) { return member->key < k; });
    return found != members_.end() && (*found)->key == key ? &(*found)->value : nullptr;
  }

private:
  std::vector<const formats::Member*> members_;
};

class ValueComparison {
public:
  explicit ValueComparison(const TakeDifference& take) : take_(take) {}

  void run(std::optional<std::string_view> key, const formats::Value& before, const formats::Value& after) {
    if (key) {
      path_.push(*key);
    }
    compare(&before, &after);
  }

private:
  void compare(const formats::Value* before, const formats::Value* after) {
    if (before != nullptr && after != nullptr) {
      const auto* dictionary = before->as<formats::Dictionary>();
      const auto* otherDictionary = after->as<formats::Dictionary>();
      if (dictionary != nullptr && otherDictionary != nullptr) {
        return compareDictionaries(*dictionary, *otherDictionary);
      }
      const auto* array = before->as<formats::Array>();
      const auto* otherArray = after->as<formats::Array>();
      if (array != nullptr && otherArray != nullptr) {
        return compareArrays(*array, *otherArray);
      }
      if (sameLeaf(*before, *after)) {
        return;
      }
    }
    take_(path_.text(), before, after);
  }

  void compareAt(std::string_view key, const formats::Value* before, const formats::Value* after) {
    path_.push(key);
    compare(before, after);
    path_.pop();
  }

  void compareDictionaries(const formats::Dictionary& before, const formats::Dictionary& after) {
    const Index old(before);
    const Index current(after);
    for (const formats::Member& member : before) {
      compareAt(member.key, &member.value, current.find(member.key));
    }
    for (const formats::Member& member : after) {
      if (old.find(member.key) == nullptr) {
        compareAt(member.key, nullptr, &member.value);
      }
    }
  }

  void compareArrays(const formats::Array& before, const formats::Array& after) {
    for (std::size_t i = 0; i < std::max(before.size(), after.size()); ++i) {
      compareAt(std::to_string(i), i < before.size() ? &before[i] : nullptr, i < after.size() ? &after[i] : nullptr);
    }
  }

  const TakeDifference& take_;
  ValuePath path_; // of the values that are compared
};

} // namespace

void compareValues(const formats::Value& before, const formats::Value& after, const TakeDifference& take,
                   std::optional<std::string_view> key) {
  ValueComparison(take).run(key, before, after);
}

} // namespace vel::stat
