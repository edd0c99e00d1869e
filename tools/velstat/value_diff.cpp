#include <value_diff.h>
#include <value_path.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <string_view>

namespace vel::stat {

namespace {

// Of values that are not both dictionaries or both arrays.
bool sameLeaf(const host::Value& before, const host::Value& after) {
  const auto* one = before.as<double>();
  const auto* other = after.as<double>();
  return (one != nullptr && other != nullptr && std::isnan(*one) && std::isnan(*other)) || before == after;
}

class Comparison {
public:
  std::vector<Difference> run(const host::Value& before, const host::Value& after) {
    compare(&before, &after);
    return std::move(differences_);
  }

private:
  void compareAt(const std::string& key, const host::Value* before, const host::Value* after) {
    keys_.push_back(key);
    compare(before, after);
    keys_.pop_back();
  }

  void compare(const host::Value* before, const host::Value* after) {
    if (before != nullptr && after != nullptr) {
      const auto* dictionary = before->as<host::Dictionary>();
      const auto* otherDictionary = after->as<host::Dictionary>();
      if (dictionary != nullptr && otherDictionary != nullptr) {
        return compareDictionaries(*dictionary, *otherDictionary);
      }
      const auto* array = before->as<host::Array>();
      const auto* otherArray = after->as<host::Array>();
      if (array != nullptr && otherArray != nullptr) {
        return compareArrays(*array, *otherArray);
      }
      if (sameLeaf(*before, *after)) {
        return;
      }
    }
    differences_.push_back({joinPath(keys_), before, after});
  }

  void compareDictionaries(const host::Dictionary& before, const host::Dictionary& after) {
    std::map<std::string_view, const host::Value*> rest;
    for (const host::Member& member : after) {
      rest.emplace(member.key, &member.value);
    }
    for (const host::Member& member : before) {
      const auto found = rest.find(member.key);
      compareAt(member.key, &member.value, found == rest.end() ? nullptr : found->second);
      if (found != rest.end()) {
        rest.erase(found);
      }
    }
    for (const host::Member& member : after) {
      if (rest.contains(member.key)) {
        compareAt(member.key, nullptr, &member.value);
      }
    }
  }

  void compareArrays(const host::Array& before, const host::Array& after) {
    for (std::size_t i = 0; i < std::max(before.size(), after.size()); ++i) {
      compareAt(std::to_string(i), i < before.size() ? &before[i] : nullptr, i < after.size() ? &after[i] : nullptr);
    }
  }

  Keys keys_;
  std::vector<Difference> differences_;
};

} // namespace

std::vector<Difference> compareValues(const host::Value& before, const host::Value& after) {
  return Comparison().run(before, after);
}

} // namespace vel::stat
