// Exact values first, then buckets that grow by 2 %, and the packed form of both.
#include "services/tallystore/histogram.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace vel::platform {
namespace {

// The upper end of a bucket divided by that of the bucket below. With this g, the point 2g/(1+g) of a bucket from 1 to
// g is 1 % away from either end.
constexpr double kGrowth = 1.01 / 0.99;
const double kLogGrowth = std::log(kGrowth);

// Buckets are numbered in the order of their values: 0 holds the zeros, those of positive samples lie around kOne,
// those of negative ones around -kOne. The smallest positive double is 37,222 buckets below 1, kLargest 16,118 above.
constexpr std::int32_t kOne = 40'000;
constexpr std::int32_t kLast = kOne + 17'000;
constexpr std::int32_t kFirst = kOne - 38'000;

std::int32_t bucketOf(double sample) {
  if (sample == 0) {
    return 0;
  }
  const auto number = kOne + static_cast<std::int32_t>(std::ceil(std::log(std::fabs(sample)) / kLogGrowth));
  return sample < 0 ? -number : number;
}

double middleOf(std::int32_t bucket) {
  if (bucket == 0) {
    return 0;
  }
  const double value = std::exp((std::abs(bucket) - kOne) * kLogGrowth) * 2 / (1 + kGrowth);
  return bucket < 0 ? -value : value;
}

} // namespace

template <class Key>
void Histogram::add(Slots<Key>& slots, Key key, std::uint64_t weight) {
  const auto slot = std::lower_bound(slots.begin(), slots.end(), key,
                                     [](const Slot<Key>& slot, Key other) { return slot.key < other; });
  if (slot != slots.end() && slot->key == key) {
    slot->weight += weight;
  } else {
    slots.insert(slot, {key, weight});
  }
}

void Histogram::add(double sample, std::uint64_t weight) {
  count_ += weight;
  if (exact_) {
    add(values_, sample, weight);
    if (values_.size() > kMostValues) {
      growCoarse();
    }
  } else {
    add(buckets_, bucketOf(sample), weight);
  }
}

void Histogram::growCoarse() {
  for (const auto& value : values_) {
    add(buckets_, bucketOf(value.key), value.weight);
  }
  values_.clear();
  exact_ = false;
}

template <class Key>
Key Histogram::at(const Slots<Key>& slots, std::uint64_t rank) {
  auto slot = slots.begin();
  for (; slot + 1 != slots.end() && slot->weight < rank; ++slot) {
    rank -= slot->weight;
  }
  return slot->key;
}

double Histogram::percentile(unsigned percent) const {
  const std::uint64_t whole = count_ / 100;
  const std::uint64_t part = count_ % 100;
  const std::uint64_t rank = std::max<std::uint64_t>(1, whole * percent + (part * percent + 99) / 100);
  return exact_ ? at(values_, rank) : middleOf(at(buckets_, rank));
}

void Histogram::pack(Packer& packer) const {
  packer.count(exact_ ? 0 : 1);
  packer.count(values_.size() + buckets_.size()); // one of them is empty
  for (const auto& value : values_) {
    packer.number(value.key);
    packer.count(value.weight);
  }
  std::int32_t previous = -kLast - 1;
  for (const auto& bucket : buckets_) {
    packer.count(static_cast<std::uint64_t>(bucket.key - previous));
    packer.count(bucket.weight);
    previous = bucket.key;
  }
}

void Histogram::countIn(std::uint64_t weight) {
  if (weight == 0 || weight > kMostSamples - count_) {
    throw Unpackable();
  }
  count_ += weight;
}

Histogram Histogram::unpack(Unpacker& unpacker) {
  Histogram histogram;
  histogram.exact_ = unpacker.count() == 0;
  const std::uint64_t slots = unpacker.count();
  if (histogram.exact_ && slots > kMostValues) {
    throw Unpackable();
  }
  std::int64_t previous = -kLast - 1;
  for (std::uint64_t i = 0; i < slots; ++i) { // ends with the bytes, even if the count claims more
    if (histogram.exact_) {
      const double value = unpacker.number();
      auto& values = histogram.values_;
      if (!(std::fabs(value) <= kLargest) || (!values.empty() && !(values.back().key < value))) {
        throw Unpackable();
      }
      values.push_back({value, unpacker.count()});
      histogram.countIn(values.back().weight);
    } else {
      const std::uint64_t step = unpacker.count();
      if (step == 0 || step > static_cast<std::uint64_t>(kLast - previous)) {
        throw Unpackable();
      }
      previous += static_cast<std::int64_t>(step);
      if (previous != 0 && std::abs(previous) < kFirst) {
        throw Unpackable();
      }
      auto& buckets = histogram.buckets_;
      buckets.push_back({static_cast<std::int32_t>(previous), unpacker.count()});
      histogram.countIn(buckets.back().weight);
    }
  }
  return histogram;
}

} // namespace vel::platform
