// Who has which fault: at the rates that the rows say, and the same for a seed.
#include <synthetic/population.h>

#include <gtest/gtest.h>

#include <cmath>
#include <map>
#include <tuple>

namespace vel::synthetic {

namespace {

TEST(Population, FaultsOccurAtTheirRates) {
  constexpr std::uint32_t devices = 160'000; // 10000 of each build and lot
  const Population population(3, 4, 4);
  std::map<std::tuple<std::size_t, std::uint32_t, std::uint32_t>, double> found;
  for (std::uint32_t i = 0; i < devices; ++i) {
    const Member member = population.member(i);
    EXPECT_FALSE(member.has(Fault::actuatorTimeout) && member.has(Fault::amplifierTimeout));
    for (std::size_t fault = 0; fault < faultCount; ++fault) {
      found[{fault, member.build, member.lot}] += member.faults[fault] ? 1 : 0;
    }
  }
  ASSERT_EQ(found.size(), faultCount * 16);
  constexpr double each = devices / 16.0;
  for (const auto& [cell, count] : found) {
    const auto& [fault, build, lot] = cell;
    const double rate = population.rate(faultRows()[fault], build, lot) / 1000.0;
    EXPECT_NEAR(count / each, rate, 4.5 * std::sqrt(rate * (1 - rate) / each))
        << faultRows()[fault].name << " in build " << build << ", lot " << lot;
  }
}

TEST(Population, RowsAreInTheOrderOfTheFaults) {
  for (std::size_t i = 0; i < faultRows().size(); ++i) {
    EXPECT_EQ(static_cast<std::size_t>(faultRows()[i].fault), i);
  }
  EXPECT_EQ(faultRows().size(), faultCount);
}

TEST(Population, RatesDifferBetweenBuildsOrLots) {
  const Population population(1, 4, 4);
  const auto rates = [&](Fault fault) {
    std::vector<std::uint32_t> result;
    for (std::uint32_t i = 0; i < 4; ++i) {
      result.push_back(population.rate(faultRows()[static_cast<std::size_t>(fault)], i, 3));
    }
    return result;
  };
  EXPECT_EQ(rates(Fault::amplifierTimeout), (std::vector<std::uint32_t>{10, 10, 230, 10}));
  EXPECT_EQ(rates(Fault::droppedEvents), (std::vector<std::uint32_t>{0, 0, 160, 160}));
  EXPECT_EQ(rates(Fault::firmwareRestart), (std::vector<std::uint32_t>{140, 140, 0, 0}));
  EXPECT_EQ(rates(Fault::clockJump), (std::vector<std::uint32_t>{40, 40, 40, 40}));
}

TEST(Population, OnlyTheLastBuildOfSeveralIsLate) {
  EXPECT_EQ(Population(1, 1, 1).hapticDelay(0).always, 0U);
  EXPECT_EQ(Population(1, 3, 1).hapticDelay(1).always, 0U);
  EXPECT_EQ(Population(1, 3, 1).hapticDelay(2).always, 400U);
}

TEST(Population, NamesOfBuildsAreNotInTheOrderOfRelease) {
  EXPECT_EQ(Population::buildName(1), "7.9");
  EXPECT_EQ(Population::buildName(2), "7.10");
  EXPECT_EQ(Population::lotName(27), "lot-2B");
  EXPECT_EQ(Population::deviceName(0), "unit-000001");
  EXPECT_EQ(Population::deviceName(99'999), "unit-100000");
}

TEST(Population, ADeviceDoesNotDependOnTheOthers) {
  const Population population(9, 4, 2);
  const Member member = population.member(123);
  population.member(7);
  EXPECT_EQ(population.member(123).seed, member.seed);
  EXPECT_EQ(population.member(123).faults, member.faults);
  EXPECT_NE(Population(10, 4, 2).member(123).seed, member.seed);
  EXPECT_NE(population.member(124).seed, member.seed);
}

} // namespace

} // namespace vel::synthetic
