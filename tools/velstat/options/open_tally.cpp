// Opens and closes the process's store.
#include "velstat/options/open_tally.h"

#include <velstat/text/error.h>

#include <stdexcept>

namespace vel::stat {

OpenTally::OpenTally(const std::filesystem::path& path) : path_(path) {
  try {
    control::openTallyStore(path);
  } catch (const std::runtime_error& error) {
    throw Error(error.what());
  }
  control::keepTallyInMemory(false);
}

OpenTally::~OpenTally() {
  control::closeTallyStore();
  control::keepTallyInMemory(true);
}

std::vector<control::TallyRow> OpenTally::closeAndRead() {
  control::closeTallyStore();
  try {
    return control::readTallyStore(path_);
  } catch (const std::runtime_error& error) {
    throw Error(error.what());
  }
}

} // namespace vel::stat
