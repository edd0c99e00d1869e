// The unified log: objects, levels, the lines in memory and the sinks.
#include "services_fixture.h"

#include <os/log.h>
#include <os/object.h>

#include <nlohmann/json.hpp>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <thread>
#include <unistd.h>
#include <utility>

using namespace vel::control;

namespace {

class Log : public Services {
protected:
  void SetUp() override { std::filesystem::create_directories(folder_); }
  void TearDown() override {
    setLogFile({});
    setLogToStderr(false);
    keepLogInMemory(true);
    for (const auto type : {OS_LOG_TYPE_INFO, OS_LOG_TYPE_DEBUG}) {
      setLogLevel(type, false);
    }
    for (const auto type : {OS_LOG_TYPE_DEFAULT, OS_LOG_TYPE_ERROR, OS_LOG_TYPE_FAULT}) {
      setLogLevel(type, true);
    }
    std::filesystem::remove_all(folder_);
    Services::TearDown();
  }

  static std::vector<std::string> messages() {
    std::vector<std::string> all;
    for (const auto& line : logLines()) {
      all.push_back(std::string(logLevelName(line.type)) + " " + line.subsystem + ":" + line.category + ": " +
                    line.message);
    }
    return all;
  }
  std::vector<std::string> fileLines() const {
    std::ifstream file(file_);
    std::vector<std::string> lines;
    for (std::string line; std::getline(file, line);) {
      lines.push_back(line);
    }
    return lines;
  }

  const std::filesystem::path folder_ =
      std::filesystem::temp_directory_path() / ("vel-log-test-" + std::to_string(getpid()));
  const std::filesystem::path file_ = folder_ / "log.jsonl";
  os_log_t log_ = os_log_create("KIP", "test");
};

TEST_F(Log, Object_IsTheSameForTheSameNames) {
  EXPECT_EQ(os_log_create("KIP", "test"), log_);
  EXPECT_NE(os_log_create("KIP", "other"), log_);
  EXPECT_NE(os_log_create("other", "test"), log_);
  EXPECT_EQ(os_log_create(nullptr, "test"), nullptr);
  EXPECT_EQ(os_log_create("KIP", nullptr), nullptr);
}

TEST_F(Log, Object_OutlivesItsReleases) {
  const auto before = logObjectReleases();
  os_release(log_);
  os_release(log_);
  os_release(nullptr);
  EXPECT_EQ(logObjectReleases(), before + 2);
  os_log(log_, "still here");
  EXPECT_EQ(messages(), std::vector<std::string>{"default KIP:test: still here"});
}

// Without the fixture's folder: the process that dies would leave it behind.
TEST(LogObject, ReleasingWhatIsNot_EndsTheProcess) {
  testing::FLAGS_gtest_death_test_style = "threadsafe";
  int other = 0;
  EXPECT_DEATH(os_release(&other), "os_release: .* is not a log object");
}

TEST_F(Log, Levels_DecideWhatIsKept) {
  struct Row {
    os_log_type_t type;
    const char* name;
    bool enabled;
  };
  for (const auto& row : {Row{OS_LOG_TYPE_DEFAULT, "default", true}, Row{OS_LOG_TYPE_INFO, "info", false},
                          Row{OS_LOG_TYPE_DEBUG, "debug", false}, Row{OS_LOG_TYPE_ERROR, "error", true},
                          Row{OS_LOG_TYPE_FAULT, "fault", true}, Row{0x12, "unknown", false},
                          Row{0x20, "unknown", false}, Row{0xFF, "unknown", false}}) {
    EXPECT_STREQ(logLevelName(row.type), row.name);
    EXPECT_EQ(os_log_type_enabled(log_, row.type), row.enabled) << row.name;
    os_log_with_type(log_, row.type, "line");
    EXPECT_EQ(logLines().size(), row.enabled ? 1U : 0U) << row.name;
    clearLog();
  }
  for (const auto type :
       {OS_LOG_TYPE_DEFAULT, OS_LOG_TYPE_INFO, OS_LOG_TYPE_DEBUG, OS_LOG_TYPE_ERROR, OS_LOG_TYPE_FAULT}) {
    setLogLevel(type, true);
    EXPECT_TRUE(os_log_type_enabled(log_, type));
    setLogLevel(type, false);
    EXPECT_FALSE(os_log_type_enabled(log_, type));
  }
}

TEST_F(Log, TypesThatAreNoLevel_CannotBeEnabled) {
  for (const int type : {0x03, 0x12, 0x1F, 0x20, 0xFF}) {
    setLogLevel(static_cast<os_log_type_t>(type), true);
    EXPECT_FALSE(os_log_type_enabled(log_, static_cast<os_log_type_t>(type))) << type;
  }
}

TEST_F(Log, NullObject_TakesNoLines) {
  os_log_t const none = nullptr;
  EXPECT_FALSE(os_log_type_enabled(none, OS_LOG_TYPE_FAULT));
  os_log_fault(none, "line");
  EXPECT_TRUE(logLines().empty());
}

TEST_F(Log, Memory_KeepsLinesWholeAndInOrder) {
  os_log(log_, "one\n");
  os_log_error(log_, "two%d", 2);
  os_log_fault(os_log_create("KIP", "other"), "fault!");
  EXPECT_EQ(messages(),
            (std::vector<std::string>{"default KIP:test: one\n", "error KIP:test: two2", "fault KIP:other: fault!"}));
  keepLogInMemory(false);
  os_log(log_, "gone");
  EXPECT_EQ(logLines().size(), 3U);
  keepLogInMemory(true);
  clearLog();
  EXPECT_TRUE(logLines().empty());
}

TEST_F(Log, File_HasOneJSONObjectALine) {
  struct Row {
    const char* message;
    const char* read;
  };
  const Row rows[] = {
      {"plain", "plain"},
      {"two\nlines\n", "two\nlines\n"},
      {"quote \" backslash \\ tab \t", "quote \" backslash \\ tab \t"},
      {"\x1B[31m", "\x1B[31m"},
      {"caf\xC3\xA9 \xF0\x9F\x98\x80", "caf\xC3\xA9 \xF0\x9F\x98\x80"},
      {"bad \xFF\xC3", "bad \\xFF\\xC3"},
      {"overlong \xC0\x80 surrogate \xED\xA0\x80", "overlong \\xC0\\x80 surrogate \\xED\\xA0\\x80"},
      {"", ""},
      {"brace { %v }", "brace { %v }"},
  };
  setLogFile(file_);
  for (const auto& row : rows) {
    os_log_error(log_, "%s", row.message);
  }
  const auto lines = fileLines();
  ASSERT_EQ(lines.size(), std::size(rows));
  for (std::size_t i = 0; i < lines.size(); ++i) {
    const auto line = nlohmann::ordered_json::parse(lines[i]);
    EXPECT_EQ(line.size(), 5U) << lines[i];
    EXPECT_THAT(line["time"].get<std::string>(),
                testing::MatchesRegex("[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9]{2}:[0-9]{2}:[0-9]{2}\\.[0-9]{6}Z"));
    EXPECT_EQ(line["level"], "error");
    EXPECT_EQ(line["subsystem"], "KIP");
    EXPECT_EQ(line["category"], "test");
    EXPECT_EQ(line["message"], rows[i].read) << lines[i];
  }
}

TEST_F(Log, File_StartsAnewAndEnds) {
  setLogFile(file_);
  os_log(log_, "first");
  EXPECT_EQ(fileLines().size(), 1U);
  setLogFile(file_);
  EXPECT_EQ(fileLines().size(), 0U);
  os_log(log_, "second");
  setLogFile({});
  os_log(log_, "third");
  EXPECT_EQ(fileLines().size(), 1U);
}

TEST_F(Log, FileThatCannotBeOpened_Throws) {
  const std::pair<std::filesystem::path, const char*> rows[] = {
      {folder_, "Is a directory"},
      {folder_ / "none" / "log.jsonl", "No such file or directory"},
      {"/dev/full/log.jsonl", "Not a directory"},
  };
  for (const auto& [path, cause] : rows) {
    try {
      setLogFile(path);
      ADD_FAILURE() << path;
    } catch (const std::runtime_error& error) {
      EXPECT_EQ(error.what(), path.string() + ": " + cause);
    }
  }
  EXPECT_TRUE(std::filesystem::is_empty(folder_)) << "no folder is made";
  os_log(log_, "goes on");
  EXPECT_EQ(logLines().size(), 1U);
}

TEST_F(Log, FileThatCannotBeWritten_IsGivenUp) {
  setLogFile("/dev/full");
  EXPECT_EQ(logFileFailure(), std::nullopt);
  testing::internal::CaptureStderr();
  os_log(log_, "one");
  os_log(log_, "two");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
  EXPECT_EQ(logFileFailure(), "/dev/full: No space left on device");
  EXPECT_EQ(logLines().size(), 2U);
  setLogFile(file_);
  os_log(log_, "three");
  EXPECT_EQ(logFileFailure(), std::nullopt);
  EXPECT_EQ(fileLines().size(), 1U);
}

TEST_F(Log, LineAsJSON_HasItsTime) {
  EXPECT_EQ(logLineJson({.type = OS_LOG_TYPE_FAULT,
                         .subsystem = "a",
                         .category = "b\"",
                         .message = "c\n\xFF",
                         .time = 1'700'000'000'012'345}),
            R"({"time":"2023-11-14T22:13:20.012345Z","level":"fault","subsystem":"a","category":"b\"",)"
            R"("message":"c\n\\xFF"})");
  EXPECT_EQ(logLineJson({.time = -1}).substr(0, 38), R"({"time":"1969-12-31T23:59:59.999999Z",)");
}

TEST_F(Log, LineAsJSON_IsTheLine) {
  std::string message;
  for (char32_t c = 1; c < 0x800; ++c) {
    message += c < 0x80 ? std::string(1, static_cast<char>(c))
                        : std::string({static_cast<char>(0xC0 | c >> 6), static_cast<char>(0x80 | (c & 0x3F))});
  }
  message += "\u2027\u2028\u202E\u2066\u20AC\uFEFF\U000E0001\U0001F600";
  const LogLine line{.subsystem = message, .category = message, .message = message};
  const auto read = nlohmann::json::parse(logLineJson(line));
  for (const char* name : {"subsystem", "category", "message"}) {
    EXPECT_EQ(read[name], message) << name;
  }
}

TEST_F(Log, LineAsJSON_DoesNotSteerATerminal) {
  const LogLine line{
      .message = "\x1B \x7F \u0080\u009F\u00A0 \u061C \u200E\u200F \u202A\u202E \u2066\u2069 \U000E0001 \u20AC"};
  EXPECT_THAT(logLineJson(line), testing::EndsWith(R"(,"message":"\u001b \u007f \u0080\u009f)"
                                                   "\u00A0"
                                                   R"( \u061c \u200e\u200f \u202a\u202e )"
                                                   R"(\u2066\u2069 \udb40\udc01 )"
                                                   "\u20AC"
                                                   R"("})"));
}

TEST_F(Log, Memory_KnowsWhenALineWasWritten) {
  using namespace std::chrono;
  const auto now = [] { return duration_cast<microseconds>(system_clock::now().time_since_epoch()).count(); };
  const auto before = now();
  os_log(log_, "line");
  EXPECT_GE(logLines().at(0).time, before);
  EXPECT_LE(logLines().at(0).time, now());
}

TEST_F(Log, Stderr_ShowsALineWithoutItsLastNewline) {
  testing::internal::CaptureStderr();
  setLogToStderr(true);
  os_log(log_, "one\n");
  os_log_error(log_, "two\n\n");
  os_log_fault(log_, "bell \a escape \x1B[31m tab \t bad \xFF good \xC3\xA9 \u009B31m \u202E \u061C");
  setLogToStderr(false);
  os_log(log_, "not shown");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "default KIP:test: one\n"
                                                    "error KIP:test: two\n\n"
                                                    "fault KIP:test: bell \\x07 escape \\x1B[31m tab \t bad \\xFF "
                                                    "good \xC3\xA9 \\u{9B}31m \\u{202E} \\u{61C}\n");
}

TEST_F(Log, ManyThreads_LoseNoLine) {
  setLogFile(file_);
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([t] {
      auto* const log = os_log_create("KIP", std::to_string(t).c_str());
      for (int i = 0; i < 100; ++i) {
        os_log(log, "%d", i);
      }
      os_release(log);
    });
  }
  for (auto& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(fileLines().size(), 400U);
  std::map<std::string, int> next;
  for (const auto& line : logLines()) {
    EXPECT_EQ(line.message, std::to_string(next[line.category]++)) << line.category;
  }
  EXPECT_EQ(next.size(), 4U);
}

} // namespace
