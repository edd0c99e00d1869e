// Opens and closes the analytics store of this process.
#include "velstat/options/open_tally.h"

#include <velstat/text/error.h>

#include <stdexcept>

namespace vel::stat {

namespace {

template <class Call>
auto withError(Call call) {
  try {
    return call();
  } catch (const std::runtime_error& error) {
    throw Error(error.what());
  }
}

} // namespace

OpenTally::OpenTally() {
  withError([] { control::openTallyStoreInMemory(); });
  control::keepTallyInMemory(false);
}

OpenTally::OpenTally(const std::filesystem::path& path) {
  withError([&] { control::openTallyStore(path); });
  control::keepTallyInMemory(false);
}

OpenTally::~OpenTally() {
  control::closeTallyStore();
  control::keepTallyInMemory(true);
}

std::vector<control::TallyRow> OpenTally::rows() {
  return withError([] { return control::tallyRows(); });
}

std::string OpenTally::image() {
  return withError([] { return control::tallyImage(); });
}

} // namespace vel::stat
