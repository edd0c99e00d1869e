#include "velstat/capture/temporary_folder.h"

#include <velstat/text/error.h>

#include <fmt/format.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <sys/stat.h>
#include <system_error>

namespace vel::stat {

namespace {

namespace fs = std::filesystem;

[[noreturn]] void fail(const fs::path& path, const std::string& reason) {
  throw Error(fmt::format("{}: {}", path.string(), reason));
}

fs::perms currentMask() {
  const mode_t mask = umask(0);
  umask(mask);
  return fs::perms(mask);
}

} // namespace

TemporaryFolder::TemporaryFolder() {
  const char* const chosen = std::getenv("TMPDIR");
  make(fs::path(chosen == nullptr || *chosen == '\0' ? "/tmp" : chosen) / "velstat.XXXXXX");
}

TemporaryFolder::TemporaryFolder(const fs::path& wanted)
    : wanted_(wanted.has_filename() ? wanted : wanted.parent_path()) {
  std::error_code error;
  if (fs::exists(wanted_, error) && !fs::is_directory(wanted_, error)) {
    fail(wanted, "exists and is no folder");
  }
  if (fs::exists(wanted_, error) && !fs::is_empty(wanted_, error)) {
    fail(wanted, "exists and is not empty");
  }
  make(wanted_.string() + ".XXXXXX");
}

void TemporaryFolder::make(const fs::path& pattern) {
  std::string name = pattern.string();
  if (mkdtemp(name.data()) == nullptr) {
    fail(wanted_.empty() ? pattern : wanted_, std::strerror(errno));
  }
  path_ = name;
  watch_.emplace([this] { remove(); });
}

TemporaryFolder::~TemporaryFolder() {
  remove();
}

// While a file is being made in it the folder cannot be removed: then again.
void TemporaryFolder::remove() noexcept {
  std::error_code error;
  for (int attempt = 0; attempt < 10; ++attempt) {
    fs::remove_all(path_, error);
    if (!error) {
      return;
    }
  }
}

void TemporaryFolder::moveToWanted() {
  std::error_code error;
  fs::permissions(path_, fs::perms(0777) & ~currentMask(), error);
  if (error) {
    fail(wanted_, error.message());
  }
  if (std::rename(path_.c_str(), wanted_.c_str()) != 0) {
    fail(wanted_, std::strerror(errno));
  }
}

} // namespace vel::stat
