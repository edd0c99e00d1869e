// Compares two trees by value.
#pragma once

#include <formats/value.h>

#include <functional>
#include <optional>
#include <string_view>

namespace vel::stat {

// `before` is null for an added value, `after` for a removed one.
using TakeDifference =
    std::function<void(std::string_view path, const formats::Value* before, const formats::Value* after)>;

// Calls `take` with each difference, in the order of `before`; values added to a dictionary or an array come after the
// rest of it. The order of keys does not matter, that of items does. Numbers of different types differ (1 is not 1.0);
// NaN equals NaN. With `key`, all paths begin with it.
void compareValues(const formats::Value& before, const formats::Value& after, const TakeDifference& take,
                   std::optional<std::string_view> key = {});

} // namespace vel::stat
