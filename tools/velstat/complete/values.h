// What can be offered for the value of an option or argument.
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

// By what --help calls the value, such as "FILE" or "EVENT". Nothing is offered for an unknown one.
Values valuesOf(std::string_view value);

} // namespace vel::stat
