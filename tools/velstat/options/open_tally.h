// The analytics store of this process, open while something may be published.
#pragma once

#include <control/tally.h>

#include <filesystem>
#include <string>
#include <vector>

namespace vel::stat {

// Published values go into the store; the operations themselves are not kept.
class OpenTally {
public:
  // In memory. Throws Error.
  OpenTally();
  // Opens the file, creating it if needed. Throws Error.
  explicit OpenTally(const std::filesystem::path& path);
  ~OpenTally();
  OpenTally(const OpenTally&) = delete;
  OpenTally& operator=(const OpenTally&) = delete;

  // What the store holds. Throws Error.
  static std::vector<control::TallyRow> rows();
  // The content that a store in memory would have as a file. Throws Error.
  static std::string image();
};

} // namespace vel::stat
