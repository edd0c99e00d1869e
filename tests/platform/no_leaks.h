// A fixture whose tests must leave as many CF objects as they found.
#pragma once

#include <control/cf.h>

#include <gtest/gtest.h>

class NoLeaks : public testing::Test {
protected:
  void TearDown() override { EXPECT_EQ(vel::control::liveObjects(), before_); }

private:
  const std::map<std::string, std::size_t> before_ = vel::control::liveObjects();
};
