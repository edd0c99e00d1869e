// The bytes of several files, one after the other. [one thread at a time]
#pragma once

#include <velstat/decode/complaints.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace vel::stat {

// Fewer, longer turns for both ends. Does nothing to other files.
void enlargePipe(int descriptor) noexcept;

class Input {
public:
  enum class Output { none, standard };

  // "-" names the standard input. With Output::standard, ReaderGone is thrown once nobody reads the standard output any
  // more, even while nothing comes in. `complaints` outlives the object.
  Input(std::vector<std::string> names, Complaints& complaints, Output output = Output::none);
  ~Input();
  Input(const Input&) = delete;
  Input& operator=(const Input&) = delete;

  // Opens the next file that can be opened and complains about those that cannot; false when none is left.
  bool nextFile();

  // Reads from the open file. Waits until there is something, then takes what there is, up to `size` bytes: records of
  // a slow source appear as they come. 0 at the file's end, and after a failure, of which it complains once.
  std::size_t read(unsigned char* out, std::size_t size);
  // Whether the open file has failed: what is missing then was not missing in the file.
  bool hasFailed() const noexcept { return failed_; }

  // Whoever waits for a pipe or the like waits no longer: that read throws, and so do all later ones. [any thread]
  void cancel() noexcept;

  // As messages name the open file.
  const std::string& name() const noexcept { return shownName_; }
  std::uint64_t bytesRead() const noexcept { return bytesRead_; } // of all files
  // Of all files together; 0 if one of them has no size, such as a pipe.
  std::uint64_t totalSize() const noexcept;

private:
  void closeFile() noexcept;
  bool wait(int milliseconds) const;

  std::vector<std::string> names_;
  Complaints& complaints_;
  std::string shownName_;
  std::size_t next_ = 0;
  const Output output_;
  const int cancelled_; // readable once cancel() has been called
  int descriptor_ = -1;
  bool mayWait_ = false; // the open file is a pipe, a terminal or the like
  bool failed_ = false;
  std::uint64_t bytesRead_ = 0;
};

} // namespace vel::stat
