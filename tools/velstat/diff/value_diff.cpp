// Walks two trees at once and collects the leaves that differ.
#include "velstat/diff/value_diff.h"

#include <velstat/text/value_path.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <string_view>

namespace vel::stat {

namespace {

// Of values that are not both dictionaries or both arrays.
bool sameLeaf(const formats::Value& before, const formats::Value& after) {
  const auto* one = before.as<double>();
  const auto* other = after.as<double>();
  return (one != nullptr && other != nullptr && std::isnan(*one) && std::isnan(*other)) || before == after;
}

class Comparison {
public:
  std::vector<Difference> run(const formats::Value& before, const formats::Value& after) {
    compare(&before, &after);
    return std::move(differences_);
  }

private:
  void compareAt(const std::string& key, const formats::Value* before, const formats::Value* after) {
    keys_.push_back(key);
    compare(before, after);
    keys_.pop_back();
  }

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
    differences_.push_back({joinPath(keys_), before, after});
  }

  void compareDictionaries(const formats::Dictionary& before, const formats::Dictionary& after) {
    std::map<std::string_view, const formats::Value*> rest;
    for (const formats::Member& member : after) {
      rest.emplace(member.key, &member.value);
    }
    for (const formats::Member& member : before) {
      const auto found = rest.find(member.key);
      compareAt(member.key, &member.value, found == rest.end() ? nullptr : found->second);
      if (found != rest.end()) {
        rest.erase(found);
      }
    }
    for (const formats::Member& member : after) {
      if (rest.contains(member.key)) {
        compareAt(member.key, nullptr, &member.value);
      }
    }
  }

  void compareArrays(const formats::Array& before, const formats::Array& after) {
    for (std::size_t i = 0; i < std::max(before.size(), after.size()); ++i) {
      compareAt(std::to_string(i), i < before.size() ? &before[i] : nullptr, i < after.size() ? &after[i] : nullptr);
    }
  }

  Keys keys_;
  std::vector<Difference> differences_;
};

} // namespace

std::vector<Difference> compareValues(const formats::Value& before, const formats::Value& after) {
  return Comparison().run(before, after);
}

} // namespace vel::stat
