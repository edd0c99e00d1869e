// TallyStore's six operations, as they arrive.
#include "services_fixture.h"

#include <TallyStore/TallyStore.h>

#include <limits>
#include <thread>

using namespace vel::control;

namespace vel::control {

bool operator==(const TallyCall& a, const TallyCall& b) {
  return a.op == b.op && a.key == b.key && a.scalar == b.scalar && a.sample == b.sample;
}

} // namespace vel::control

namespace {

class Tally : public Services {};

TEST_F(Tally, EveryOperation_ArrivesInOrder) {
  constexpr auto least = std::numeric_limits<std::int64_t>::min();
  TSClientClearScalarKey(CFSTR("a"));
  TSClientSetValueForScalarKey(CFSTR("b"), least);
  TSClientAddValueForScalarKey(CFSTR("c"), -2);
  TSClientClearDistributionKey(CFSTR("d"));
  TSClientSetValueForDistributionKey(CFSTR("e"), -0.5);
  TSClientPushValueForDistributionKey(CFSTR("caf\xC3\xA9"), 1e300);
  const std::vector<TallyCall> expected = {
      {TallyOp::clearScalar, "a", 0, 0},        {TallyOp::setScalar, "b", least, 0},
      {TallyOp::addScalar, "c", -2, 0},         {TallyOp::clearDistribution, "d", 0, 0},
      {TallyOp::setDistribution, "e", 0, -0.5}, {TallyOp::pushDistribution, "caf\xC3\xA9", 0, 1e300},
  };
  EXPECT_EQ(tallyCalls(), expected);
  clearTally();
  EXPECT_TRUE(tallyCalls().empty());
}

TEST_F(Tally, NullKey_CountsNothing) {
  TSClientAddValueForScalarKey(nullptr, 1);
  TSClientPushValueForDistributionKey(nullptr, 1);
  EXPECT_TRUE(tallyCalls().empty());
}

TEST_F(Tally, ManyThreads_LoseNothing) {
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([] {
      for (int i = 0; i < 250; ++i) {
        TSClientAddValueForScalarKey(CFSTR("key"), 1);
      }
    });
  }
  for (auto& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(tallyCalls().size(), 1000U);
}

} // namespace
