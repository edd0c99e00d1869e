// Presses of which steps are missing, repeated or out of order.
#include <velstat/trace/press_track.h>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <string>
#include <vector>

namespace {

using namespace vel::stat;
using nlohmann::json;

struct At {
  std::uint64_t time;
  Step step;
};

// The slices as "name 10-20", and the arrows as "s 9", in the order of the file.
std::vector<std::string> shown(const std::vector<At>& steps, std::uint64_t end) {
  std::string text;
  EventWriter events([&](std::string_view block) { text += block; });
  std::uint64_t flows = 0;
  PressTrack press({1, 2}, flows);
  for (const At& each : steps) {
    press.add(each.step, each.time, "Cause", events);
  }
  press.finish(end, events);
  if (!events.hasEvents()) {
    return {};
  }
  events.finish("");
  const json document = json::parse(text);
  std::vector<std::string> result;
  for (const json& event : document["traceEvents"]) {
    const std::string phase = event["ph"];
    const std::string track = event["tid"] == 2 ? "" : " apart";
    if (phase == "X") {
      const std::uint64_t begin = event["ts"];
      result.push_back(event["name"].get<std::string>() + " " + std::to_string(begin) + "-" +
                       std::to_string(begin + event["dur"].get<std::uint64_t>()) + track);
    } else if (phase != "M") {
      result.push_back(phase + " " + std::to_string(event["ts"].get<std::uint64_t>()));
    }
  }
  return result;
}
using Lines = std::vector<std::string>;

TEST(PressTrack, ShowsAWholePress) {
  EXPECT_EQ(shown({{10, Step::fingerOn},
                   {11, Step::amplifierOn},
                   {20, Step::amplifierReady},
                   {50, Step::buttonDown},
                   {51, Step::hapticStart},
                   {53, Step::hapticPlayed},
                   {90, Step::buttonUp},
                   {91, Step::hapticStart},
                   {93, Step::hapticPlayed},
                   {100, Step::fingerOff}},
                  500),
            (Lines{"amplifier starts 11-20", "s 49", "haptic 51-53", "f 51", "button down 50-90", "t 50", "s 89",
                   "haptic 91-93", "f 91", "finger 10-100"}));
}

TEST(PressTrack, EndsWhatHasNoEnd) {
  EXPECT_EQ(shown({{10, Step::fingerOn}, {20, Step::buttonDown}, {30, Step::hapticStart}}, 70),
            (Lines{"s 19", "haptic: its end is not recorded 30-70", "f 30",
                   "button down: its end is not recorded 20-70", "t 20", "finger: its end is not recorded 10-70"}));
  EXPECT_EQ(shown({{10, Step::fingerOn}, {30, Step::fingerOn}, {40, Step::fingerOff}}, 70),
            (Lines{"finger: its end is not recorded 10-30", "finger 30-40"}));
  EXPECT_EQ(shown({{10, Step::amplifierOn}, {30, Step::amplifierOn}, {40, Step::amplifierReady}}, 70),
            (Lines{"amplifier never ready 10-30", "amplifier starts 30-40"}));
}

TEST(PressTrack, LeavesOutEndsWithoutABegin) {
  EXPECT_EQ(shown({{10, Step::fingerOff},
                   {11, Step::buttonUp},
                   {12, Step::amplifierReady},
                   {13, Step::hapticPlayed},
                   {14, Step::hapticFailed}},
                  70),
            Lines{});
}

TEST(PressTrack, HasNoArrowFromAFingerThatIsNotRecorded) {
  EXPECT_EQ(
      shown({{20, Step::buttonDown}, {30, Step::hapticStart}, {31, Step::hapticFailed}, {40, Step::buttonUp}}, 70),
      (Lines{"no haptic: Cause 30-31", "button down 20-40", "s 39"}));
}

TEST(PressTrack, PutsWhatOverlapsInPartOnASecondTrack) {
  EXPECT_EQ(shown({{10, Step::fingerOn},
                   {20, Step::buttonDown},
                   {30, Step::hapticStart},
                   {40, Step::buttonUp},
                   {60, Step::hapticPlayed},
                   {80, Step::fingerOff}},
                  80),
            (Lines{"s 19", "button down 20-40", "t 20", "s 39", "haptic 30-60 apart", "f 30", "finger 10-80"}));
}

TEST(PressTrack, BearsTimesThatGoBack) {
  EXPECT_EQ(shown({{10, Step::fingerOn}, {30, Step::buttonDown}, {25, Step::buttonUp}, {5, Step::fingerOff}}, 40),
            (Lines{"s 29", "button down 30-30", "t 30", "s 30", "finger 10-30"}));
}

} // namespace
