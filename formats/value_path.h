// Places in a tree as text: "last button press/click 1/button down ts". A segment is a key of a dictionary, or a number
// from 0 in an array; in keys, a backslash precedes "/" and "\".
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace vel::formats {

// The path of the current value in a walk through a tree.
class ValuePath {
public:
  void push(std::string_view key);
  void pop();
  // The current path; empty for the whole tree. [borrowed: until the next change]
  std::string_view text() const { return text_; }

private:
  std::string text_;
  std::vector<std::size_t> lengths_; // of the text before each key was added
};

} // namespace vel::formats
