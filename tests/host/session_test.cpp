// A session with plug-ins of the tests' own: which are refused, the order of calls, and the end.
#include "temporary_bundle.h"
#include <control/cf.h>
#include <control/log.h>
#include <control/notify.h>
#include <control/state.h>
#include <host/error.h>
#include <host/session.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <dlfcn.h>
#include <memory>

namespace {

using namespace vel::host;
using namespace vel::test;
using testing::ElementsAre;

// What the plug-in logged since the last time.
std::vector<std::string> calls() {
  std::vector<std::string> result;
  for (const vel::control::LogLine& line : vel::control::logLines()) {
    result.push_back(line.message);
  }
  vel::control::clearLog();
  return result;
}

std::string refusal(const std::function<void()>& work) {
  try {
    work();
  } catch (const vel::formats::Error& error) {
    return error.what();
  }
  return "(done)";
}

class SessionTest : public testing::Test {
protected:
  SessionTest() { vel::control::clearLog(); }

  std::unique_ptr<Session> start(const char* plugIn) {
    path = makeBundle(folder, plugIn);
    return std::make_unique<Session>(Bundle::load(path), machine);
  }
  std::unique_ptr<Session> startScheduled() {
    auto session = start(PLUG_IN_FILE_COMPLETE);
    session->open();
    session->schedule();
    return session;
  }
  const MachineService& service() const { return machine.services().front(); }
  // Whether the plug-in's code is in memory.
  bool isLoaded() const {
    void* const handle = dlopen((path / "PlugIn").c_str(), RTLD_NOW | RTLD_NOLOAD);
    if (handle != nullptr) {
      dlclose(handle);
    }
    return handle != nullptr;
  }

  const TemporaryFolder folder;
  std::filesystem::path path;
  Machine machine{parseDeviceModel(R"({"services": [{"name": "s", "device": {}}]})", "test")};
};

TEST_F(SessionTest, WholeLife_CallsInTheirOrder) {
  auto session = startScheduled();
  session->registerService(service());
  session->capture(3, "test");
  EXPECT_EQ(session->postNotification("test.notification"), 1U);
  EXPECT_TRUE(session->close());
  EXPECT_THAT(calls(), ElementsAre("factory", "QueryInterface", "Release", "open", "scheduleWithDispatchQueue",
                                   "registerService", "state handler", "notified", "unscheduleFromDispatchQueue",
                                   "close", "Release"));
  EXPECT_FALSE(isLoaded());
}

// More work than can be done before the next call.
constexpr std::size_t muchWork = 1000;

TEST_F(SessionTest, Close_DrainsTheQueueBeforeAnythingElse) {
  auto session = startScheduled();
  calls();
  for (std::size_t i = 0; i < muchWork; ++i) {
    session->postNotification("test.notification");
  }
  session->close();
  std::vector<std::string> expected(muchWork, "notified");
  expected.insert(expected.end(), {"unscheduleFromDispatchQueue", "close", "Release"});
  EXPECT_EQ(calls(), expected);
}

TEST_F(SessionTest, Drain_WaitsForWhatIsQueued) {
  auto session = startScheduled();
  calls();
  for (std::size_t i = 0; i < muchWork; ++i) {
    session->postNotification("test.notification");
  }
  session->drain();
  EXPECT_EQ(calls(), std::vector<std::string>(muchWork, "notified"));
}

TEST_F(SessionTest, Close_DropsEverythingThatWasRegistered) {
  const auto before = vel::control::liveObjects()["IOHIDSession"];
  auto session = startScheduled();
  EXPECT_EQ(vel::control::liveObjects()["IOHIDSession"], before + 1);
  session->registerService(service());
  EXPECT_EQ(vel::control::stateHandlers().size(), 1U);
  EXPECT_EQ(vel::control::notificationRegistrations(), 1U);
  session->close();
  EXPECT_EQ(vel::control::stateHandlers().size(), 0U);
  EXPECT_EQ(vel::control::notificationRegistrations(), 0U);
  EXPECT_EQ(vel::control::liveObjects()["IOHIDSession"], before);
  calls();
  EXPECT_EQ(vel::control::postNotification("test.notification"), 0U);
  EXPECT_THAT(calls(), ElementsAre());
}

TEST_F(SessionTest, Destructor_Closes) {
  startScheduled().reset();
  EXPECT_FALSE(isLoaded());
  EXPECT_EQ(vel::control::notificationRegistrations(), 0U);
}

TEST_F(SessionTest, SecondClose_DoesNothing) {
  auto session = startScheduled();
  EXPECT_TRUE(session->close());
  calls();
  EXPECT_TRUE(session->close());
  EXPECT_THAT(calls(), ElementsAre());
}

TEST_F(SessionTest, BundleWhoseInstancesOutliveTheSession_StaysLoaded) {
  auto session = start(PLUG_IN_FILE_THAT_STAYS);
  session->open();
  EXPECT_FALSE(session->close());
  EXPECT_TRUE(isLoaded());
  session.reset();
  EXPECT_TRUE(isLoaded());
  const auto factory =
      vel::control::Ref<CFUUIDRef>::adopt(vel::control::createUUID("01020304-0506-0708-090A-0B0C0D0E0F10"));
  CFPlugInRemoveInstanceForFactory(factory.get()); // for the tests after this one
}

TEST_F(SessionTest, SecondSession_IsRefusedWhileTheFirstLives) {
  auto session = start(PLUG_IN_FILE_COMPLETE);
  EXPECT_EQ(refusal([&] { const Session second(Bundle::load(path), machine); }),
            "another session is open in this process");
  session->close();
  EXPECT_EQ(refusal([&] { const Session second(Bundle::load(path), machine); }), "(done)");
}

TEST_F(SessionTest, RegisterService_TellsTheHandlers) {
  auto session = startScheduled();
  session->registerService(service());
  const Registration second = session->registerService(service());
  EXPECT_EQ(second.firstHandler, 2U);
  EXPECT_EQ(second.handlers, 1U);
}

TEST_F(SessionTest, Capture_HandlersWithoutARecordAreLeftOut) {
  auto session = startScheduled();
  session->registerService(service());
  EXPECT_EQ(session->capture(3, "test").size(), 0U);
}

struct Refused {
  const char* name;
  const char* plugIn;
  const char* line;
};

class RefusedPlugIns : public SessionTest, public testing::WithParamInterface<Refused> {};

TEST_P(RefusedPlugIns, SayWhy) {
  const std::string line = refusal([&] { start(GetParam().plugIn)->open(); });
  EXPECT_EQ(line, path.string() + ": " + GetParam().line);
}

const Refused refused[] = {
    {"FactoryReturnsNull", PLUG_IN_FILE_WITHOUT_OBJECT,
     "the factory TestPlugInFactory made no object for the session-filter type"},
    {"NoInterface", PLUG_IN_FILE_WITHOUT_INTERFACE,
     "the object has no session-filter interface: QueryInterface answered 0x80000004"},
    {"InterfaceThatIsNull", PLUG_IN_FILE_WITH_NULL_INTERFACE,
     "the object has no session-filter interface: QueryInterface answered 0x00000000"},
    {"InterfaceThatIsRefused", PLUG_IN_FILE_WITH_REFUSED_INTERFACE,
     "the object has no session-filter interface: QueryInterface answered 0x80000004"},
    {"NoRelease", PLUG_IN_FILE_WITHOUT_RELEASE,
     "the interface table is incomplete: it lacks QueryInterface, AddRef or Release"},
    {"InterfaceWithoutRelease", PLUG_IN_FILE_WITH_POOR_INTERFACE,
     "the interface table is incomplete: it lacks QueryInterface, AddRef or Release"},
    {"InterfaceWithoutTable", PLUG_IN_FILE_WITH_INTERFACE_WITHOUT_TABLE,
     "the interface table is incomplete: it lacks QueryInterface, AddRef or Release"},
    {"TableWithGaps", PLUG_IN_FILE_WITH_GAPS,
     "the interface table is incomplete: it lacks entry 11 (registerService), 14 (unscheduleFromDispatchQueue)"},
    {"OpenAnswersFalse", PLUG_IN_FILE_THAT_REFUSES, "the plug-in refused the session: open answered false"},
};

INSTANTIATE_TEST_SUITE_P(SessionTest, RefusedPlugIns, testing::ValuesIn(refused),
                         [](const auto& info) { return info.param.name; });

TEST_F(SessionTest, PlugInThatRefuses_IsReleasedAndUnloaded) {
  refusal([&] { start(PLUG_IN_FILE_THAT_REFUSES)->open(); });
  EXPECT_THAT(calls(), ElementsAre("factory", "QueryInterface", "Release", "open", "Release"));
  EXPECT_FALSE(isLoaded());
}

TEST_F(SessionTest, PlugInWithGaps_IsReleasedAndUnloaded) {
  refusal([&] { start(PLUG_IN_FILE_WITH_GAPS); });
  EXPECT_THAT(calls(), ElementsAre("factory", "QueryInterface", "Release", "Release"));
  EXPECT_FALSE(isLoaded());
}

TEST_F(SessionTest, InterfaceThatCannotBeReleased_KeepsTheBundleLoaded) {
  refusal([&] { start(PLUG_IN_FILE_WITH_POOR_INTERFACE); });
  EXPECT_THAT(calls(), ElementsAre("factory", "QueryInterface", "Release"));
  EXPECT_TRUE(isLoaded());
}

struct BadRecord {
  std::uint32_t api;
  const char* line;
};

class BadRecords : public SessionTest, public testing::WithParamInterface<BadRecord> {};

TEST_P(BadRecords, AreRefusedWithTheirHandler) {
  auto session = startScheduled();
  session->registerService(service());
  EXPECT_EQ(refusal([&] { session->capture(GetParam().api, "test"); }),
            path.string() + ": state handler 1 returned a bad record: " + GetParam().line);
}

INSTANTIATE_TEST_SUITE_P(SessionTest, BadRecords,
                         testing::Values(BadRecord{9, "offset 200: not a binary property list"},
                                         BadRecord{10, "offset 0: type 7 is not that of a property list (1)"}));

TEST_F(SessionTest, RecordLargerThanItsAllocation_IsRefused) {
  auto session = startScheduled();
  session->registerService(service());
  const std::string start = ".*: state handler 1 returned a bad record: ";
  EXPECT_THAT(refusal([&] { session->capture(11, "test"); }),
              testing::MatchesRegex(start + "offset 4: data size [0-9]+ in an allocation of [0-9]+ bytes"));
  EXPECT_THAT(refusal([&] { session->capture(12, "test"); }),
              testing::MatchesRegex(start + "offset 200: not a binary property list"));
  EXPECT_THAT(refusal([&] { session->capture(13, "test"); }),
              testing::MatchesRegex(start + "has 1[0-9][0-9] bytes, less than the header of 200"));
}

struct Order {
  const char* name;
  const char* stage; // to bring the session to
  std::function<void(Session&, const MachineService&)> call;
  const char* line;
};

class OutOfOrder : public SessionTest, public testing::WithParamInterface<Order> {};

TEST_P(OutOfOrder, IsRefusedAndNotPassedOn) {
  const std::string stage = GetParam().stage;
  auto session = start(PLUG_IN_FILE_COMPLETE);
  if (stage != "created") {
    session->open();
  }
  if (stage == "scheduled" || stage == "closed") {
    session->schedule();
  }
  if (stage == "closed") {
    session->close();
  }
  calls();
  EXPECT_EQ(refusal([&] { GetParam().call(*session, service()); }), GetParam().line);
  EXPECT_THAT(calls(), ElementsAre());
}

const Order orders[] = {
    {"OpenTwice", "opened", [](Session& s, auto&) { s.open(); },
     "open is out of order: the session is opened, not created"},
    {"OpenAfterClose", "closed", [](Session& s, auto&) { s.open(); },
     "open is out of order: the session is closed, not created"},
    {"ScheduleBeforeOpen", "created", [](Session& s, auto&) { s.schedule(); },
     "scheduleWithDispatchQueue is out of order: the session is created, not opened"},
    {"ScheduleTwice", "scheduled", [](Session& s, auto&) { s.schedule(); },
     "scheduleWithDispatchQueue is out of order: the session is scheduled, not opened"},
    {"RegisterBeforeSchedule", "opened", [](Session& s, auto& service) { s.registerService(service); },
     "registerService is out of order: the session is opened, not scheduled"},
    {"RegisterAfterClose", "closed", [](Session& s, auto& service) { s.registerService(service); },
     "registerService is out of order: the session is closed, not scheduled"},
    {"CaptureBeforeSchedule", "opened", [](Session& s, auto&) { s.capture(3, "test"); },
     "capture is out of order: the session is opened, not scheduled"},
    {"CaptureAfterClose", "closed", [](Session& s, auto&) { s.capture(3, "test"); },
     "capture is out of order: the session is closed, not scheduled"},
    {"NotificationAfterClose", "closed", [](Session& s, auto&) { s.postNotification("test.notification"); },
     "a notification is out of order: the session is closed, not scheduled"},
    {"AnalyticsAfterClose", "closed", [](Session& s, auto& service) { s.deliverAnalytics(service, {}); },
     "an analytics batch is out of order: the session is closed, not scheduled"},
    {"DrainBeforeSchedule", "created", [](Session& s, auto&) { s.drain(); },
     "drain is out of order: the session is created, not scheduled"},
};

INSTANTIATE_TEST_SUITE_P(SessionTest, OutOfOrder, testing::ValuesIn(orders),
                         [](const auto& info) { return info.param.name; });

} // namespace
