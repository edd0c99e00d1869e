// The device model and the bundle of a session: those that the command line names, or those that ship with velstat.
#pragma once

#include <host/bundle.h>
#include <host/model/device_model.h>

#include <string>

namespace vel::stat {

// An empty name chooses the one that ships with velstat. Both throw Error.
host::DeviceModel readModel(const std::string& named);
host::Bundle loadBundle(const std::string& named);

// The model's name in messages.
std::string modelName(const std::string& named);

} // namespace vel::stat
