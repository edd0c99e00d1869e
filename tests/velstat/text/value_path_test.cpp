// Paths into trees: which places a set of patterns finds, in which order.
#include <velstat/text/value_path.h>

#include <gmock/gmock.h>

namespace {

using namespace vel::stat;
using testing::ElementsAre;
using testing::IsEmpty;

// {"a": {"b": 1, "c": [2, {"b": 3}]}, "x/y": {"": 4, "*": 5}, "b": 6}
Value tree() {
  const auto number = [](std::int64_t value) { return Value{value}; };
  return {Dictionary{
      {"a", {Dictionary{{"b", number(1)}, {"c", {Array{number(2), {Dictionary{{"b", number(3)}}}}}}}}},
      {"x/y", {Dictionary{{"", number(4)}, {"*", number(5)}}}},
      {"b", number(6)},
  }};
}

std::vector<std::string> pathsOf(const std::vector<std::string>& patterns, std::vector<bool>* found = nullptr) {
  const std::vector<PathPattern> list(patterns.begin(), patterns.end());
  const Value value = tree();
  std::vector<std::string> paths;
  const std::vector<bool> result =
      findPaths(value, list, [&](std::string_view path, const Value&) { paths.emplace_back(path); });
  if (found != nullptr) {
    *found = result;
  }
  return paths;
}

TEST(Paths, SegmentsAreKeysOrPositions) {
  EXPECT_THAT(pathsOf({"b"}), ElementsAre("b"));
  EXPECT_THAT(pathsOf({"a/b"}), ElementsAre("a/b"));
  EXPECT_THAT(pathsOf({"a/c/1/b"}), ElementsAre("a/c/1/b"));
  EXPECT_THAT(pathsOf({"a/c/01"}), IsEmpty());
  EXPECT_THAT(pathsOf({"a/c/2"}), IsEmpty());
  EXPECT_THAT(pathsOf({"a/b/0"}), IsEmpty());
  EXPECT_THAT(pathsOf({""}), IsEmpty());
}

TEST(Paths, SlashesInKeysAreEscaped) {
  EXPECT_THAT(pathsOf({"x\\/y/\\*"}), ElementsAre("x\\/y/*"));
  EXPECT_THAT(pathsOf({"x\\/y/"}), ElementsAre("x\\/y/"));
  EXPECT_THAT(pathsOf({"x/y"}), IsEmpty());
  ValuePath path;
  for (const char* key : {"a/b", "c\\", "d"}) {
    path.push(key);
  }
  EXPECT_EQ(path.text(), "a\\/b/c\\\\/d");
  path.pop();
  EXPECT_EQ(path.text(), "a\\/b/c\\\\");
}

TEST(Paths, GlobsStayInTheirSegment) {
  EXPECT_THAT(pathsOf({"*"}), ElementsAre("a", "x\\/y", "b"));
  EXPECT_THAT(pathsOf({"?/*"}), ElementsAre("a/b", "a/c"));
  EXPECT_THAT(pathsOf({"a/[!b]/[0-9]"}), ElementsAre("a/c/0", "a/c/1"));
}

TEST(Paths, TwoStarsStandForAnyNumberOfSegments) {
  EXPECT_THAT(pathsOf({"**/b"}), ElementsAre("a/b", "a/c/1/b", "b"));
  EXPECT_THAT(pathsOf({"a/**/b"}), ElementsAre("a/b", "a/c/1/b"));
  EXPECT_THAT(pathsOf({"a/**/**/c/**/b"}), ElementsAre("a/c/1/b"));
  EXPECT_THAT(pathsOf({"a/**"}), ElementsAre("a"));
  EXPECT_THAT(pathsOf({"**"}), ElementsAre(""));
}

TEST(Paths, AValueIsFoundOnce_AndNothingInside) {
  EXPECT_THAT(pathsOf({"a/b", "**/b", "a/c"}), ElementsAre("a/b", "a/c", "b"));
}

TEST(Paths, EachPatternIsToldWhetherItFoundAnything) {
  std::vector<bool> found;
  pathsOf({"none", "b", "*/none", "?"}, &found);
  EXPECT_THAT(found, ElementsAre(false, true, false, true));
}

TEST(Paths, MayAllBeginWithAKey) {
  const std::vector<std::pair<const char*, std::vector<std::string>>> rows = {
      {"top\\/1/b", {"top\\/1/b"}},
      {"*/b", {"top\\/1/b"}},
      {"**/b", {"top\\/1/a/b", "top\\/1/a/c/1/b", "top\\/1/b"}},
      {"top*", {"top\\/1"}},
      {"b", {}},
  };
  for (const auto& [pattern, expected] : rows) {
    const std::vector<PathPattern> list{PathPattern(pattern)};
    const Value value = tree();
    std::vector<std::string> paths;
    findPaths(
        value, list, [&](std::string_view path, const Value&) { paths.emplace_back(path); }, "top/1");
    EXPECT_EQ(paths, expected) << pattern;
  }
}

TEST(Paths, APatternCoversWhatIsInsideOfWhatItMatches) {
  const struct {
    const char* pattern;
    const char* path;
    bool covered;
  } rows[] = {
      {"a", "a", true},         {"a", "a/b/c", true},   {"a", "ab", false},       {"a/b", "a", false},
      {"*", "a/b", true},       {"**", "a", true},      {"**", "", true},         {"**/b", "a/b/c", true},
      {"**/b", "a/c", false},   {"a/**", "a", true},    {"a/**/c", "a/b", false}, {"a/**/c", "a/x/y/c/d", true},
      {"a\\/b", "a\\/b", true}, {"a*b", "a\\/b", true}, {"a/b", "a\\/b", false},  {"a\\\\", "a\\\\/b", true},
      {"", "", true},           {"", "a", false},
  };
  for (const auto& row : rows) {
    const std::vector<PathPattern> list{PathPattern("none"), PathPattern(row.pattern)};
    EXPECT_EQ(covers(list, row.path), row.covered) << row.pattern << " and " << row.path;
  }
  EXPECT_FALSE(covers({}, "a"));
}

} // namespace
