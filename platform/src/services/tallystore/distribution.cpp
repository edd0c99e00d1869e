// Running moments and percentiles of samples, and their packed form.
#include "services/tallystore/distribution.h"

#include <algorithm>
#include <cmath>

namespace vel::platform {

// The weighted steps of Welford (mean, squares) and Neumaier (sum, lost).
void Distribution::Moments::add(double sample, std::uint64_t weight) {
  const auto w = static_cast<double>(weight);
  const double step = sample * w;
  const double total = sum + step;
  lost += std::fabs(sum) >= std::fabs(step) ? (sum - total) + step : (step - total) + sum;
  lost += std::fma(sample, w, -step);
  sum = total;

  const auto n = static_cast<double>(count + weight);
  const double distance = sample - mean;
  squares += distance * distance * (static_cast<double>(count) * (w / n));
  mean += distance * (w / n);
  count += weight;
}

bool Distribution::takes(double sample) {
  return std::fabs(sample) <= Histogram::kLargest; // false for NaN
}

void Distribution::push(double sample, std::uint64_t weight) {
  if (!takes(sample)) {
    ignored_ += weight;
    return;
  }
  sample += 0.0; // turns -0 into 0
  min_ = empty() ? sample : std::min(min_, sample);
  max_ = empty() ? sample : std::max(max_, sample);
  histogram_.add(sample, weight);
  if (runWeight_ != 0 && sample != run_) {
    before_.add(run_, runWeight_);
    runWeight_ = 0;
  }
  run_ = sample;
  runWeight_ += weight;
}

void Distribution::set(double sample) {
  if (!takes(sample)) {
    ++ignored_;
    return;
  }
  const std::uint64_t ignored = ignored_;
  clear();
  ignored_ = ignored;
  push(sample, 1);
}

Distribution::Moments Distribution::moments() const {
  Moments all = before_;
  if (runWeight_ != 0) {
    all.add(run_, runWeight_);
  }
  return all;
}

control::TallyDistribution Distribution::summary() const {
  control::TallyDistribution summary;
  summary.ignored = ignored_;
  if (empty()) {
    return summary;
  }
  const Moments all = moments();
  summary.count = all.count;
  summary.sum = all.sum + all.lost;
  summary.min = min_;
  summary.max = max_;
  // Rounding or the middle of a bucket may give a value outside the samples' range.
  summary.mean = std::clamp(summary.sum / static_cast<double>(all.count), min_, max_);
  summary.standardDeviation = std::sqrt(all.squares / static_cast<double>(all.count));
  summary.p50 = std::clamp(histogram_.percentile(50), min_, max_);
  summary.p90 = std::clamp(histogram_.percentile(90), min_, max_);
  summary.p99 = std::clamp(histogram_.percentile(99), min_, max_);
  summary.exact = histogram_.exact();
  return summary;
}

std::string Distribution::pack() const {
  Packer packer;
  packer.count(before_.count);
  packer.number(before_.sum);
  packer.number(before_.lost);
  packer.number(before_.mean);
  packer.number(before_.squares);
  packer.number(run_);
  packer.count(runWeight_);
  packer.number(min_);
  packer.number(max_);
  histogram_.pack(packer);
  return packer.bytes();
}

Distribution Distribution::unpack(std::string_view bytes, std::uint64_t ignored) {
  Unpacker unpacker(bytes);
  Distribution distribution;
  distribution.before_.count = unpacker.count();
  distribution.before_.sum = unpacker.number();
  distribution.before_.lost = unpacker.number();
  distribution.before_.mean = unpacker.number();
  distribution.before_.squares = unpacker.number();
  distribution.run_ = unpacker.number();
  distribution.runWeight_ = unpacker.count();
  distribution.min_ = unpacker.number();
  distribution.max_ = unpacker.number();
  distribution.histogram_ = Histogram::unpack(unpacker);
  distribution.ignored_ = ignored;
  if (unpacker.left() != 0 || !distribution.isPlausible()) {
    throw Unpackable();
  }
  return distribution;
}

bool Distribution::isPlausible() const {
  constexpr double kLargestSum = Histogram::kLargest * 1e20;
  constexpr double kLargestSquares = 1e300;
  const bool sums = std::fabs(before_.sum) <= kLargestSum && std::fabs(before_.lost) <= kLargestSum &&
                    before_.squares >= 0 && before_.squares <= kLargestSquares;
  const bool samples = takes(before_.mean) && takes(run_) && takes(min_) && takes(max_) && min_ <= max_;
  const std::uint64_t count = histogram_.count();
  return sums && samples && count <= Histogram::kMostSamples && before_.count + runWeight_ == count;
}

} // namespace vel::platform
