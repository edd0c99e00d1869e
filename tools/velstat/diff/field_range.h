// The values of one field of many records, in bounded memory: range, percentiles, and whether they follow a clock.
#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

namespace vel::stat {

// [one thread at a time]
class FieldRange {
public:
  // `time` is the record's time stamp.
  void add(double value, std::uint64_t time);

  std::uint64_t count() const { return count_; }
  double min() const { return min_; } // without values: 0
  double max() const { return max_; }
  // The value below which this part of the values lies, to within 1/16 of it; min and max are exact.
  double percentile(double part) const;
  // How many values lie outside, except that those within 1/16 of an end may count as inside.
  std::uint64_t outside(double least, double most) const;

  // Whether these are times or counters: all values are near their records' time stamps, or they rise from record to
  // record, apart from a few falls, where a counter starts again.
  bool followsClock() const;

private:
  // Values whose bits agree in sign, exponent and the first four bits of the fraction, in the order of the values.
  struct Bucket {
    std::int32_t place;
    std::uint32_t count; // stops at the largest number that fits
  };

  std::vector<Bucket> buckets_;
  std::uint64_t count_ = 0;
  std::uint64_t rises_ = 0;
  std::uint64_t falls_ = 0;
  std::uint64_t nearTime_ = 0;
  double min_ = 0;
  double max_ = 0;
  double last_ = 0;
};

// Whether a tenth of the new values, and at least three, lie outside the range of the old ones, widened by half its
// width at both ends. False for fewer than 24 old values, which are too few to show the range.
bool hasLeft(const FieldRange& old, const FieldRange& current);

} // namespace vel::stat
