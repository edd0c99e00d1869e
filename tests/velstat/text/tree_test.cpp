// Property lists as indented trees.
#include <velstat/text/tree.h>

#include <gtest/gtest.h>

namespace {

using namespace vel::formats;
using namespace vel::stat;

std::string tree(const Value& value, bool colour = false) {
  StringSink out;
  appendTree(out, value, 2, Style(colour));
  return out.take();
}

TEST(Tree, KeysOfOneDictionaryAreAligned) {
  EXPECT_EQ(tree({Dictionary{{"a", {std::int64_t{-1}}},
                             {"longer", {std::string("text")}},
                             {"a very long key of a dictionary", {Dictionary{{"in", {true}}}}},
                             {"e\xCC\x81", {1.5}}}}),
            "  a       -1\n"
            "  longer  text\n"
            "  a very long key of a dictionary\n"
            "    in  true\n"
            "  e\xCC\x81      1.5\n");
}

TEST(Tree, OnATerminal_KeysHaveHalfOfTheLine) {
  StringSink out;
  appendTree(out, {Dictionary{{"a", {true}}, {"a key that is longer than half", {false}}}}, 2, Style(false, 40));
  EXPECT_EQ(out.text(), "  a                 true\n"
                        "  a key that is longer than half  false\n");
}

TEST(Tree, LongKeysAreCut_AndWidenTheColumnNoFurther) {
  const std::string text = tree({Dictionary{{std::string(300'000, 'k'), {true}}, {"a", {false}}}});
  const std::string longKey = std::string(40, 'k') + "…" + std::string(20, 'k') + " (300000 bytes)";
  EXPECT_EQ(text, "  " + longKey + "  true\n" + "  a" + std::string(75, ' ') + "  false\n");
}

TEST(Tree, ArraysCountTheirItems) {
  EXPECT_EQ(tree({Array{{std::string("x")}, {Array{{std::string("y")}}}}}), "  0  x\n"
                                                                            "  1\n"
                                                                            "    0  y\n");
}

TEST(Tree, EmptyThingsAreSeen) {
  EXPECT_EQ(tree({Dictionary{{"d", {Dictionary()}}, {"a", {Array()}}, {"s", {std::string()}}}}),
            "  d  (empty dictionary)\n"
            "  a  (empty array)\n"
            "  s  \"\"\n");
  EXPECT_EQ(tree({Dictionary()}), "  (empty dictionary)\n");
}

TEST(Tree, BlanksAtTheEndsAreSeen) {
  EXPECT_EQ(tree({std::string("R20=57 ")}), "  \"R20=57 \"\n");
  EXPECT_EQ(tree({std::string(" a")}), "  \" a\"\n");
  EXPECT_EQ(tree({std::string("\"a\"")}), "  \"\"a\"\"\n");
}

TEST(Tree, KeysAndTextsAreEscaped) {
  EXPECT_EQ(tree({Dictionary{{"k\n", {std::string("\x1B[0m")}}}}), "  k\\n  \\x1B[0m\n");
}

TEST(Tree, DataIsCut) {
  EXPECT_EQ(tree({Bytes(3, std::byte{0xAB})}), "  <3 bytes: ab ab ab>\n");
  EXPECT_EQ(tree({Bytes()}), "  <0 bytes>\n");
  const std::string text = tree({Bytes(33)});
  EXPECT_EQ(text.substr(0, 17), "  <33 bytes: 00 0");
  EXPECT_EQ(text.substr(text.size() - 9), " 00 ...>\n");
}

TEST(Tree, ColoursAreMarks) {
  EXPECT_EQ(tree({Dictionary{{"k", {true}}}}, true), "  \x1B[2mk\x1B[0m  true\n");
}

} // namespace
