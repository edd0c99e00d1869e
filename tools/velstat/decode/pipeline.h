// Reads, renders and writes on all cores at once, and keeps the order.
#pragma once

#include <sources/output_buffer.h>

#include <cstddef>
#include <functional>
#include <memory>
#include <string_view>
#include <vector>

namespace vel::stat {

// The records of one turn, and what becomes of them. As large as fits a core's second-level cache together with its
// text, yet large enough for the locks not to matter.
struct Unit {
  static constexpr std::size_t capacity = 512; // records

  std::unique_ptr<unsigned char[]> records;
  std::size_t count = 0;
  sources::OutputBuffer out;
};

struct Stages {
  // Fills the unit's records; false when there are no more. [one thread at a time, in order]
  std::function<bool(Unit&)> read;
  // Makes the function that renders a unit's records into its buffer, which is empty. Called once a thread, before the
  // work begins; what it makes is called by one thread at a time, but many of them at once.
  std::function<std::function<void(Unit&)>()> makeRender;
  // [one thread at a time, in the order of reading]
  std::function<void(std::string_view)> write;
  // The work has failed: a read that waits for its source shall throw, now or when it comes to that. May be empty.
  // [any thread, also while others are in the other stages]
  std::function<void()> cancelRead = {};
};

// Returns when all is written. An exception of a stage ends the work: what was read before is not all written then,
// but what is written is whole and in order. It is thrown again here.
void runInOrder(unsigned jobs, const Stages& stages);

} // namespace vel::stat
