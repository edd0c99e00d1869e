// What a session hosts: the device model and the bundle that the command line names, or those that came with this
// command.
#pragma once

#include <host/bundle.h>
#include <host/model/device_model.h>

#include <string>
#include <string_view>

namespace vel::stat {

// models/default.json, built in.
extern const std::string_view defaultModel;

// An empty name chooses the one that came with the command. Both throw Error.
host::DeviceModel readModel(const std::string& named);
host::Bundle loadBundle(const std::string& named);

// How people know the model.
std::string modelName(const std::string& named);

} // namespace vel::stat
