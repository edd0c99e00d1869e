// The records of a folder that `velstat capture --out` has written.
#pragma once

#include <cstddef>
#include <filesystem>
#include <string>
#include <vector>

namespace vel::stat {

struct FolderRecord {
  // Together they say which record of a capture it is. The number in its file's name does not: it counts what was
  // captured before.
  std::string title;
  std::size_t occurrence = 1; // of this title, in the order of the capture

  std::filesystem::path file;
  bool hasHeader = false; // else a property list, and its title is the file's name
};

struct CaptureFolder {
  std::vector<FolderRecord> records; // in the order of the capture
  std::vector<std::string> troubles; // a line for each record that cannot be read; the others are counted without it
};

// Reads every record, but keeps none. Throws Error for what is no such folder.
CaptureFolder readCaptureFolder(const std::filesystem::path& folder);

} // namespace vel::stat
