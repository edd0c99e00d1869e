// A file that appears only when it is complete: it is written under a temporary name in the same folder, then renamed.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace vel::formats {

// Every failure throws Error with the final path and the cause. [one thread at a time]
class NewFile {
public:
  // Refuses a path that names something other than a regular file, such as a device, which would be replaced.
  explicit NewFile(std::filesystem::path file);
  // Removes what was written unless keep() was called.
  ~NewFile();
  NewFile(const NewFile&) = delete;
  NewFile& operator=(const NewFile&) = delete;

  // The temporary path, for libraries that open files themselves.
  const std::string& path() const { return path_; }
  void write(std::string_view bytes);
  // Renames the file to its final name, replacing a file of that name.
  void keep();

private:
  std::filesystem::path file_;
  std::string path_;
  int descriptor_ = -1;
  bool kept_ = false;
};

} // namespace vel::formats
