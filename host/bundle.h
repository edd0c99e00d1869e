// A plug-in bundle: a folder with a shared object and a property list, which maps plug-in types to factories and
// factories to symbols.
#pragma once

#include <CoreFoundation/CoreFoundation.h>

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace vel::host {

// A loaded bundle that has a factory for the session-filter type. Nothing that came from it may be used after it is
// unloaded or the object is destroyed.
class Bundle {
public:
  using Factory = void* (*)(CFAllocatorRef allocator, CFUUIDRef type);

  // Throws Error, which names the file and what is wrong with it.
  static Bundle load(const std::filesystem::path& path);

  const std::filesystem::path& path() const { return path_; }
  // The files that were read: the property list, and the shared object, which stays mapped.
  const std::vector<std::filesystem::path>& files() const { return files_; }
  const std::string& identifier() const { return identifier_; } // may be empty
  const std::string& factoryID() const { return factoryID_; }   // as a UUID in capitals
  const std::string& factoryName() const { return factoryName_; }
  Factory factory() const { return factory_; }

  void unload() { handle_.reset(); }
  // For a bundle whose objects outlive the session: its code stays in memory until the process ends.
  void keepLoaded();
  bool isUnloaded() const { return handle_ == nullptr && !kept_; }

private:
  struct Unload {
    void operator()(void* handle) const;
  };
  Bundle() = default;

  std::filesystem::path path_;
  std::vector<std::filesystem::path> files_;
  std::string identifier_;
  std::string factoryID_;
  std::string factoryName_;
  std::unique_ptr<void, Unload> handle_;
  Factory factory_ = nullptr;
  bool kept_ = false;
};

} // namespace vel::host
