// The folder that `--out` names: it appears whole or not at all.
#pragma once

#include <velstat/text/sink.h>

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace vel::stat {

struct OutputFile {
  std::string name;                 // in the folder; may name folders in it
  std::function<void(Sink&)> write; // its content
};

class OutputFolder {
public:
  // Makes nothing yet. Throws Error for a place where no folder can be made, or where there is anything but an empty
  // folder.
  explicit OutputFolder(const std::filesystem::path& named);

  // Makes the folder. An empty one that exists is replaced, and its permissions, owner, group and extended attributes
  // are kept. Signals that end the process do so when it is whole or nothing is left of it. Throws Error.
  void write(const std::vector<OutputFile>& files) const;
  // The same for files that are made one after another: `fill` hands each to its argument, which may throw to end it.
  using Add = std::function<void(const OutputFile&)>;
  void write(const std::function<void(const Add&)>& fill) const;

private:
  [[noreturn]] void fail(const std::string& reason) const;

  std::filesystem::path named_; // by the user
  std::filesystem::path path_;  // without slashes at its end
};

} // namespace vel::stat
