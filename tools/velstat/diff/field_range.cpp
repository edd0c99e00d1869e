// Counts values in buckets that are a sixteenth of an octave wide.
#include "velstat/diff/field_range.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>

namespace vel::stat {

namespace {

constexpr int droppedBits = 48; // of a double's 64: what is left is sign, exponent and four bits of the fraction

std::int32_t placeOf(double value) {
  const auto place = static_cast<std::int32_t>(std::bit_cast<std::uint64_t>(std::fabs(value)) >> droppedBits);
  return value < 0 ? -place - 1 : place;
}

// The end of a bucket that is nearer to zero; the other one is that of the next bucket.
double nearEnd(std::int32_t place) {
  const auto bits = static_cast<std::uint64_t>(place < 0 ? -(place + 1) : place) << droppedBits;
  const double value = std::bit_cast<double>(bits);
  return place < 0 ? -value : value;
}

bool isNear(double value, std::uint64_t time) {
  constexpr double least = 1e6; // smaller numbers are near the time by chance just after the start
  constexpr double most = 1e7;  // ten seconds
  if (value < least) {
    return false;
  }
  // A field of 32 bits holds only the low bits of a time.
  const auto whole = static_cast<double>(time);
  const auto low = static_cast<double>(static_cast<std::uint32_t>(time));
  return std::fabs(value - whole) <= most || std::fabs(value - low) <= most;
}

} // namespace

void FieldRange::add(double value, std::uint64_t time) {
  min_ = count_ == 0 ? value : std::min(min_, value);
  max_ = count_ == 0 ? value : std::max(max_, value);
  rises_ += count_ != 0 && value > last_ ? 1 : 0;
  falls_ += count_ != 0 && value < last_ ? 1 : 0;
  nearTime_ += isNear(value, time) ? 1 : 0;
  last_ = value;
  ++count_;
  const std::int32_t place = placeOf(value);
  auto bucket = std::lower_bound(buckets_.begin(), buckets_.end(), place,
                                 [](const Bucket& known, std::int32_t wanted) { return known.place < wanted; });
  if (bucket == buckets_.end() || bucket->place != place) {
    bucket = buckets_.insert(bucket, {place, 0});
  }
  bucket->count += bucket->count != std::numeric_limits<std::uint32_t>::max() ? 1 : 0;
}

double FieldRange::percentile(double part) const {
  const auto rank = static_cast<std::uint64_t>(part * static_cast<double>(count_));
  std::uint64_t before = 0;
  for (const Bucket& bucket : buckets_) {
    before += bucket.count;
    if (before > rank) {
      return std::clamp(nearEnd(bucket.place), min_, max_);
    }
  }
  return max_;
}

std::uint64_t FieldRange::outside(double least, double most) const {
  // Buckets that hold an end of the range count as inside.
  std::uint64_t count = 0;
  for (const Bucket& bucket : buckets_) {
    count += bucket.place < placeOf(least) || bucket.place > placeOf(most) ? bucket.count : 0;
  }
  return count;
}

bool FieldRange::followsClock() const {
  constexpr std::uint64_t few = 3;
  constexpr std::uint64_t risesPerFall = 8;
  return (count_ != 0 && nearTime_ == count_) || (rises_ >= few && rises_ >= risesPerFall * falls_);
}

bool hasLeft(const FieldRange& old, const FieldRange& current) {
  constexpr std::uint64_t enough = 24;
  constexpr std::uint64_t least = 3;
  constexpr std::uint64_t oneIn = 10;
  if (old.count() < enough) {
    return false;
  }
  const double margin = (old.max() - old.min()) / 2;
  const std::uint64_t outside = current.outside(old.min() - margin, old.max() + margin);
  return outside >= least && outside * oneIn >= current.count();
}

} // namespace vel::stat
