// The bytes of one file or pipe. [one thread at a time]
#pragma once

#include <sources/complaints.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace vel::sources {

// Enlarges a pipe's buffer, for fewer system calls and fewer switches between reader and writer. Ignores other files.
void enlargePipe(int descriptor) noexcept;

// The reader of the watched output has closed it, so reading on is pointless.
class OutputClosed : public std::runtime_error {
public:
  OutputClosed() : std::runtime_error("the reader of the output has closed it") {}
};

// Cancels the waiting reads of all inputs that share it.
class Cancellation {
public:
  Cancellation();
  ~Cancellation();
  Cancellation(const Cancellation&) = delete;
  Cancellation& operator=(const Cancellation&) = delete;

  // Makes waiting reads of pipes, and all later reads of pipes, throw std::runtime_error. [any thread]
  void cancel() noexcept;
  int descriptor() const noexcept { return event_; }

private:
  const int event_; // -1 if there was no free descriptor: waiting reads then end only with their source
};

class Input {
public:
  // With a watched output, reads throw OutputClosed once its reader has closed it, even while no input arrives. The
  // referenced objects must outlive this one.
  Input(Complaints& complaints, const Cancellation& cancellation, int watchedOutput = -1)
      : complaints_(complaints), cancellation_(cancellation), watchedOutput_(watchedOutput) {}
  ~Input() { close(); }
  Input(const Input&) = delete;
  Input& operator=(const Input&) = delete;

  // Opens a file; "-" is standard input. Returns false, with a complaint, for a folder or a file that cannot be opened.
  // Messages show `shownName` if it is not empty.
  bool open(const std::string& name, const std::string& shownName = {});

  // The next bytes, without consuming them. Waits until there are `least`, or the file ends.
  // [borrowed: until the next call]
  std::string_view peek(std::size_t least);
  // Waits for input, then takes what is available, up to `size` bytes, so that records of a slow source appear as they
  // arrive. Returns 0 at the end of the file, and after a failure, which is reported once.
  std::size_t read(unsigned char* out, std::size_t size);

  // Whether reading has failed. The missing rest is then not to be reported as damage in the file.
  bool hasFailed() const noexcept { return failed_; }
  // The bytes of a regular file from the current position to the end that it had when opened; none for pipes.
  std::optional<std::uint64_t> regularSize() const noexcept {
    return isRegular_ ? std::optional(expectedSize_) : std::nullopt;
  }
  // The file's name in messages.
  const std::string& name() const noexcept { return shownName_; }
  std::uint64_t bytesRead() const noexcept { return bytesRead_; }

private:
  void close() noexcept;
  bool wait(int milliseconds) const;
  std::size_t readFile(unsigned char* out, std::size_t size);
  void checkSize();

  Complaints& complaints_;
  const Cancellation& cancellation_;
  const int watchedOutput_;
  std::string shownName_;
  int descriptor_ = -1;
  bool mayWait_ = false; // the file is a pipe, a terminal or similar
  bool failed_ = false;
  bool isRegular_ = false;
  std::uint64_t expectedSize_ = 0; // of a regular file, when it was opened
  std::uint64_t bytesRead_ = 0;
  std::vector<unsigned char> ahead_; // read by peek
  std::size_t aheadTaken_ = 0;       // how many of them read() has returned
};

} // namespace vel::sources
