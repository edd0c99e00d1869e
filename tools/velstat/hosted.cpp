#include <default_bundle.h>
#include <default_model.h>
#include <hosted.h>

#include <filesystem>

namespace vel::stat {

host::DeviceModel readModel(const std::string& named) {
  return named.empty() ? host::parseDeviceModel(defaultModel, modelName(named)) : host::readDeviceModel(named);
}

host::Bundle loadBundle(const std::string& named) {
  return host::Bundle::load(named.empty() ? findDefaultBundle() : std::filesystem::path(named));
}

std::string modelName(const std::string& named) {
  return named.empty() ? "(built-in model)" : named;
}

} // namespace vel::stat
