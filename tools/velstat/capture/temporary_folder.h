// A folder that is gone again at the end of its scope, or of the process when a signal ends it, unless it was moved to
// where it is wanted.
#pragma once

#include <velstat/capture/ending_signals.h>

#include <filesystem>
#include <optional>

namespace vel::stat {

// Made before other threads, for the signals' sake.
class TemporaryFolder {
public:
  // In the system's place for temporary files.
  TemporaryFolder();
  // Beside `wanted`, so that it can be moved there. Throws Error, naming `wanted`, also when something stands
  // there already that is no empty folder.
  explicit TemporaryFolder(const std::filesystem::path& wanted);
  ~TemporaryFolder();
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  const std::filesystem::path& path() const { return path_; }
  // To the wanted place, with the permissions that a new folder has. Throws Error.
  void moveToWanted();

private:
  void make(const std::filesystem::path& pattern);
  void remove() noexcept;

  std::filesystem::path wanted_;
  std::filesystem::path path_;
  std::optional<EndingSignals> watch_; // of the signals, as long as there is a folder
};

} // namespace vel::stat
