// The folder that `--out` names: it appears whole or not at all.
#pragma once

#include <velstat/text/sink.h>

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace vel::stat {

struct OutputFile {
  std::string name;                 // relative to the folder; may contain subfolders
  std::function<void(Sink&)> write; // its content
};

class OutputFolder {
public:
  // Creates nothing yet. Throws Error if no folder can be created there, or if something other than an empty folder
  // exists there.
  explicit OutputFolder(const std::filesystem::path& named);

  // Creates the folder. An existing empty folder is replaced, and its permissions, owner, group and extended attributes
  // are kept. A signal ends the process only after the folder is complete or has been removed. Throws Error.
  void write(const std::vector<OutputFile>& files) const;
  // The same for files that are produced one after another: `fill` passes each to its argument, which may throw to stop
  // `fill`.
  using Add = std::function<void(const OutputFile&)>;
  void write(const std::function<void(const Add&)>& fill) const;

private:
  [[noreturn]] void fail(const std::string& reason) const;

  std::filesystem::path named_; // as the user named it
  std::filesystem::path path_;  // without trailing slashes
};

} // namespace vel::stat
