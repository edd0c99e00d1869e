// The five ways to the driver: what they send, what they hand back, and what they log.

#include "support/statistics_fixture.h"
#include <control/calls.h>

#include <mach/mach_error.h>

#include <gmock/gmock.h>

#include <memory>

namespace vel::test {
namespace {

using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;

struct DriverChannel : StatisticsTest {
  DriverChannel() {
    context._driver._interface = reinterpret_cast<VELDriverInterface**>(&driver);
    control::clearLog();
  }
  Context context = {};
};

TEST_F(DriverChannel, GetProperty_IsCommand10WithTheIdAsInput) {
  driver.property = [](std::uint32_t) { return Reply{{1, 2, 3}}; };
  std::uint8_t buffer[8] = {9, 9, 9, 9};
  std::size_t length = 77;
  EXPECT_EQ(plugin->getProperty(&context, 0x01020304, buffer, sizeof buffer, &length), 0);
  EXPECT_THAT(driver.calls, ElementsAre("command(10, 4, 8)"));
  EXPECT_THAT(driver.input, ElementsAre(4, 3, 2, 1));
  EXPECT_EQ(length, 3U);
  EXPECT_THAT(std::vector<int>(buffer, buffer + 4), ElementsAre(1, 2, 3, 9));
}

TEST_F(DriverChannel, GetProperty_WithoutInterface_IsNotReadyAndLeavesTheLength) {
  context._driver._interface = nullptr;
  std::uint8_t buffer[4];
  std::size_t length = 77;
  EXPECT_EQ(plugin->getProperty(&context, 1, buffer, sizeof buffer, &length), static_cast<IOReturn>(0xE00002D8));
  EXPECT_EQ(length, 77U);
  EXPECT_THAT(logMessages(), ElementsAre(assertionLine("context->_driver._interface", "", 1143, 0)));
}

TEST_F(DriverChannel, GetProperty_FailingCommand_ReturnsItsResultUnlogged) {
  driver.property = [](std::uint32_t) { return Reply{.result = kFailure}; };
  std::uint8_t buffer[4];
  std::size_t length = 77;
  EXPECT_EQ(plugin->getProperty(&context, 1, buffer, sizeof buffer, &length), kFailure);
  EXPECT_EQ(length, 77U);
  EXPECT_THAT(logMessages(), IsEmpty());
}

TEST_F(DriverChannel, GetProperty_WithoutLengthPointer_ReturnsTheResult) {
  std::uint8_t buffer[4];
  EXPECT_EQ(plugin->getProperty(&context, 1, buffer, sizeof buffer, nullptr), 0);
  driver.property = [](std::uint32_t) { return Reply{.result = kFailure}; };
  EXPECT_EQ(plugin->getProperty(&context, 1, buffer, sizeof buffer, nullptr), kFailure);
}

struct U32Case {
  const char* name;
  Reply reply;
  IOReturn result;
  std::uint32_t value;
  std::vector<std::string> log;
};

TEST_F(DriverChannel, GetPropertyU32) {
  const std::vector<std::string> size = {assertionLine("size == sizeof(uint32_t)", "", 1165, 0)};
  const U32Case cases[] = {
      {"four bytes", {le(0x89ABCDEFU)}, 0, 0x89ABCDEF, {}},
      {"two bytes", {{1, 2}}, 0, 4711, size},
      {"no bytes", {{}}, 0, 4711, size},
      {"more than there is room for", {.bytes = {1, 2, 3, 4}, .length = 8}, 0, 4711, size},
      {"a failing read", {.bytes = {1, 2, 3, 4}, .result = kFailure}, kFailure, 4711, {}},
  };
  for (const U32Case& row : cases) {
    control::clearLog();
    driver.property = [&](std::uint32_t) { return row.reply; };
    std::uint32_t value = 1;
    EXPECT_EQ(plugin->getPropertyU32(&context, 1, &value, 4711), row.result) << row.name;
    EXPECT_EQ(value, row.value) << row.name;
    EXPECT_THAT(logMessages(), ElementsAreArray(row.log)) << row.name;
  }
}

TEST_F(DriverChannel, GetPropertyU32_WithoutInterface_StoresTheDefault) {
  context._driver._interface = nullptr;
  std::uint32_t value = 1;
  EXPECT_EQ(plugin->getPropertyU32(&context, 1, &value, 4711), static_cast<IOReturn>(0xE00002D8));
  EXPECT_EQ(value, 4711U);
}

TEST_F(DriverChannel, PerformCommand_PassesEverythingOn) {
  driver.command = [](std::uint32_t command) { return Reply{{static_cast<std::uint8_t>(command), 5}}; };
  std::uint8_t input[3] = {0xA1, 0xB2, 0xC3};
  std::uint8_t output[16] = {};
  std::size_t length = sizeof output;
  EXPECT_EQ(plugin->performCommand(&context, 57, input, sizeof input, output, &length), 0);
  EXPECT_THAT(driver.calls, ElementsAre("command(57, 3, 16)"));
  EXPECT_THAT(driver.input, ElementsAreArray(input));
  EXPECT_EQ(length, 2U);
  EXPECT_EQ(output[0], 57);
  EXPECT_THAT(logMessages(), IsEmpty());
}

TEST_F(DriverChannel, PerformCommand_Failing_LogsTheResult) {
  driver.command = [](std::uint32_t) { return Reply{.result = kFailure}; };
  std::uint8_t output[16];
  std::size_t length = sizeof output;
  EXPECT_EQ(plugin->performCommand(&context, 57, nullptr, 0, output, &length), kFailure);
  EXPECT_EQ(length, sizeof output);
  EXPECT_THAT(logMessages(), ElementsAre(assertionLine("result == 0 ", "", 1130, 0xE00002D5)));
}

// By design: the reports that send a command have looked at the interface.
TEST_F(DriverChannel, PerformCommand_DoesNotTestForTheInterface) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  context._driver._interface = nullptr;
  std::uint8_t output[16];
  std::size_t length = sizeof output;
  EXPECT_DEATH(plugin->performCommand(&context, 57, nullptr, 0, output, &length), "");
}

struct NamedService : DriverChannel {
  NamedService() { control::attachUserClient(control::addRegistryEntry({.name = "KIP_profile"}), service); }
  ~NamedService() override {
    EXPECT_EQ(control::openConnections(), 0U);
    EXPECT_EQ(control::registryReferences(), 0U);
  }
  IOReturn read(const char* name = "KIP_profile") {
    return plugin->getNamedServiceProperty(name, 0xFFFFFFFF, buffer, sizeof buffer, &length);
  }
  IOReturn perform(const char* name = "KIP_profile") {
    return plugin->performNamedServiceCommand(name, 9, input, sizeof input, buffer, &length);
  }
  std::shared_ptr<FakeService> service = std::make_shared<FakeService>();
  std::uint8_t input[3] = {0xA1, 0xB2, 0xC3};
  std::uint8_t buffer[8] = {};
  std::size_t length = sizeof buffer;
};

TEST_F(NamedService, Property_IsSelector2WithTheIdAsAScalar) {
  service->reply.bytes = {1, 2, 3};
  length = 77;
  EXPECT_EQ(read(), 0);
  EXPECT_EQ(service->openedWith, 0U);
  EXPECT_EQ(service->selector, 2U);
  EXPECT_THAT(service->scalars, ElementsAre(0xFFFFFFFFU));
  EXPECT_THAT(service->input, IsEmpty());
  EXPECT_EQ(service->capacity, sizeof buffer);
  EXPECT_EQ(length, 3U);
  EXPECT_THAT(logMessages(), IsEmpty());
}

TEST_F(NamedService, Command_IsTheSelectorWithoutScalars) {
  service->reply.bytes = {1, 2, 3};
  EXPECT_EQ(perform(), 0);
  EXPECT_EQ(service->openedWith, 0U);
  EXPECT_EQ(service->selector, 9U);
  EXPECT_THAT(service->scalars, IsEmpty());
  EXPECT_THAT(service->input, ElementsAreArray(input));
  EXPECT_EQ(service->capacity, sizeof buffer);
  EXPECT_EQ(length, 3U);
  EXPECT_THAT(logMessages(), IsEmpty());
}

// A request's calls up to the look-up, and through the open.
std::vector<std::string> lookUp(const std::string& name) {
  return {"IOServiceNameMatching(" + name + ")", "IOServiceGetMatchingService(IONameMatch=" + name + ")"};
}
std::vector<std::string> open(const std::string& name) {
  std::vector<std::string> calls = lookUp(name);
  calls.insert(calls.end(), {"mach_task_self()", "IOServiceOpen(" + name + ", 0x103, 0)"});
  return calls;
}
const std::string kPropertyCall = "IOConnectCallMethod(0x2, 1, 0, 8)"; // one scalar, no input
const std::string kCommandCall = "IOConnectCallMethod(0x9, 0, 3, 8)";  // no scalar, the caller's input

TEST_F(NamedService, EveryRequest_LooksUpOpensAndCloses) {
  const std::vector<std::string> calls = recordingOf([this] {
    read();
    length = sizeof buffer;
    perform();
  });
  const std::vector<std::string> closed = {"IOServiceClose()", "IOObjectRelease(KIP_profile)"};
  EXPECT_THAT(calls, ElementsAreArray(open("KIP_profile") + kPropertyCall + closed + open("KIP_profile") +
                                      kCommandCall + closed));
}

struct NamedFailure {
  const char* name;
  IOReturn openResult;
  IOReturn callResult;
  int propertyLine;
  int commandLine;
  const char* message; // the system's text for the code, or none
};

TEST_F(NamedService, Failures_AreOneCodeForPropertiesAndTheirOwnForCommands) {
  const NamedFailure cases[] = {
      {"open fails", kFailure, 0, 1210, 1184, mach_error_string(kFailure)},
      {"open fails with a nameless code", kNameless, 0, 1210, 1184, ""},
      {"call fails", 0, kFailure, 1214, 1188, mach_error_string(kFailure)},
      {"call fails with a nameless code", 0, kNameless, 1214, 1188, ""},
  };
  ASSERT_EQ(mach_error_string(kNameless), nullptr);
  for (const NamedFailure& row : cases) {
    SCOPED_TRACE(row.name);
    const IOReturn code = row.openResult != 0 ? row.openResult : row.callResult;
    service->openResult = row.openResult;
    service->reply.result = row.callResult;
    length = 5;
    control::clearLog();
    EXPECT_EQ(read(), static_cast<IOReturn>(0xE00002BC));
    EXPECT_THAT(logMessages(), ElementsAre(assertionLine("kr == 0 ", row.message, row.propertyLine,
                                                         static_cast<std::uint32_t>(code))));
    control::clearLog();
    EXPECT_EQ(perform(), code);
    EXPECT_THAT(logMessages(),
                ElementsAre(assertionLine("kr == 0 ", row.message, row.commandLine, static_cast<std::uint32_t>(code))));
    EXPECT_EQ(length, 5U);
  }
}

TEST_F(NamedService, UnknownName_IsAnError) {
  length = 5;
  EXPECT_EQ(read("KIP"), static_cast<IOReturn>(0xE00002BC));
  EXPECT_EQ(perform("KIP"), static_cast<IOReturn>(0xE00002BC));
  EXPECT_EQ(length, 5U);
  EXPECT_THAT(logMessages(), ElementsAre(assertionLine("service", "", 1207, 0), assertionLine("service", "", 1181, 0)));
}

// How far a request gets before it fails, and what it then releases: everything that it got, after its log line.
struct FailingRequest {
  const char* name;
  std::function<void(NamedService&)> arrange;
  const char* service;
  std::function<std::vector<std::string>(const std::string& call)> begins;
  const char* expression;
  int propertyLine;
  int commandLine;
  std::vector<std::string> ends;
};

TEST_F(NamedService, FailingRequests_LogAndThenGiveBackOnlyWhatTheyGot) {
  const std::string released = "IOObjectRelease(KIP_profile)";
  const std::string asked = "mach_error_string(0xe00002d5)";
  const auto fails = [](const char* function) {
    return [=](NamedService&) { control::failCall(function, 1, control::Failing::once, kFailure); };
  };
  const FailingRequest cases[] = {
      {"no service",
       [](NamedService&) {},
       "KIP",
       [](const std::string&) { return lookUp("KIP"); },
       "service",
       1207,
       1181,
       {}},
      {"the service does not open",
       [](NamedService& t) { t.service->openResult = kFailure; },
       "KIP_profile",
       [&](const std::string&) { return open("KIP_profile") + asked; },
       "kr == 0 ",
       1210,
       1184,
       {released}},
      {"the open fails",
       fails("IOServiceOpen"),
       "KIP_profile",
       [&](const std::string&) { return open("KIP_profile") + asked; },
       "kr == 0 ",
       1210,
       1184,
       {released}},
      {"the call fails",
       fails("IOConnectCallMethod"),
       "KIP_profile",
       [&](const std::string& call) { return open("KIP_profile") + call + asked; },
       "kr == 0 ",
       1214,
       1188,
       {"IOServiceClose()", released}},
  };
  for (const FailingRequest& row : cases) {
    const auto expected = [&](const std::string& call, int line) {
      const bool hasCode = row.expression != std::string("service");
      return row.begins(call) +
             ("os_log(default, " +
              assertionLine(row.expression, hasCode ? mach_error_string(kFailure) : "", line,
                            hasCode ? static_cast<std::uint32_t>(kFailure) : 0) +
              ")") +
             row.ends;
    };
    SCOPED_TRACE(row.name);
    row.arrange(*this);
    const auto property = recordingOf([&] { read(row.service); });
    control::clearFailures();
    EXPECT_THAT(property, ElementsAreArray(expected(kPropertyCall, row.propertyLine)));

    row.arrange(*this);
    length = sizeof buffer;
    const auto command = recordingOf([&] { perform(row.service); });
    control::clearFailures();
    EXPECT_THAT(command, ElementsAreArray(expected(kCommandCall, row.commandLine)));
    service->openResult = 0;
  }
}

} // namespace
} // namespace vel::test
