// Any bytes as a damaged file of records: the search takes every byte once, ends, and finds the same records for any
// size of the window through which it sees the file.
#include <sources/recovery.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <vector>

namespace {

using namespace vel::sources;

void require(bool holds, const char* what, std::size_t at) {
  if (!holds) {
    std::fprintf(stderr, "%s at %zu\n", what, at);
    std::abort();
  }
}

// Where records begin, in a file that is seen through a window of at most `most` bytes.
std::vector<std::size_t> find(std::span<const unsigned char> file, std::size_t most) {
  std::vector<std::size_t> found;
  RecordFinder finder;
  bool moved = true;
  for (std::size_t at = 0; at < file.size();) {
    const std::size_t size = std::min(most, file.size() - at);
    // A separate allocation, so that AddressSanitizer sees a read beyond the window.
    const std::unique_ptr<unsigned char[]> window(new unsigned char[size]);
    std::copy_n(file.begin() + static_cast<std::ptrdiff_t>(at), size, window.get());
    const RecordFinder::Step step = finder.next({window.get(), size}, at + size == file.size());
    if (step.record) {
      found.push_back(at);
    }
    const std::size_t taken = (step.record ? recordSize : 0) + step.skipped;
    require(taken <= size, "takes more than there is", at);
    require(taken != 0 || moved, "does not come forward", at); // one step may only find that the front is a record
    moved = taken != 0;
    at += taken;
  }
  return found;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  constexpr std::size_t longest = 1 << 14; // each step copies its window
  const std::span<const unsigned char> file(data, std::min(size, longest));
  const std::vector<std::size_t> expected = find(file, file.size());
  for (const std::size_t most : {RecordFinder::viewSize, RecordFinder::viewSize + 1, 2 * RecordFinder::viewSize}) {
    const std::vector<std::size_t> found = find(file, most);
    const auto [there, here] = std::mismatch(expected.begin(), expected.end(), found.begin(), found.end());
    require(there == expected.end() && here == found.end(), "depends on the window",
            there == expected.end() ? 0 : *there);
  }
  return 0;
}
