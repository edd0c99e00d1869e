#include "no_leaks.h"
#include <control/ref.h>

#include <CoreFoundation/CFNumber.h>

#include <cstdint>
#include <limits>
#include <variant>

using vel::control::Ref;

namespace {

using CFNumber = NoLeaks;
using Number = Ref<CFNumberRef>;
using Value = std::variant<std::int32_t, std::int64_t, double>;

// NOLINTBEGIN(clang-analyzer-osx.coreFoundation.CFNumber): the type is the one of the value held
Number make(CFNumberType type, const void* value) {
  return Number::adopt(CFNumberCreate(nullptr, type, value));
}

Number make(const Value& value) {
  constexpr CFNumberType types[] = {kCFNumberSInt32Type, kCFNumberSInt64Type, kCFNumberDoubleType};
  return std::visit([&](const auto& plain) { return make(types[value.index()], &plain); }, value);
}

TEST_F(CFNumber, Read_ConvertsAndTellsWhetherTheValueChanged) {
  constexpr std::int32_t min32 = INT32_MIN;
  constexpr std::int32_t max32 = INT32_MAX;
  constexpr std::int64_t min64 = INT64_MIN;
  constexpr std::int64_t max64 = INT64_MAX;
  struct Case {
    Value stored;
    Value read;
    bool same;
  };
  const Case cases[] = {
      {-1, -1, true},
      {-1, std::int64_t{-1}, true},
      {-1, -1.0, true},
      {min32, std::int64_t{min32}, true},
      {std::int64_t{max32}, max32, true},
      {std::int64_t{max32} + 1, min32, false},
      {std::int64_t{min32} - 1, max32, false},
      {std::int64_t{0x123456789A}, 0x3456789A, false},
      {std::int64_t{0xFFFFFFFF}, -1, false},
      {min64, 0, false},
      {min64, min64, true},
      {max64, max64, true},
      {max64, -1, false},
      {max64, 0x1p63, false},
      {min64, -0x1p63, true},
      {std::int64_t{(1LL << 53) + 1}, 0x1p53, false},
      {2.0, 2, true},
      {-2.75, -2, false},
      {-2.75, std::int64_t{-2}, false},
      {2.5, 2.5, true},
      {0x1p40, 0, false},
      {0x1p40, std::int64_t{1} << 40, true},
      {0x1p63, max64, false},
      {-0x1p63, min64, true},
      {-0x1p64, min64, false},
      {1e300, -1, false},
      {std::numeric_limits<double>::infinity(), max64, false},
      {std::numeric_limits<double>::quiet_NaN(), std::int64_t{0}, false},
  };
  for (const Case& row : cases) {
    const auto index = &row - cases;
    const Number number = make(row.stored);
    ASSERT_TRUE(number);
    std::visit(
        [&](auto expected) {
          constexpr CFNumberType types[] = {kCFNumberSInt32Type, kCFNumberSInt64Type, kCFNumberDoubleType};
          decltype(expected) value = 99;
          EXPECT_EQ(CFNumberGetValue(number.get(), types[row.read.index()], &value), row.same) << "row " << index;
          EXPECT_EQ(value, expected) << "row " << index;
        },
        row.read);
  }
}

// NOLINTEND(clang-analyzer-osx.coreFoundation.CFNumber)

TEST_F(CFNumber, Type_IsTheOneOfCreation) {
  const std::int64_t value = -5;
  const double real = 1;
  EXPECT_EQ(CFNumberGetType(make(kCFNumberSInt32Type, &value).get()), kCFNumberSInt32Type);
  EXPECT_EQ(CFNumberGetType(make(kCFNumberSInt64Type, &value).get()), kCFNumberSInt64Type);
  EXPECT_EQ(CFNumberGetType(make(kCFNumberLongLongType, &value).get()), kCFNumberLongLongType);
  EXPECT_EQ(CFNumberGetType(make(kCFNumberDoubleType, &real).get()), kCFNumberDoubleType);
}

TEST_F(CFNumber, LongLong_IsReadAsSuch) {
  const std::int64_t value = INT64_MIN;
  const Number number = make(kCFNumberLongLongType, &value);
  std::int64_t read = 0;
  EXPECT_TRUE(CFNumberGetValue(number.get(), kCFNumberLongLongType, &read));
  EXPECT_EQ(read, value);
}

TEST_F(CFNumber, UnknownTypeOrNoValue_IsRefused) {
  std::int64_t value = 1;
  for (const CFNumberType type : {CFNumberType{0}, CFNumberType{1}, CFNumberType{5}, CFNumberType{-1}}) {
    EXPECT_EQ(CFNumberCreate(nullptr, type, &value), nullptr);
    EXPECT_FALSE(CFNumberGetValue(make(value).get(), type, &value));
    EXPECT_EQ(value, 1);
  }
  EXPECT_EQ(CFNumberCreate(nullptr, kCFNumberSInt32Type, nullptr), nullptr);
  EXPECT_FALSE(CFNumberGetValue(make(value).get(), kCFNumberSInt32Type, nullptr));
}

TEST_F(CFNumber, Equality_IsThatOfTheValue) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  struct Case {
    Value a, b;
    bool equal;
  };
  const Case cases[] = {
      {1, std::int64_t{1}, true},
      {1, 1.0, true},
      {-1, std::int64_t{0xFFFFFFFF}, false},
      {0, -0.0, true},
      {0.0, -0.0, true},
      {0.5, 0, false},
      {0.5, 0.5, true},
      {INT64_MAX, 0x1p63, false},
      {INT64_MIN, -0x1p63, true},
      {INT64_MIN, 0x1p63, false},
      {std::int64_t{(1LL << 53) + 1}, 0x1p53, false},
      {nan, nan, false},
      {nan, 0, false},
  };
  for (const Case& row : cases) {
    const auto index = &row - cases;
    const Number a = make(row.a);
    const Number b = make(row.b);
    EXPECT_EQ(CFEqual(a.get(), b.get()), row.equal) << "row " << index;
    EXPECT_EQ(CFEqual(b.get(), a.get()), row.equal) << "row " << index;
    if (row.equal) {
      EXPECT_EQ(CFHash(a.get()), CFHash(b.get())) << "row " << index;
    }
  }
}

TEST_F(CFNumber, Booleans_AreTwoAndNoNumbers) {
  EXPECT_TRUE(CFBooleanGetValue(kCFBooleanTrue));
  EXPECT_FALSE(CFBooleanGetValue(kCFBooleanFalse));
  EXPECT_FALSE(CFEqual(kCFBooleanTrue, kCFBooleanFalse));
  EXPECT_FALSE(CFEqual(kCFBooleanTrue, make(1).get()));
  EXPECT_NE(CFBooleanGetTypeID(), CFNumberGetTypeID());
}

} // namespace
