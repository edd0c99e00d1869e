// Finds the bundle and the models next to the running command, and reads the built-in model.
#include "velstat/options/hosted.h"

#include <velstat/text/error.h>

#include <fmt/format.h>

#include <algorithm>
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

namespace fs = std::filesystem;

// The parent of the folder of the running executable, in a build tree or as installed; empty if it is unknown.
fs::path prefix() {
  std::error_code error;
  return fs::read_symlink("/proc/self/exe", error).parent_path().parent_path();
}

constexpr const char* modelSuffix = ".json"; // ".schema.json" describes models

fs::path modelFolder() {
  return prefix() / VELSTAT_DATA_FOLDER / "velstat/models";
}

fs::path findDefaultBundle() {
  if (prefix().empty()) {
    throw Error("the plug-in is looked for beside this command, whose place is unknown: name it with --plugin");
  }
  const fs::path bundle = prefix() / VELSTAT_LIBRARY_FOLDER / "TavikVELHIDStatistics.plugin";
  std::error_code error;
  if (!fs::exists(bundle, error)) {
    throw Error(fmt::format("no plug-in beside this command ({}): name one with --plugin", bundle.string()));
  }
  return bundle;
}

} // namespace

std::string_view builtInModel() {
  return embeddedModels[0].second;
}

host::DeviceModel readModel(const std::string& named) {
  return named.empty() ? host::parseDeviceModel(builtInModel(), modelName(named))
                       : host::readDeviceModel(modelFile(named));
}

host::Bundle loadBundle(const std::string& named) {
  return host::Bundle::load(named.empty() ? findDefaultBundle() : fs::path(named));
}

std::string modelFile(const std::string& named) {
  std::error_code error;
  if (named.find('/') == std::string::npos && !fs::exists(named, error)) {
    for (const std::string& name : shippedModels()) {
      if (name == named) {
        return modelFolder() / (name + modelSuffix);
      }
    }
  }
  return named;
}

std::vector<std::string> shippedModels() {
  std::vector<std::string> names;
  std::error_code error; // the folder may not exist
  for (const fs::directory_entry& entry : fs::directory_iterator(modelFolder(), error)) {
    if (const fs::path file = entry.path().filename();
        file.extension() == modelSuffix && file.stem().extension().empty()) {
      names.push_back(file.stem().string());
    }
  }
  std::sort(names.begin(), names.end());
  return names;
}

std::string modelName(const std::string& named) {
  return named.empty() ? "(built-in model)" : named;
}

} // namespace vel::stat
