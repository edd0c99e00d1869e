// Reads Info.plist, loads the executable and finds the factory, with an error line for each step.
#include "host/bundle.h"

#include <control/cf.h>
#include <control/ref.h>
#include <formats/files.h>
#include <formats/property_list.h>
#include <host/error.h>

#include <IOKit/hid/IOHIDSessionFilterPlugIn.h>

#include <fmt/format.h>

#include <algorithm>
#include <dlfcn.h>
#include <string_view>

namespace vel::host {

namespace {

constexpr std::size_t propertyListLimit = 1 << 20;

std::string capitals(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) { return std::toupper(c); });
  return text;
}

// The value under a UUID, ignoring the case of letters in the key.
const formats::Value* findUUID(const formats::Value* map, const std::string& uuid) {
  const auto* members = map == nullptr ? nullptr : map->as<formats::Dictionary>();
  if (members != nullptr) {
    for (const formats::Member& member : *members) {
      if (capitals(member.key) == uuid) {
        return &member.value;
      }
    }
  }
  return nullptr;
}

bool isThere(const std::filesystem::path& path) {
  std::error_code error;
  const bool found = std::filesystem::exists(path, error);
  if (error) {
    throw Error(fmt::format("{}: {}", path.string(), error.message()));
  }
  return found;
}

formats::Value readInfo(const std::filesystem::path& file) {
  if (!isThere(file)) {
    throw Error(fmt::format("{}: no such file: the bundle has no property list", file.string()));
  }
  formats::Value info;
  try {
    info = formats::readPropertyListXML(formats::readFile(file, propertyListLimit));
  } catch (const formats::PropertyListError& error) {
    throw Error(fmt::format("{}: {}", file.string(), error.what()));
  }
  if (info.as<formats::Dictionary>() == nullptr) {
    throw Error(fmt::format("{}: the property list is of type {}, not a dictionary", file.string(), info.typeName()));
  }
  return info;
}

// The first factory that the property list names for the session-filter type.
std::string findFactoryID(const formats::Value& info, const std::string& file) {
  const std::string type = control::uuidString(kIOHIDSessionFilterPlugInTypeID);
  const formats::Value* factories = findUUID(info.find("CFPlugInTypes"), type);
  const auto* list = factories == nullptr ? nullptr : factories->as<formats::Array>();
  if (list == nullptr || list->empty()) {
    throw Error(fmt::format("{}: CFPlugInTypes names no factory for the session-filter type {}", file, type));
  }
  const auto* id = list->front().as<std::string>();
  if (id == nullptr) {
    throw Error(fmt::format("{}: the factory of type {} in CFPlugInTypes is of type {}, not a string", file, type,
                            list->front().typeName()));
  }
  const auto uuid = control::Ref<CFUUIDRef>::adopt(control::createUUID(*id));
  if (!uuid) {
    throw Error(fmt::format("{}: the factory \"{}\" in CFPlugInTypes is not a UUID", file, *id));
  }
  return control::uuidString(uuid.get());
}

std::string findString(const formats::Value* value, const std::string& file, std::string_view what) {
  const auto* text = value == nullptr ? nullptr : value->as<std::string>();
  if (text == nullptr || text->empty()) {
    throw Error(fmt::format("{}: {}", file, what));
  }
  return *text;
}

// The loader's message, without the path at its beginning.
std::string loaderError(const std::filesystem::path& file) {
  const char* text = dlerror();
  std::string_view cause = text == nullptr ? "unknown cause" : text;
  const std::string prefix = file.string() + ": ";
  if (cause.starts_with(prefix)) {
    cause.remove_prefix(prefix.size());
  }
  return std::string(cause);
}

} // namespace

void Bundle::Unload::operator()(void* handle) const {
  dlclose(handle);
}

void Bundle::keepLoaded() {
  kept_ = true;
  static_cast<void>(handle_.release());
}

Bundle Bundle::load(const std::filesystem::path& path) {
  if (!isThere(path)) {
    throw Error(fmt::format("{}: no such file or directory", path.string()));
  }
  std::error_code error;
  if (!std::filesystem::is_directory(path, error)) {
    throw Error(fmt::format("{}: not a bundle: a bundle is a folder, this is a file", path.string()));
  }
  const std::filesystem::path infoFile = path / "Info.plist";
  const formats::Value info = readInfo(infoFile);
  const std::string file = infoFile.string();

  Bundle bundle;
  bundle.path_ = path;
  if (const formats::Value* identifier = info.find("CFBundleIdentifier");
      identifier != nullptr && identifier->as<std::string>() != nullptr) {
    bundle.identifier_ = *identifier->as<std::string>();
  }
  bundle.factoryID_ = findFactoryID(info, file);
  bundle.factoryName_ =
      findString(findUUID(info.find("CFPlugInFactories"), bundle.factoryID_), file,
                 fmt::format("CFPlugInFactories names no function for the factory {}", bundle.factoryID_));
  const std::string executable =
      findString(info.find("CFBundleExecutable"), file, "CFBundleExecutable names no executable");
  if (executable.find('/') != std::string::npos) {
    throw Error(
        fmt::format("{}: CFBundleExecutable is \"{}\", not the name of a file in the bundle", file, executable));
  }

  // The path must contain a slash: for a plain name, the loader would search its own folders.
  const std::filesystem::path binary = std::filesystem::absolute(path / executable, error);
  if (error) {
    throw Error(fmt::format("{}: {}", (path / executable).string(), error.message()));
  }
  if (!isThere(path / executable)) {
    throw Error(fmt::format("{}: no such file: the bundle's executable is missing", (path / executable).string()));
  }
  bundle.handle_.reset(dlopen(binary.c_str(), RTLD_NOW | RTLD_LOCAL));
  if (bundle.handle_ == nullptr) {
    throw Error(fmt::format("{}: cannot be loaded: {}", (path / executable).string(), loaderError(binary)));
  }
  bundle.files_ = {infoFile, path / executable};
  void* const symbol = dlsym(bundle.handle_.get(), bundle.factoryName_.c_str());
  if (symbol == nullptr) {
    throw Error(fmt::format("{}: has no function {}, which Info.plist names as its factory",
                            (path / executable).string(), bundle.factoryName_));
  }
  bundle.factory_ = reinterpret_cast<Factory>(symbol);
  return bundle;
}

} // namespace vel::host
