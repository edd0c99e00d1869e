// The statistics of the samples under one distribution key.
//
// Sums, mean and deviation of floating-point numbers depend on the order and the grouping of the additions. Pushing a
// sample n times must give the same result as pushing it once with weight n, in one batch or in several. So the last
// run of equal samples is kept apart: it counts as one weighted sample, and enters the sums when a different sample
// follows.
#pragma once

#include "services/tallystore/histogram.h"
#include <control/tally.h>

#include <string>
#include <string_view>

namespace vel::platform {

class Distribution {
public:
  // False for samples that are not finite or beyond Histogram::kLargest: they are ignored, and only counted as such.
  static bool takes(double sample);
  void push(double sample, std::uint64_t weight);
  // Replaces all samples by this one. An ignored sample replaces nothing.
  void set(double sample);
  void clear() { *this = Distribution(); }

  control::TallyDistribution summary() const;
  bool empty() const { return histogram_.count() == 0; }
  std::uint64_t ignored() const { return ignored_; }
  // Whether no further sample can be counted.
  bool isFull() const { return histogram_.count() >= Histogram::kMostSamples; }
  // Whether it can be unpacked again: the counts agree, and every number stays finite if more samples follow.
  bool isPlausible() const;

  std::string pack() const;
  // Throws Unpackable. The count of ignored samples is not part of the packed ones.
  static Distribution unpack(std::string_view bytes, std::uint64_t ignored);

private:
  // The sum of the samples, what rounding lost from it, the mean, and the sum of the squared distances from the mean.
  // The mean is updated with every sample, so that large values close together lose little precision.
  struct Moments {
    std::uint64_t count = 0;
    double sum = 0;
    double lost = 0;
    double mean = 0;
    double squares = 0;

    void add(double sample, std::uint64_t weight);
  };

  Moments moments() const; // of all samples

  Moments before_; // of the samples before the run
  double run_ = 0;
  std::uint64_t runWeight_ = 0;
  double min_ = 0;
  double max_ = 0;
  Histogram histogram_; // of all samples
  std::uint64_t ignored_ = 0;
};

} // namespace vel::platform
