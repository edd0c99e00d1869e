// What the platform writes is read back as it was: random trees, from a fixed seed.
#include <formats/property_list.h>
#include <host/cf_values.h>

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <random>

namespace {

using namespace vel::formats;
using vel::control::Ref;

class RandomTrees {
public:
  Value next(int levels) {
    const int kinds = levels == 0 ? 5 : 7;
    switch (upTo(kinds - 1)) {
    case 0:
      return {text()};
    case 1:
      return {number()};
    case 2:
      return {real()};
    case 3:
      return {upTo(1) == 1};
    case 4: {
      Bytes bytes(upTo(20));
      std::generate(bytes.begin(), bytes.end(), [&] { return static_cast<std::byte>(upTo(255)); });
      return {bytes};
    }
    case 5: {
      Array values(upTo(20));
      std::generate(values.begin(), values.end(), [&] { return next(levels - 1); });
      return {values};
    }
    default: {
      Dictionary members;
      for (std::size_t i = upTo(20); i-- > 0;) {
        members.push_back({std::to_string(i) + text(), next(levels - 1)}); // the number makes keys unique
      }
      return {members};
    }
    }
  }

private:
  std::size_t upTo(std::size_t most) { return std::uniform_int_distribution<std::size_t>(0, most)(random_); }

  std::string text() {
    // One to four bytes in UTF-8, and pairs in UTF-16.
    static const std::string pieces[] = {"a", "Z", " ", "/", "\n", "\u00E9", "\u20AC", "\uFFFD", "\U0001F600"};
    std::string result;
    for (std::size_t i = upTo(upTo(9) == 0 ? 300 : 18); i-- > 0;) {
      result += pieces[upTo(upTo(1) == 0 ? 4 : 8)];
    }
    return result;
  }

  std::int64_t number() {
    const auto bits = static_cast<std::int64_t>(random_()) >> upTo(63);
    return upTo(3) == 0 ? ~bits : bits;
  }

  double real() {
    const auto value = std::bit_cast<double>(static_cast<std::uint64_t>(random_()));
    return std::isnan(value) ? 0.5 : value; // which would not equal itself
  }

  std::mt19937_64 random_{20240229};
};

TEST(BinaryPropertyList, WhatThePlatformWrites_IsReadBackAsItWas) {
  RandomTrees trees;
  std::size_t bytesRead = 0;
  for (int i = 0; i < 500; ++i) {
    const Value value = trees.next(4);
    const auto data = Ref<CFDataRef>::adopt(CFPropertyListCreateData(
        kCFAllocatorDefault, vel::host::makeObject(value).get(), kCFPropertyListBinaryFormat_v1_0, 0, nullptr));
    ASSERT_TRUE(data) << i;
    const std::span bytes(CFDataGetBytePtr(data.get()), static_cast<std::size_t>(CFDataGetLength(data.get())));
    ASSERT_EQ(readPropertyList(std::as_bytes(bytes)), value) << i;
    bytesRead += bytes.size();
  }
  EXPECT_GT(bytesRead, 100'000U);
}

} // namespace
