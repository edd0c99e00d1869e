// Copies one folder's attributes to another.
#include "velstat/capture/folder_attributes.h"

#include <velstat/text/error.h>

#include <fmt/format.h>

#include <cerrno>
#include <cstring>
#include <map>
#include <string>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

namespace vel::stat {

namespace {

namespace fs = std::filesystem;

// The complete result of `read`, which reads a list of names or a value and is asked for the size first. Empty if the
// folder has none.
template <class Read>
std::string readAll(Read read) {
  std::string content;
  const ssize_t size = read(nullptr, 0);
  content.resize(size > 0 ? static_cast<std::size_t>(size) : 0);
  const ssize_t got = content.empty() ? 0 : read(content.data(), content.size());
  content.resize(got > 0 ? static_cast<std::size_t>(got) : 0);
  return content;
}

std::map<std::string, std::string> extendedAttributes(const fs::path& path) {
  const std::string names =
      readAll([&](char* buffer, std::size_t size) { return llistxattr(path.c_str(), buffer, size); });
  std::map<std::string, std::string> found;
  for (std::size_t at = 0; at < names.size(); at += std::strlen(&names[at]) + 1) {
    const char* const name = &names[at];
    found[name] = readAll([&](char* buffer, std::size_t size) { return lgetxattr(path.c_str(), name, buffer, size); });
  }
  return found;
}

void require(bool done, const fs::path& from, std::string_view what) {
  if (!done) {
    throw Error(
        fmt::format("{}: its {} cannot be kept ({}): remove it first", from.string(), what, std::strerror(errno)));
  }
}

} // namespace

void takeAttributes(const fs::path& from, const fs::path& to) {
  struct stat wanted {};
  struct stat had {};
  require(lstat(from.c_str(), &wanted) == 0 && lstat(to.c_str(), &had) == 0, from, "permissions");
  const bool sameOwners = wanted.st_uid == had.st_uid && wanted.st_gid == had.st_gid;
  require(sameOwners || lchown(to.c_str(), wanted.st_uid, wanted.st_gid) == 0, from, "owner and group");

  const std::map<std::string, std::string> attributes = extendedAttributes(from);
  std::map<std::string, std::string> others = extendedAttributes(to); // inherited from the folder around it
  for (const auto& [name, value] : attributes) {
    const auto other = others.find(name);
    const bool same = other != others.end() && other->second == value;
    require(same || lsetxattr(to.c_str(), name.c_str(), value.data(), value.size(), 0) == 0, from,
            fmt::format("attribute {}", name));
    others.erase(name);
  }
  for (const auto& [name, value] : others) {
    require(lremovexattr(to.c_str(), name.c_str()) == 0, from, fmt::format("lack of attribute {}", name));
  }
  // Last, because a change of owner clears mode bits, and an access control list sets those of the group.
  require(chmod(to.c_str(), wanted.st_mode | S_IRWXU) == 0, from, "permissions");
}

} // namespace vel::stat
