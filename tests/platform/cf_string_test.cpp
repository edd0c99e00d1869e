#include "no_leaks.h"
#include <control/ref.h>

#include <CoreFoundation/CFString.h>

#include <array>
#include <optional>
#include <string>

using vel::control::Ref;
using vel::control::utf8;

namespace {

using CFString = NoLeaks;
using String = Ref<CFStringRef>;
using namespace std::string_literals;

constexpr CFStringEncoding macRoman = kCFStringEncodingMacRoman;
constexpr CFStringEncoding ascii = kCFStringEncodingASCII;
constexpr CFStringEncoding utf8Encoding = kCFStringEncodingUTF8;
constexpr CFStringEncoding utf16Encoding = 0x0100; // not known here

String make(const std::string& bytes, CFStringEncoding encoding = utf8Encoding) {
  return String::adopt(CFStringCreateWithCString(nullptr, bytes.c_str(), encoding));
}

TEST_F(CFString, Create_KeepsTheTextAsUtf8OrRefusesIt) {
  struct Case {
    const char* name;
    std::string bytes;
    CFStringEncoding encoding;
    std::optional<std::string> text; // nothing: refused
    CFIndex length;
  };
  const Case cases[] = {
      {"empty", "", macRoman, "", 0},
      {"ASCII text as MacRoman", "com.tavik", macRoman, "com.tavik", 9},
      {"ASCII text as ASCII", "a\x7F\x01", ascii, "a\x7F\x01", 3},
      {"ASCII text as UTF-8", "abc", utf8Encoding, "abc", 3},
      {"ASCII text in an unknown encoding", "abc", utf16Encoding, std::nullopt, 0},
      {"high byte as ASCII", "caf\x8E", ascii, std::nullopt, 0},
      {"high byte as MacRoman", "caf\x8E", macRoman, "caf\u00E9", 4},
      {"first high byte as MacRoman", "\x80", macRoman, "\u00C4", 1},
      {"euro as MacRoman", "\xDB", macRoman, "\u20AC", 1},
      {"last byte as MacRoman", "\xFF", macRoman, "\u02C7", 1},
      {"UTF-8 as ASCII", "caf\u00E9", ascii, std::nullopt, 0},
      {"UTF-8 bytes as MacRoman", "\xC3\xA9", macRoman, "\u221A\u00A9", 2},
      {"2 bytes", "\u0080\u07FF", utf8Encoding, "\u0080\u07FF", 2},
      {"3 bytes", "\u0800\uFFFF", utf8Encoding, "\u0800\uFFFF", 2},
      {"around the surrogates", "\uD7FF\uE000", utf8Encoding, "\uD7FF\uE000", 2},
      {"4 bytes", "\U00010000\U0010FFFF", utf8Encoding, "\U00010000\U0010FFFF", 4},
      {"overlong 2 bytes", "\xC0\x80", utf8Encoding, std::nullopt, 0},
      {"overlong 2 bytes, largest", "\xC1\xBF", utf8Encoding, std::nullopt, 0},
      {"overlong 3 bytes", "\xE0\x9F\xBF", utf8Encoding, std::nullopt, 0},
      {"overlong 4 bytes", "\xF0\x8F\xBF\xBF", utf8Encoding, std::nullopt, 0},
      {"first surrogate", "\xED\xA0\x80", utf8Encoding, std::nullopt, 0},
      {"last surrogate", "\xED\xBF\xBF", utf8Encoding, std::nullopt, 0},
      {"above the last character", "\xF4\x90\x80\x80", utf8Encoding, std::nullopt, 0},
      {"lead byte of nothing", "\xF5\x80\x80\x80", utf8Encoding, std::nullopt, 0},
      {"five bytes", "\xF8\x88\x80\x80\x80", utf8Encoding, std::nullopt, 0},
      {"continuation alone", "a\x80", utf8Encoding, std::nullopt, 0},
      {"cut after the lead byte", "abc\xC3", utf8Encoding, std::nullopt, 0},
      {"cut in 3 bytes", "\xE2\x82", utf8Encoding, std::nullopt, 0},
      {"cut in 4 bytes", "\xF0\x9F\x98", utf8Encoding, std::nullopt, 0},
      {"text after the lead byte", "\xC3(", utf8Encoding, std::nullopt, 0},
      {"text in 3 bytes", "\xE2\x82(", utf8Encoding, std::nullopt, 0},
      {"invalid byte after 100 letters", std::string(100, 'x') + "\xFE", utf8Encoding, std::nullopt, 0},
  };
  for (const Case& row : cases) {
    const String string = make(row.bytes, row.encoding);
    EXPECT_EQ(static_cast<bool>(string), row.text.has_value()) << row.name;
    if (string) {
      EXPECT_EQ(utf8(string.get()), row.text) << row.name;
      EXPECT_EQ(CFStringGetLength(string.get()), row.length) << row.name;
    }
  }
  EXPECT_EQ(CFStringCreateWithCString(nullptr, nullptr, utf8Encoding), nullptr);
}

TEST_F(CFString, CStringPtr_IsGivenOnlyForTheStoredForm) {
  const String plain = make("plain");
  const String accented = make("\u00E9");
  EXPECT_STREQ(CFStringGetCStringPtr(plain.get(), macRoman), "plain");
  EXPECT_STREQ(CFStringGetCStringPtr(plain.get(), ascii), "plain");
  EXPECT_STREQ(CFStringGetCStringPtr(plain.get(), utf8Encoding), "plain");
  EXPECT_EQ(CFStringGetCStringPtr(plain.get(), utf16Encoding), nullptr);
  EXPECT_EQ(CFStringGetCStringPtr(accented.get(), macRoman), nullptr);
  EXPECT_EQ(CFStringGetCStringPtr(accented.get(), ascii), nullptr);
  EXPECT_STREQ(CFStringGetCStringPtr(accented.get(), utf8Encoding), "\u00E9");
}

TEST_F(CFString, CString_IsConvertedAndMustFit) {
  struct Case {
    const char* text;
    CFIndex size;
    CFStringEncoding encoding;
    std::optional<std::string> bytes; // nothing: refused
  };
  const Case cases[] = {
      {"abc", 4, macRoman, "abc"},
      {"abc", 3, macRoman, std::nullopt},
      {"abc", 0, macRoman, std::nullopt},
      {"abc", -1, ascii, std::nullopt},
      {"", 1, ascii, ""},
      {"\u00E9\u20AC", 3, macRoman, "\x8E\xDB"},
      {"\u00E9\u20AC", 2, macRoman, std::nullopt},
      {"a\x7F\u00E9", 4, macRoman, "a\x7F\x8E"},
      {"\u00E9", 8, ascii, std::nullopt},
      {"\u00E9", 3, utf8Encoding, "\u00E9"},
      {"\u00E9", 2, utf8Encoding, std::nullopt},
      {"\u4E00", 8, macRoman, std::nullopt},
      {"\U0001F600", 8, macRoman, std::nullopt},
      {"abc", 8, utf16Encoding, std::nullopt},
  };
  for (const Case& row : cases) {
    const String string = make(row.text);
    std::array<char, 9> buffer;
    buffer.fill('#');
    EXPECT_EQ(CFStringGetCString(string.get(), buffer.data(), row.size, row.encoding), row.bytes.has_value())
        << row.text << " in " << row.size;
    const std::string expected = row.bytes ? *row.bytes + '\0' : "";
    EXPECT_EQ(std::string(buffer.data(), buffer.size()), expected + std::string(buffer.size() - expected.size(), '#'))
        << row.text << " in " << row.size;
  }
  EXPECT_FALSE(CFStringGetCString(CFSTR("abc"), nullptr, 8, ascii));
}

TEST_F(CFString, EveryMacRomanByte_ComesBackAsItself) {
  for (int byte = 1; byte < 256; ++byte) {
    const std::string bytes(1, static_cast<char>(byte));
    const String string = make(bytes, macRoman);
    ASSERT_TRUE(string) << byte;
    EXPECT_EQ(CFStringGetLength(string.get()), 1) << byte;
    std::array<char, 2> buffer;
    ASSERT_TRUE(CFStringGetCString(string.get(), buffer.data(), buffer.size(), macRoman)) << byte;
    EXPECT_EQ(buffer.data(), bytes) << byte;
  }
}

TEST_F(CFString, MaximumSize_HoldsAnyTextOfThatLength) {
  EXPECT_EQ(CFStringGetMaximumSizeForEncoding(10, macRoman), 10);
  EXPECT_EQ(CFStringGetMaximumSizeForEncoding(10, ascii), 10);
  EXPECT_EQ(CFStringGetMaximumSizeForEncoding(10, utf8Encoding), 30);
  EXPECT_EQ(CFStringGetMaximumSizeForEncoding(0, utf8Encoding), 0);
  EXPECT_EQ(CFStringGetMaximumSizeForEncoding(10, utf16Encoding), -1);
  EXPECT_EQ(CFStringGetMaximumSizeForEncoding(-1, utf8Encoding), -1);
  EXPECT_EQ(CFStringGetMaximumSizeForEncoding(INT64_MAX, utf8Encoding), -1);
  EXPECT_EQ(CFStringGetMaximumSizeForEncoding(INT64_MAX / 3 + 1, utf8Encoding), -1);
  EXPECT_EQ(CFStringGetMaximumSizeForEncoding(INT64_MAX / 3, utf8Encoding), INT64_MAX / 3 * 3);
  EXPECT_EQ(CFStringGetMaximumSizeForEncoding(INT64_MAX, macRoman), INT64_MAX);
}

TEST_F(CFString, Equality_IsThatOfTheText) {
  const String a = make("caf\x8E", macRoman);
  const String b = make("caf\u00E9");
  const String c = make("cafe");
  EXPECT_TRUE(CFEqual(a.get(), b.get()));
  EXPECT_EQ(CFHash(a.get()), CFHash(b.get()));
  EXPECT_FALSE(CFEqual(b.get(), c.get()));
  EXPECT_TRUE(CFEqual(c.get(), CFSTR("cafe")));
  EXPECT_EQ(CFHash(c.get()), CFHash(CFSTR("cafe")));
}

TEST_F(CFString, Constants_AreOneForEachText) {
  const std::string text = "one constant";
  EXPECT_EQ(CFSTR("one constant"), CFStringGetConstantString(text.c_str()));
  EXPECT_NE(CFSTR("one constant"), CFSTR("another constant"));
  EXPECT_EQ(utf8(CFSTR("caf\u00E9")), "caf\u00E9");
  for (int i = 0; i < 5000; ++i) { // more than there are chains in the table
    const std::string numbered = "constant " + std::to_string(i);
    CFStringRef constant = CFStringGetConstantString(numbered.c_str());
    ASSERT_EQ(utf8(constant), numbered);
    ASSERT_EQ(CFStringGetConstantString(numbered.c_str()), constant);
  }
  EXPECT_DEATH(CFSTR("\xFF"), "^CFStringGetConstantString: not UTF-8: \"\\\\xFF\"\n");
  EXPECT_DEATH(CFStringGetConstantString(nullptr), "^CFStringGetConstantString: null in place of text\n");
}

} // namespace
