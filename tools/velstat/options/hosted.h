// The device model and the bundle of a session: those that the command line names, or those that ship with velstat.
#pragma once

#include <host/bundle.h>
#include <host/model/device_model.h>

#include <string>
#include <string_view>
#include <vector>

namespace vel::stat {

// An empty name chooses the one that ships with velstat. Both throw Error.
host::DeviceModel readModel(const std::string& named);
host::Bundle loadBundle(const std::string& named);

// The text of the model that ships with velstat.
std::string_view builtInModel();

// The file of a model: that of the shipped model of this name, if no file of this name exists; otherwise the file
// itself.
std::string modelFile(const std::string& named);

// The names of the models that are installed with this command, which --model takes too. None if they are not
// installed.
std::vector<std::string> shippedModels();

// The model's name in messages.
std::string modelName(const std::string& named);

} // namespace vel::stat
