// What a log says between its records: sequence numbers that are missing, restarts, and clocks that went back.
#pragma once

#include <sources/brief_renderer.h>
#include <sources/source.h>

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace vel::stat {

// Collects from all records that are read, so that filters do not hide gaps. [one thread at a time]
class Notes {
public:
  // `width`: the most columns that a note may have; 0: no limit.
  explicit Notes(std::size_t width) : width_(width) {}

  // A record that was read, whether it is shown or not.
  void addRead(const sources::Details& details, const std::vector<sources::Run>& runs);
  // Called when a record is shown: moves the collected notes to `notes`, to be shown before record `index`.
  void moveTo(std::vector<sources::Note>& notes, std::size_t index);

private:
  void add(std::string text, const std::string& log, bool isRestart);

  std::size_t width_;
  std::uint32_t runs_ = 0;
  std::uint64_t missing_ = 0;
  std::string missingIn_; // the log that lacks them; empty if there are several
  std::vector<sources::Note> pending_;
};

} // namespace vel::stat
