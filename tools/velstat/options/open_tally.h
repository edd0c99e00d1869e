// The analytics store of this process, open while something may be published.
#pragma once

#include <control/tally.h>

#include <filesystem>
#include <vector>

namespace vel::stat {

// Opens the file, creating it if needed; published values go there and are not kept in memory. Throws Error.
class OpenTally {
public:
  explicit OpenTally(const std::filesystem::path& path);
  ~OpenTally();
  OpenTally(const OpenTally&) = delete;
  OpenTally& operator=(const OpenTally&) = delete;

  // Closes the store and reads what it holds. Throws Error.
  std::vector<control::TallyRow> closeAndRead();

private:
  std::filesystem::path path_;
};

} // namespace vel::stat
