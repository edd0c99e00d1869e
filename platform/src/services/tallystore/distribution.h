// What is known of the samples under one distribution key.
//
// Sums, mean and deviation of floating-point numbers depend on the order and the grouping of the additions. So that
// pushing a sample n times is the same as pushing it once with weight n, and wherever batches end, the last run of
// equal samples is kept apart: it counts as one weighted sample, and enters the sums when another sample follows it.
#pragma once

#include "services/tallystore/histogram.h"
#include <control/tally.h>

#include <string>
#include <string_view>

namespace vel::platform {

class Distribution {
public:
  // Samples that are not finite, or beyond Histogram::kLargest, are counted and otherwise ignored.
  static bool takes(double sample);
  void push(double sample, std::uint64_t weight);
  // Holds this one sample from now on. An ignored sample changes nothing.
  void set(double sample);
  void clear() { *this = Distribution(); }

  control::TallyDistribution summary() const;
  bool empty() const { return histogram_.count() == 0; }
  std::uint64_t ignored() const { return ignored_; }
  // Whether one more sample would be more than can be counted.
  bool isFull() const { return histogram_.count() >= Histogram::kMostSamples; }
  // Whether it can be unpacked again: the counts agree, and every number stays finite if more samples follow.
  bool isPlausible() const;

  std::string pack() const;
  // Throws Unpackable. The count of ignored samples is not part of the packed ones.
  static Distribution unpack(std::string_view bytes, std::uint64_t ignored);

private:
  // Of a number of samples: their sum as a double and what rounding took from it, and the sum of their squared
  // distances from the mean, which moves on from sample to sample so that large values close together lose little.
  struct Moments {
    std::uint64_t count = 0;
    double sum = 0;
    double lost = 0;
    double mean = 0;
    double squares = 0;

    void add(double sample, std::uint64_t weight);
  };

  Moments moments() const; // with the run

  Moments before_; // the run
  double run_ = 0;
  std::uint64_t runWeight_ = 0;
  double min_ = 0;
  double max_ = 0;
  Histogram histogram_; // of all
  std::uint64_t ignored_ = 0;
};

} // namespace vel::platform
