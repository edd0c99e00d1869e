// What the store keeps of the samples of a distribution.
#include "tally_fixture.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>

using namespace vel::control;

namespace {

class TallyDistributions : public OpenTallyFile {};

TEST_F(TallyDistributions, FewSamples_GiveExactNumbers) {
  for (const double sample : {4.0, -2.0, 10.0, 4.0, 0.0}) {
    push("key", sample);
  }
  const TallyDistribution found = distribution("key");
  EXPECT_EQ(found.count, 5U);
  EXPECT_EQ(found.sum, 16);
  EXPECT_EQ(found.min, -2);
  EXPECT_EQ(found.max, 10);
  EXPECT_DOUBLE_EQ(found.mean, 3.2);
  EXPECT_DOUBLE_EQ(found.standardDeviation, std::sqrt(16.96)); // of 0.8, -5.2, 6.8, 0.8, -3.2
  EXPECT_EQ(found.p50, 4);
  EXPECT_EQ(found.p90, 10);
  EXPECT_EQ(found.p99, 10);
  EXPECT_TRUE(found.exact);
  EXPECT_EQ(found.ignored, 0U);
}

TEST_F(TallyDistributions, Percentile_IsTheSampleAtItsRank) {
  beginTallyBatch();
  for (int i = 1; i <= 60; ++i) {
    push("sixty", i);
  }
  push("weighted", 1, 89);
  push("weighted", 2, 1);
  push("weighted", 3, 9);
  push("weighted", 4, 1);
  endTallyBatch();
  EXPECT_EQ(distribution("sixty").p50, 30);
  EXPECT_EQ(distribution("sixty").p90, 54);
  EXPECT_EQ(distribution("sixty").p99, 60);
  EXPECT_EQ(distribution("weighted").p50, 1);
  EXPECT_EQ(distribution("weighted").p90, 2); // exactly 90 of 100 are not above it
  EXPECT_EQ(distribution("weighted").p99, 3);
  EXPECT_TRUE(distribution("sixty").exact);
}

struct Ranks {
  const char* name;
  std::vector<std::pair<double, int>> samples; // and how often each
  double p50, p90, p99;
};

class TallyRanks : public TallyDistributions, public testing::WithParamInterface<Ranks> {};

TEST_P(TallyRanks, AreRoundedUp) {
  beginTallyBatch();
  for (const auto& [sample, times] : GetParam().samples) {
    push("key", sample, times);
  }
  endTallyBatch();
  EXPECT_EQ(distribution("key").p50, GetParam().p50);
  EXPECT_EQ(distribution("key").p90, GetParam().p90);
  EXPECT_EQ(distribution("key").p99, GetParam().p99);
}

INSTANTIATE_TEST_SUITE_P(Rows, TallyRanks,
                         testing::Values(Ranks{"OfOne", {{1, 1}}, 1, 1, 1}, //
                                         Ranks{"OfTwo", {{1, 1}, {2, 1}}, 1, 2, 2},
                                         Ranks{"OfThree", {{1, 1}, {2, 1}, {3, 1}}, 2, 3, 3},
                                         Ranks{"OfNinetyNine", {{1, 49}, {2, 49}, {3, 1}}, 2, 2, 3}, // 98.01
                                         Ranks{"OfAHundred", {{1, 50}, {2, 49}, {3, 1}}, 1, 2, 2},
                                         Ranks{"OfAHundredAndOne", {{1, 50}, {2, 49}, {3, 2}}, 2, 2, 3}, // 50.5
                                         Ranks{"OfTenThousand", {{1, 5000}, {2, 4000}, {3, 900}, {4, 100}}, 1, 2, 3}),
                         [](const auto& info) { return info.param.name; });

TEST_F(TallyDistributions, Sum_LosesNothingToRounding) {
  push("large", 1e16);
  for (int i = 0; i < 5; ++i) {
    push("large", 1);
    push("large", 2);
  }
  push("large", -1e16);
  EXPECT_EQ(distribution("large").sum, 15);
  // Also the sum of one sample's repetitions is rounded: 10 times the double next to 0.1 is 1 + 0x1p-54.
  push("repeated", 0.1, 10);
  push("repeated", -1);
  EXPECT_EQ(distribution("repeated").sum, 0x1p-54);
}

TEST_F(TallyDistributions, SetDistribution_KeepsTheCountOfIgnoredSamples) {
  push("key", std::nan(""), 2);
  TSClientSetValueForDistributionKey(CFSTR("key"), 1);
  EXPECT_EQ(distribution("key").ignored, 2U);
}

TEST_F(TallyDistributions, SixtyFourValues_AreExact_OneMoreIsNot) {
  beginTallyBatch();
  for (int i = 0; i < 64; ++i) {
    push("key", i, 3);
  }
  endTallyBatch();
  EXPECT_TRUE(distribution("key").exact);
  push("key", 63);
  EXPECT_TRUE(distribution("key").exact);
  push("key", 64);
  EXPECT_FALSE(distribution("key").exact);
  EXPECT_EQ(distribution("key").count, 64U * 3 + 2);
  // After 59 bytes of moments the mark of buckets and their number: 58 and 59 share one, and 63 and 64.
  EXPECT_EQ(sql(path, "SELECT hex(substr(samples, 60, 2)) FROM distribution"), "013F\n");
}

struct Samples {
  const char* name;
  double (*next)(std::mt19937_64& random);
};

double uniform(std::mt19937_64& random) { // without the library's distributions, which differ from one to another
  return static_cast<double>(random() >> 11) * 0x1p-53;
}

class TallyPercentiles : public TallyDistributions, public testing::WithParamInterface<Samples> {};

TEST_P(TallyPercentiles, AreWithinOnePercent_AndAllElseIsExact) {
  std::mt19937_64 random(20);
  std::vector<double> samples(5000);
  beginTallyBatch();
  for (double& sample : samples) {
    sample = GetParam().next(random);
    push("key", sample);
  }
  endTallyBatch();
  std::sort(samples.begin(), samples.end());
  long double sum = 0;
  for (const double sample : samples) {
    sum += sample;
  }
  const long double mean = sum / samples.size();
  long double squares = 0;
  for (const double sample : samples) {
    squares += (sample - mean) * (sample - mean);
  }

  const TallyDistribution found = distribution("key");
  EXPECT_EQ(found.count, samples.size());
  EXPECT_EQ(found.min, samples.front());
  EXPECT_EQ(found.max, samples.back());
  const double scale = std::max(std::fabs(samples.front()), std::fabs(samples.back()));
  EXPECT_NEAR(found.sum, static_cast<double>(sum), scale * 1e-9);
  EXPECT_NEAR(found.mean, static_cast<double>(mean), scale * 1e-13);
  const auto deviation = static_cast<double>(std::sqrt(squares / samples.size()));
  EXPECT_NEAR(found.standardDeviation, deviation, deviation * 1e-12 + scale * 1e-16);
  EXPECT_FALSE(found.exact);
  for (const auto& [percent, value] : {std::pair{50, found.p50}, {90, found.p90}, {99, found.p99}}) {
    const double exact = samples[samples.size() * static_cast<std::size_t>(percent) / 100 - 1];
    EXPECT_NEAR(value, exact, std::fabs(exact) * 0.0100001) << percent << " %";
  }
}

INSTANTIATE_TEST_SUITE_P(
    Rows, TallyPercentiles,
    testing::Values(
        Samples{"Uniform", [](std::mt19937_64& random) { return uniform(random) * 100; }},
        Samples{"BelowZero", [](std::mt19937_64& random) { return -0.001 - uniform(random) * 7; }},
        Samples{"OnBothSides", [](std::mt19937_64& random) { return uniform(random) * 40 - 35; }},
        Samples{"OfAllSizes", [](std::mt19937_64& random) { return std::exp(uniform(random) * 400 - 200); }},
        Samples{"OfAllSizesBelowZero", [](std::mt19937_64& random) { return -std::exp(uniform(random) * 400 - 200); }},
        Samples{"MostlyZero", [](std::mt19937_64& random) { return std::max(0.0, uniform(random) - 0.6); }},
        Samples{"LargeAndCloseTogether", [](std::mt19937_64& random) { return 1e9 + uniform(random); }},
        Samples{"FixedPoint",
                [](std::mt19937_64& random) {
                  return static_cast<double>(static_cast<float>(static_cast<std::int32_t>(random())) * 0x1p-16F);
                }}),
    [](const auto& info) { return info.param.name; });

// The firmware's heaviest sample is 250 pushes.
TEST_F(TallyDistributions, PushesOfOneSample_GiveTheSameAsOneByOne_WhereverBatchesEnd) {
  const auto grouped = folder_ / "grouped.sqlite";
  const auto single = folder_ / "single.sqlite";
  const auto fill = [&](const std::filesystem::path& file, bool inBatches) {
    setTallyTime(1);
    openTallyStore(file);
    std::mt19937_64 random(7);
    for (int batch = 0; batch < 20; ++batch) {
      if (inBatches) {
        beginTallyBatch();
      }
      for (int op = 0; op < 20; ++op) {
        const std::string name = "key" + std::to_string(random() % 3);
        const double sample = (uniform(random) - 0.3) * 1000 / 7;
        // Sometimes again what came last, so that runs go on over the end of a batch.
        push(random() % 4 == 0 ? "key0" : name, random() % 3 == 0 ? 0.1 : sample, 1 + static_cast<int>(random() % 250));
      }
      if (inBatches) {
        endTallyBatch();
      }
    }
    closeTallyStore();
  };
  fill(grouped, true);
  fill(single, false);
  const std::string all = "SELECT key, count, printf('%!.26g', sum), printf('%!.26g', mean), "
                          "printf('%!.26g', standard_deviation), p50, p90, p99, hex(samples) FROM distribution";
  EXPECT_EQ(sql(grouped, all), sql(single, all));
  EXPECT_NE(sql(grouped, "SELECT key FROM distribution WHERE NOT exact AND count > 1000"), "");
}

TEST_F(TallyDistributions, SetDistribution_HoldsOneSample) {
  push("key", 3, 100);
  push("key", 4);
  TSClientSetValueForDistributionKey(CFSTR("key"), -1.5);
  const TallyDistribution found = distribution("key");
  EXPECT_EQ(found.count, 1U);
  EXPECT_EQ(found.sum, -1.5);
  EXPECT_EQ(found.min, -1.5);
  EXPECT_EQ(found.max, -1.5);
  EXPECT_EQ(found.mean, -1.5);
  EXPECT_EQ(found.standardDeviation, 0);
  EXPECT_EQ(found.p50, -1.5);
  EXPECT_EQ(found.p99, -1.5);
}

TEST_F(TallyDistributions, ClearDistribution_HoldsNothing_AndBeginsAnew) {
  push("key", 3, 100);
  push("key", std::nan(""));
  TSClientClearDistributionKey(CFSTR("key"));
  TallyDistribution found = distribution("key");
  EXPECT_EQ(found.count, 0U);
  EXPECT_EQ(found.sum, 0);
  EXPECT_EQ(found.ignored, 0U);
  EXPECT_EQ(sql(path, "SELECT count, sum IS NULL, mean IS NULL, p99 IS NULL FROM tally"), "0|1|1|1\n");
  push("key", 8);
  found = distribution("key");
  EXPECT_EQ(found.count, 1U);
  EXPECT_EQ(found.mean, 8);
}

TEST_F(TallyDistributions, NegativeZero_IsZero) {
  push("key", -0.0);
  push("key", 0.0);
  push("key", -1);
  EXPECT_FALSE(std::signbit(distribution("key").max));
  EXPECT_EQ(distribution("key").count, 3U);
}

class TallyIgnored : public TallyDistributions, public testing::WithParamInterface<double> {};

TEST_P(TallyIgnored, Sample_IsCountedAndLeftOut) {
  push("key", 1);
  push("key", 2);
  const auto before = row("key", Kind::distribution);
  push("key", GetParam(), 3);
  TSClientSetValueForDistributionKey(CFSTR("key"), GetParam());
  const auto after = row("key", Kind::distribution);
  EXPECT_EQ(after.distribution.ignored, 4U);
  EXPECT_EQ(after.distribution.count, 2U);
  EXPECT_EQ(after.distribution.sum, 3);
  EXPECT_EQ(after.distribution.max, 2);
  EXPECT_EQ(after.lastChange, before.lastChange);
  push("key", 3);
  EXPECT_EQ(distribution("key").mean, 2);
}

INSTANTIATE_TEST_SUITE_P(Rows, TallyIgnored,
                         testing::Values(std::numeric_limits<double>::quiet_NaN(),
                                         std::numeric_limits<double>::infinity(),
                                         -std::numeric_limits<double>::infinity(), std::numeric_limits<double>::max(),
                                         1.1e140));

TEST_F(TallyDistributions, LargestSamples_KeepEveryNumberFinite) {
  beginTallyBatch();
  for (int i = 0; i < 100; ++i) {
    push("key", i % 2 == 0 ? 1e140 : -1e140, 250);
    push("key", 5e-324 * (i + 1));
  }
  endTallyBatch();
  const TallyDistribution found = distribution("key");
  EXPECT_EQ(found.count, 25'100U);
  EXPECT_TRUE(std::isfinite(found.sum));
  EXPECT_NEAR(found.standardDeviation, 1e140, 1e138);
  EXPECT_NEAR(found.p90, 1e140, 1e138);
  push("key", 1); // and it can go on
  EXPECT_EQ(distribution("key").count, 25'101U);
}

} // namespace
