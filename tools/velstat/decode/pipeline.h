// Reads, renders and writes on all cores at once, and keeps the order.
#pragma once

#include <sources/brief_renderer.h>
#include <sources/output_buffer.h>

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

namespace vel::stat {

// A batch of records and its output. Small enough to fit a core's second-level cache with its text, large enough for
// the locks not to matter.
struct Unit {
  static constexpr std::size_t capacity = 512; // records

  std::unique_ptr<unsigned char[]> records;
  std::size_t count = 0;
  std::vector<sources::Note> notes;      // between the records; like `previous`, only for brief lines
  std::optional<std::uint64_t> previous; // the time stamp of the record before these
  sources::OutputBuffer out;
};

struct Stages {
  // Fills the unit's records; false when there are no more. [one thread at a time, in order]
  std::function<bool(Unit&)> read;
  // Makes the function that renders a unit's records into its empty buffer. Called once for each thread, before the
  // work begins; each of the functions is used by one thread.
  std::function<std::function<void(Unit&)>()> makeRender;
  // [one thread at a time, in the order of reading]
  std::function<void(std::string_view)> write;
  // Called when the work has failed: a read that waits for its source, now or later, must throw. May be empty.
  // [any thread, also during the other stages]
  std::function<void()> cancelRead = {};
};

// Returns when everything is written. An exception of a stage ends the work and is rethrown here: not everything read
// before is written then, but the output is in order and ends after a whole unit.
void runInOrder(unsigned jobs, const Stages& stages);

} // namespace vel::stat
