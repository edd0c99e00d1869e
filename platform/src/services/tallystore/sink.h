// Where TallyStore's operations go.
#pragma once

#include <control/tally.h>

#include <memory>

namespace vel::platform {

class TallySink {
public:
  virtual ~TallySink() = default;
  // Takes one operation. [any thread]
  virtual void take(const control::TallyCall& call) = 0;
};

// Sends every operation to `sink` as well as to the memory behind control::tallyCalls; null: to that memory only.
// Returns after the last operation that the earlier sink was given. [any thread]
void setTallySink(std::shared_ptr<TallySink> sink);

} // namespace vel::platform
