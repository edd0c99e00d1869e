// What must hold for every input of a fuzz target. Otherwise the run ends, and the fuzzer keeps the input.
#pragma once

#include <cstdio>
#include <cstdlib>

namespace vel::fuzz {

inline void require(bool holds, const char* what = "a requirement does not hold") {
  if (!holds) {
    std::fprintf(stderr, "%s\n", what);
    std::abort();
  }
}

} // namespace vel::fuzz
