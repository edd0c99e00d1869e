// The device model that is built in: models/default.json.
#pragma once

#include <string_view>

namespace vel::stat {

extern const std::string_view defaultModel;

} // namespace vel::stat
