// The log of a capture: what goes in comes out, in order, and equal lines are counted.
#include <velstat/capture/captured_log.h>

#include <gmock/gmock.h>

#include <string>

namespace {

using namespace vel::control;
using testing::ElementsAre;
using vel::stat::CapturedLog;

LogLine line(os_log_type_t type, std::string message, std::int64_t time, std::string category = "c") {
  return {.type = type, .subsystem = "s", .category = std::move(category), .message = std::move(message), .time = time};
}

CapturedLog filled() {
  CapturedLog log;
  log.add(line(OS_LOG_TYPE_ERROR, "one", 10));
  log.add(line(OS_LOG_TYPE_DEFAULT, "two", 11));
  log.add(line(OS_LOG_TYPE_ERROR, "one", 12));
  log.add(line(OS_LOG_TYPE_FAULT, "one", 13));
  log.add(line(OS_LOG_TYPE_ERROR, "one", 14, "other"));
  return log;
}

TEST(CapturedLog, GivesTheLinesBack) {
  std::vector<std::string> lines;
  const CapturedLog log = filled();
  log.each([&](const LogLine& l) {
    lines.push_back(std::string(logLevelName(l.type)) + " " + l.subsystem + ":" + l.category + " " + l.message + " " +
                    std::to_string(l.time));
  });
  EXPECT_THAT(lines, ElementsAre("error s:c one 10", "default s:c two 11", "error s:c one 12", "fault s:c one 13",
                                 "error s:other one 14"));
  EXPECT_EQ(log.size(), 5U);
}

TEST(CapturedLog, CountsLinesOfOneLevelAndMessage_InTheOrderOfTheFirst) {
  std::vector<std::string> lines;
  const CapturedLog log = filled();
  for (const auto& [type, message, times] : log.repeated()) {
    lines.push_back(std::string(logLevelName(type)) + " " + *message + " " + std::to_string(times));
  }
  EXPECT_THAT(lines, ElementsAre("error one 3", "default two 1", "fault one 1"));
}

} // namespace
