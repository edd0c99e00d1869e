// Blocks that outlive the call that handed them over.
#pragma once

#include <Block.h>

#include <memory>

namespace vel::platform {

// A copy of a block on the heap, released with the last SharedBlock that refers to it.
template <class B>
class SharedBlock {
public:
  explicit SharedBlock(B block)
      : copy_(reinterpret_cast<void*>(Block_copy(block)), [](void* copy) { _Block_release(copy); }) {}

  template <class... Arguments>
  auto operator()(Arguments... arguments) const {
    return reinterpret_cast<B>(copy_.get())(arguments...);
  }

private:
  // Counted here and not by Block_copy, so that the sanitizers see the order between the last call and the release.
  std::shared_ptr<void> copy_;
};

} // namespace vel::platform
