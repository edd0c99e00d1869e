// The candidates for the value of an option or argument.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace vel::stat {

enum class Paths { none, files, folders };

struct Candidate {
  std::string text;
  std::string description;
};

struct Values {
  Paths paths = Paths::none;
  std::vector<Candidate> candidates;
};

// The candidates for a value that --help calls "FILE" or "EVENT", for example. There are none for an unknown name.
Values valuesOf(std::string_view value);

} // namespace vel::stat
