// Names as people type them: in any case, and misspelt.
#include <formats/nearest_name.h>

#include <gmock/gmock.h>

namespace vel::formats {

namespace {

TEST(NearestName, Misspellings_FindTheName) {
  constexpr std::string_view names[] = {"zorb", "sensors", "AmpTurnOn", "AmpTurnOff"};
  const struct {
    const char* what;
    std::string_view word;
    std::optional<std::string_view> nearest;
  } rows[] = {
      {"a letter too few", "sensor", "sensors"},
      {"a letter too many", "zorbb", "zorb"},
      {"another letter", "zorp", "zorb"},
      {"two letters swapped", "zrob", "zorb"},
      {"another case costs nothing", "SENSOR", "sensors"},
      {"of two near names the nearer one", "amptrunoff", "AmpTurnOff"},
      {"far from all", "uart", std::nullopt},
      {"two faults in a short name", "zrop", std::nullopt},
      {"nothing", "", std::nullopt},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(nearestName(row.word, names), row.nearest) << row.what;
  }
}

TEST(NearestName, WordsThatNobodyTypes_AreNotCompared) {
  const std::string name(65, 'a');
  const std::string_view names[] = {name};
  EXPECT_EQ(nearestName(name, names), std::nullopt);
  EXPECT_EQ(nearestName("a", {}), std::nullopt);
  constexpr std::string_view short_[] = {"x"};
  EXPECT_EQ(nearestName("", short_), std::nullopt);
}

TEST(EqualIgnoringCase, OnlyTheCaseOfAsciiLettersIsIgnored) {
  EXPECT_TRUE(equalIgnoringCase("ckp_ZORBFingerON", "CKP_zorbfingeron"));
  EXPECT_TRUE(equalIgnoringCase("", ""));
  EXPECT_FALSE(equalIgnoringCase("amp", "ampl"));
  EXPECT_FALSE(equalIgnoringCase("a-b", "a_b"));
  EXPECT_FALSE(equalIgnoringCase("[", "{")); // 32 apart, as the cases of a letter are
}

} // namespace

} // namespace vel::formats
