// How often each sample occurred, for percentiles: every distinct value while there are few, then counts in buckets.
// Each bucket is 2 % wider than the one below it, so that its middle is within 1 % of every sample in it. Which form is
// used, and its content, depends only on the samples, not on their order or grouping.
#pragma once

#include "services/tallystore/packing.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace vel::platform {

class Histogram {
public:
  static constexpr std::size_t kMostValues = 64;
  // Samples beyond this are ignored: their sums of squares would leave the range of a double.
  static constexpr double kLargest = 1e140;
  // More samples than this are damage, not data; as many again can be added without an overflow.
  static constexpr std::uint64_t kMostSamples = std::uint64_t{1} << 62;

  // `sample` is a finite number up to kLargest, `weight` is not 0.
  void add(double sample, std::uint64_t weight);

  bool exact() const { return exact_; }
  std::uint64_t count() const { return count_; }
  // The smallest sample that at least `percent` % of all samples do not exceed; if not exact, a value within 1 % of it.
  // There must be a sample.
  double percentile(unsigned percent) const;

  void pack(Packer& packer) const;
  // Throws Unpackable.
  static Histogram unpack(Unpacker& unpacker);

private:
  template <class Key>
  struct Slot {
    Key key;
    std::uint64_t weight;
  };
  template <class Key>
  using Slots = std::vector<Slot<Key>>; // sorted by key, each key once

  template <class Key>
  static void add(Slots<Key>& slots, Key key, std::uint64_t weight);
  template <class Key>
  static Key at(const Slots<Key>& slots, std::uint64_t rank);
  void growCoarse();
  void countIn(std::uint64_t weight);

  std::uint64_t count_ = 0;
  bool exact_ = true;
  Slots<double> values_;        // while exact
  Slots<std::int32_t> buckets_; // after that
};

} // namespace vel::platform
