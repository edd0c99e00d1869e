// Two trees, compared by value.
#pragma once

#include <formats/value.h>

#include <string>
#include <vector>

namespace vel::stat {

struct Difference {
  std::string path;
  const formats::Value* before = nullptr; // null for what was added
  const formats::Value* after = nullptr;  // null for what was removed
};

// In the order of `before`, what was added to a dictionary or an array behind the rest of it. The order of keys does
// not matter, that of items does. Numbers of different types differ (1 is not 1.0); a real that is not a number equals
// another. The result points into both trees.
std::vector<Difference> compareValues(const formats::Value& before, const formats::Value& after);

} // namespace vel::stat
