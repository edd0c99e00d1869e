// Log formats: each row is a line as a caller writes it, and the message that it makes.
#include "services_fixture.h"

#include <os/log.h>

#include <cinttypes>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>

using namespace vel::control;

namespace {

class LogFormat : public Services {
protected:
  template <class... Arguments>
  static std::string message(const char* format, Arguments... arguments) {
    clearLog();
    os_log(log(), format, arguments...);
    const auto lines = logLines();
    return lines.size() == 1 ? lines[0].message : "(no line)";
  }
  static os_log_t log() {
    static os_log_t const object = os_log_create("KIP", "format");
    return object;
  }
};

TEST_F(LogFormat, Integers_FollowPrintf) {
  EXPECT_EQ(message("%d %i", -1, 2), "-1 2");
  EXPECT_EQ(message("%u", 0xFFFFFFFFU), "4294967295");
  EXPECT_EQ(message("%x %X %o", 0xabcU, 0xabcU, 8U), "abc ABC 10");
  EXPECT_EQ(message("%#x %#x %#o", 0x1fU, 0U, 8U), "0x1f 0 010");
  EXPECT_EQ(message("%5d|%-5d|%05d|%+d|% d", 42, 42, 42, 42, 42), "   42|42   |00042|+42| 42");
  EXPECT_EQ(message("%.3d|%8.3d", 5, 5), "005|     005");
  EXPECT_EQ(message("%hhd %hhu", 300, 300), "44 44");
  EXPECT_EQ(message("%hd %hu", 70000, 70000), "4464 4464");
  EXPECT_EQ(message("%ld %lu", std::numeric_limits<long>::min(), ~0UL), "-9223372036854775808 18446744073709551615");
  EXPECT_EQ(message("%lld %llx", -1LL, ~0ULL), "-1 ffffffffffffffff");
  EXPECT_EQ(message("%zu %zd", std::size_t{1} << 40, std::ptrdiff_t{-1}), "1099511627776 -1");
  EXPECT_EQ(message("%jd %td", std::intmax_t{-5}, std::ptrdiff_t{-6}), "-5 -6");
  EXPECT_EQ(message("%" PRIx64 " %" PRIu32, std::uint64_t{0x123456789}, std::uint32_t{7}), "123456789 7");
}

TEST_F(LogFormat, Stars_TakeWidthAndPrecisionFromTheArguments) {
  EXPECT_EQ(message("%*d|%-*d|", 4, 1, 4, 2), "   1|2   |");
  EXPECT_EQ(message("%*d|", -4, 1), "1   |");
  EXPECT_EQ(message("%.*d", 3, 1), "001");
  EXPECT_EQ(message("%.*s|%.*s", 2, "abc", -1, "abc"), "ab|abc");
  EXPECT_EQ(message("%*.*f|", 7, 2, 3.14159), "   3.14|");
}

TEST_F(LogFormat, FloatingPoint_FollowsPrintf) {
  EXPECT_EQ(message("%f %e %g %a", 1.5, 1.5, 1.5, 1.0), "1.500000 1.500000e+00 1.5 0x1p+0");
  EXPECT_EQ(message("%.2F %E %G %A", 1.5, 1.5, 1e-10, 1.0), "1.50 1.500000E+00 1E-10 0X1P+0");
  EXPECT_EQ(message("%lf %08.3f", 0.5, -0.5), "0.500000 -000.500");
}

TEST_F(LogFormat, CharactersStringsAndPointers_FollowPrintf) {
  EXPECT_EQ(message("%c%3c|%-3c|", 'a', 'b', 'c'), "a  b|c  |");
  EXPECT_EQ(message("[%c]", 0), std::string("[\0]", 3));
  EXPECT_EQ(message("%s|%5s|%-5s|%.2s", "abc", "abc", "abc", "abc"), "abc|  abc|abc  |ab");
  EXPECT_EQ(message("%p", reinterpret_cast<void*>(0x1234)), "0x1234");
  EXPECT_EQ(message("100%% of %d%%", 5), "100% of 5%");
  EXPECT_EQ(message(""), "");
  EXPECT_EQ(message("a\nb\n"), "a\nb\n");
  EXPECT_EQ(message("\x80%s", "\xFF"), "\x80\xFF");
}

TEST_F(LogFormat, Null_IsWrittenWhole) {
  const char* const text = nullptr;
  CFTypeRef const object = nullptr;
  EXPECT_EQ(message("%s|%.2s|%8s|%@", text, text, text, object), "(null)|(null)|  (null)|(null)");
}

TEST_F(LogFormat, PrivacyWords_AreSkipped) {
  EXPECT_EQ(message("%{public}s %{private}d %{public, uuid_t}x", "a", 1, 0xfU), "a 1 f");
  EXPECT_EQ(message("%{public}-5d|%{public}%", 1), "1    |%");
}

TEST_F(LogFormat, Objects_AreDescribed) {
  const auto number = [](CFNumberType type, auto value) {
    return Ref<CFTypeRef>::adopt(CFNumberCreate(nullptr, type, &value));
  };
  const auto dictionary = strings({});
  EXPECT_EQ(message("%@", CFSTR("text")), "text");
  EXPECT_EQ(message("%{public}@ and %d", CFSTR("text"), 5), "text and 5");
  EXPECT_EQ(message("%@", number(kCFNumberSInt32Type, -5).get()), "-5");
  EXPECT_EQ(message("%@", number(kCFNumberSInt64Type, std::int64_t{1} << 40).get()), "1099511627776");
  EXPECT_EQ(message("%@", number(kCFNumberDoubleType, 0.1).get()), "0.1");
  EXPECT_EQ(message("%@ %@", kCFBooleanTrue, kCFBooleanFalse), "true false");
  EXPECT_EQ(message("%@", dictionary.get()), "<CFDictionary>");
}

TEST_F(LogFormat, ManyArguments_KeepTheirPlaces) {
  EXPECT_EQ(message("%d %d %d %d %d %d %d %d", 1, 2, 3, 4, 5, 6, 7, 8), "1 2 3 4 5 6 7 8");
  EXPECT_EQ(message("%.0f %.0f %.0f %.0f %.0f %.0f %.0f %.0f %.0f %.0f", 1., 2., 3., 4., 5., 6., 7., 8., 9., 10.),
            "1 2 3 4 5 6 7 8 9 10");
  EXPECT_EQ(message("%d %f %s %lld %c %p %u", 1, 2.0, "3", 4LL, '5', reinterpret_cast<void*>(6), 7U),
            "1 2.000000 3 4 5 0x6 7");
  EXPECT_EQ(message("%s: AssertMacros: %s, %s file: %s, line: %d value:%x\n", "", "kr == 0 ", "", "dir/file", 262,
                    0xE00002BC),
            ": AssertMacros: kr == 0 ,  file: dir/file, line: 262 value:e00002bc\n");
}

TEST_F(LogFormat, Unknown_IsCopiedWithAllThatFollows) {
  const char* const untouched = reinterpret_cast<const char*>(1); // would crash if it were read
  EXPECT_EQ(message("%d %y %s", 1, untouched), "1 %y %s");
  EXPECT_EQ(message("%n %s", untouched), "%n %s");
  EXPECT_EQ(message("%ls %s", untouched, untouched), "%ls %s");
  EXPECT_EQ(message("%hhs", untouched), "%hhs");
  EXPECT_EQ(message("%Lf", 1.0L), "%Lf");
  EXPECT_EQ(message("%hhhd %hlld", 1, 2), "%hhhd %hlld");
  EXPECT_EQ(message("%*y %d", 5, 1), "%*y %d");
  EXPECT_EQ(message("100%"), "100%");
  EXPECT_EQ(message("%5"), "%5");
  EXPECT_EQ(message("%.*"), "%.*");
  EXPECT_EQ(message("%{public"), "%{public");
  EXPECT_EQ(message("%{public}"), "%{public}");
}

TEST_F(LogFormat, WidthsAndPrecisions_AreLimited) {
  const std::string blanks(4095, ' ');
  EXPECT_EQ(message("%99999999999999999999d", 1), blanks + "1");
  EXPECT_EQ(message("%*d", std::numeric_limits<int>::max(), 1), blanks + "1");
  EXPECT_EQ(message("%*d", std::numeric_limits<int>::min(), 1), "1" + blanks);
  EXPECT_EQ(message("%.99999999999d", 1), std::string(4095, '0') + "1");
  const std::string text(10000, 'x');
  EXPECT_EQ(message("%s", text.c_str()), text);
  EXPECT_EQ(message("%.9000s", text.c_str()), text.substr(0, 9000));
  EXPECT_EQ(message("%.99999999999999s", text.c_str()), text);
}

} // namespace
