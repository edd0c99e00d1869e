// From the engine into a stream: one block, one write, no formatting by the stream.
#pragma once

#include "engine.h"
#include "profile/VelProfileReport.h"
#include "profile/render.h"

#include <memory>
#include <sstream>

namespace vel::profile {

inline const unsigned char* bytes_of(const _VelProfileReport& report) {
  return reinterpret_cast<const unsigned char*>(&report);
}

// Calls write(p), which returns the end of what it wrote, with room for a text and `given` bytes of names that come
// from an override and may be of any length. The block goes out unformatted: a width left on the stream is none of its
// business.
template <class Write>
void write_block(std::stringstream& out, std::size_t given, Write write) {
  char ample[text_capacity];
  std::unique_ptr<char[]> larger;
  char* block = ample;
  if (given > ample_names) {
    larger.reset(new char[text_capacity + given]);
    block = larger.get();
  }
  out.write(block, write(block) - block);
}

} // namespace vel::profile
