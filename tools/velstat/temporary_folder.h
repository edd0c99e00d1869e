// A folder that is gone again at the end of its scope, unless it was moved to where it is wanted.
#pragma once

#include <filesystem>

namespace vel::stat {

class TemporaryFolder {
public:
  // In the system's place for temporary files.
  TemporaryFolder();
  // Beside `wanted`, so that it can be moved there. Throws host::Error, naming `wanted`, also when something stands
  // there already that is no empty folder.
  explicit TemporaryFolder(const std::filesystem::path& wanted);
  ~TemporaryFolder();
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  const std::filesystem::path& path() const { return path_; }
  // To the wanted place, with the permissions that a new folder has. Throws host::Error.
  void moveToWanted();

private:
  void make(std::filesystem::path pattern);

  std::filesystem::path wanted_;
  std::filesystem::path path_;
};

} // namespace vel::stat
