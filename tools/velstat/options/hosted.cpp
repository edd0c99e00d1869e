// Finds the bundle next to the running command, and the model that is built in.
#include "velstat/options/hosted.h"

#include <velstat/text/error.h>

#include <fmt/format.h>

#include <filesystem>
#include <span>
#include <string>
#include <string_view>
#include <utility>

namespace vel {
// The name and the content of models/default.json.
extern const std::span<const std::pair<std::string_view, std::string_view>> embeddedModels;
} // namespace vel

namespace vel::stat {

namespace {

// The bundle next to the running executable, in a build tree or installed.
std::filesystem::path findDefaultBundle() {
  std::error_code error;
  const std::filesystem::path executable = std::filesystem::read_symlink("/proc/self/exe", error);
  if (error) {
    throw Error("the plug-in is looked for beside this command, whose place is unknown: name it with --plugin");
  }
  const std::filesystem::path bundle =
      executable.parent_path().parent_path() / VELSTAT_LIBRARY_FOLDER / "TavikVELHIDStatistics.plugin";
  if (!std::filesystem::exists(bundle, error)) {
    throw Error(fmt::format("no plug-in beside this command ({}): name one with --plugin", bundle.string()));
  }
  return bundle;
}

} // namespace

std::string_view builtInModel() {
  return embeddedModels[0].second;
}

host::DeviceModel readModel(const std::string& named) {
  return named.empty() ? host::parseDeviceModel(builtInModel(), modelName(named)) : host::readDeviceModel(named);
}

host::Bundle loadBundle(const std::string& named) {
  return host::Bundle::load(named.empty() ? findDefaultBundle() : std::filesystem::path(named));
}

std::string modelName(const std::string& named) {
  return named.empty() ? "(built-in model)" : named;
}

} // namespace vel::stat
