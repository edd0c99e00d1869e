// TallyStore from the outside.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace vel::control {

enum class TallyOp { clearScalar, setScalar, addScalar, clearDistribution, setDistribution, pushDistribution };

struct TallyCall {
  TallyOp op = TallyOp::clearScalar;
  std::string key;
  std::int64_t scalar = 0; // for setScalar and addScalar
  double sample = 0;       // for setDistribution and pushDistribution
};

// The calls since the last clearTally, oldest first. [any thread]
std::vector<TallyCall> tallyCalls();
void clearTally();

} // namespace vel::control
