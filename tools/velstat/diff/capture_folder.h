// The records of a folder written by `velstat capture --out`.
#pragma once

#include <cstddef>
#include <filesystem>
#include <string>
#include <vector>

namespace vel::stat {

struct FolderRecord {
  // Together they identify a record of a capture. The number in its file's name does not: it depends on the records
  // before it.
  std::string title;
  std::size_t occurrence = 1; // of this title, in the order of the capture

  std::filesystem::path file;
  bool hasHeader = false; // else a property list, and its title is the file's name
};

struct CaptureFolder {
  std::vector<FolderRecord> records; // in the order of the capture
  std::vector<std::string>
      troubles; // a line for each record that cannot be read; such records do not count as occurrences
};

// Reads every record, but keeps none. Throws Error if it is not such a folder.
CaptureFolder readCaptureFolder(const std::filesystem::path& folder);

} // namespace vel::stat
