// The device model and the bundle of a session: those that the command line names, or those that ship with velstat.
#pragma once

#include <host/bundle.h>
#include <host/model/device_model.h>

#include <string>
#include <string_view>

namespace vel::stat {

// An empty name chooses the one that ships with velstat. Both throw Error.
host::DeviceModel readModel(const std::string& named);
host::Bundle loadBundle(const std::string& named);

// The text of the model that ships with velstat.
std::string_view builtInModel();

// The model's name in messages.
std::string modelName(const std::string& named);

} // namespace vel::stat
