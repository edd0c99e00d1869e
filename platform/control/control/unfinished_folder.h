// A place for files that are not finished yet: one rename(2) moves the result to its place, so it appears whole or not
// at all.
#pragma once

#include <filesystem>

namespace vel::control {

// A new folder in `parent`, for files that are to appear in `parent` later. It is locked while the object lives; the
// destructor removes it and all that is still in it. A folder without a lock is left from a process that was killed:
// the next UnfinishedFolder in `parent` removes it. [one thread at a time]
class UnfinishedFolder {
public:
  // Throws std::system_error.
  explicit UnfinishedFolder(const std::filesystem::path& parent);
  ~UnfinishedFolder();
  UnfinishedFolder(const UnfinishedFolder&) = delete;
  UnfinishedFolder& operator=(const UnfinishedFolder&) = delete;

  const std::filesystem::path& path() const { return path_; }
  // The permissions that a new folder in `parent` gets. Until it is moved, its owner has all permissions, regardless of
  // the umask.
  std::filesystem::perms permissions() const { return permissions_; }

  // For a result that is the folder itself: gives it the permissions and renames it. An empty folder of the new name is
  // replaced; anything else there is an error. Throws std::system_error.
  void moveTo(const std::filesystem::path& wanted, std::filesystem::perms permissions);

private:
  bool make();
  void open();

  std::filesystem::path path_; // empty once it was moved
  std::filesystem::perms permissions_{};
  int descriptor_ = -1;
};

} // namespace vel::control
