// The plug-in itself, as a loaded bundle on a modelled device.
#include <control/cf.h>
#include <control/log.h>
#include <control/notify.h>
#include <control/registry.h>
#include <control/state.h>
#include <control/tally.h>
#include <host/session.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <cstdlib>
#include <dlfcn.h>
#include <filesystem>
#include <sys/resource.h>

namespace {

using namespace vel::formats;
using namespace vel::host;
namespace fs = std::filesystem;

const DeviceModel& model() {
  static const DeviceModel theModel =
      readDeviceModel(std::filesystem::path(TEST_MODELS) / "good/button_and_sensor.json");
  return theModel;
}

std::vector<std::string> titles(const std::vector<CapturedRecord>& records) {
  std::vector<std::string> result;
  for (const CapturedRecord& captured : records) {
    result.push_back(captured.record.title);
  }
  return result;
}

class RealBundle : public testing::Test {
protected:
  RealBundle() {
    vel::control::clearLog();
    session.open();
    session.schedule();
  }

  Machine machine{model()};
  Session session{Bundle::load(REAL_BUNDLE), machine};
};

TEST(RealBundleFile, HasItsIdentifier) {
  EXPECT_EQ(Bundle::load(REAL_BUNDLE).identifier(), "com.tavik.TavikVELHIDStatistics");
}

TEST_F(RealBundle, Button_HasAllHandlersOfTheFirstService) {
  const Registration registration = session.registerService(machine.services()[0]);
  EXPECT_EQ(registration.firstHandler, 1U);
  EXPECT_EQ(registration.handlers, 2U + 104U);
  EXPECT_TRUE(machine.services()[0].device->hasCallback());
}

TEST_F(RealBundle, Capture_HasTheStatisticsOfTheModel) {
  session.registerService(machine.services()[0]);
  const auto records = session.capture(3, "test");
  ASSERT_FALSE(records.empty());
  EXPECT_EQ(records[0].handler, 1U);
  const StateRecord& record = records[0].record;
  EXPECT_EQ(record.title, "ZORB Statistics");
  const Value* press = record.value.find("last button press");
  ASSERT_NE(press, nullptr);
  EXPECT_EQ(*press->find("click count"), Value{std::int64_t{2}});
  EXPECT_EQ(*record.value.find("latency")->find("max_latency_Total"), Value{std::int64_t{414902500}});
}

TEST_F(RealBundle, OtherApi_HasNoStatistics) {
  session.registerService(machine.services()[0]);
  for (const std::uint32_t api : {0U, 1U, 2U, 4U, UINT32_MAX}) {
    EXPECT_THAT(titles(session.capture(api, "test")), testing::Not(testing::Contains("ZORB Statistics"))) << api;
  }
}

TEST_F(RealBundle, FaultNotification_IsLogged) {
  EXPECT_EQ(session.postNotification("com.tavik.tavikvelhidstatistics.fault"), 1U);
  session.drain();
  ASSERT_EQ(vel::control::logLines().size(), 1U);
  EXPECT_EQ(vel::control::logLines()[0].message, "fault!");
  EXPECT_EQ(vel::control::logLines()[0].type, OS_LOG_TYPE_FAULT);
}

TEST_F(RealBundle, PlugInsOfTheDriverAreGivenBackAndInterfacesKept) {
  session.registerService(machine.services()[0]);
  EXPECT_EQ(machine.services()[0].device->references(), (References{.plugIns = 0, .drivers = 1, .devices = 1}));
}

TEST_F(RealBundle, Close_LeavesNothingRegisteredAndUnloads) {
  for (const MachineService& service : machine.services()) {
    session.registerService(service);
  }
  EXPECT_TRUE(session.close());
  EXPECT_EQ(vel::control::stateHandlers().size(), 0U);
  EXPECT_EQ(vel::control::notificationRegistrations(), 0U);
  EXPECT_FALSE(machine.services()[0].device->hasCallback());
  EXPECT_EQ(dlopen(REAL_BUNDLE "/TavikVELHIDStatistics", RTLD_NOW | RTLD_NOLOAD), nullptr);
}

// No file can grow while this lives: the disk is full.
class FullDisk {
public:
  FullDisk() {
    std::signal(SIGXFSZ, SIG_IGN); // the write is to fail, not the process
    getrlimit(RLIMIT_FSIZE, &usual_);
    const rlimit full = {.rlim_cur = 0, .rlim_max = usual_.rlim_max};
    setrlimit(RLIMIT_FSIZE, &full);
  }
  ~FullDisk() { setrlimit(RLIMIT_FSIZE, &usual_); }

private:
  rlimit usual_{};
};

class RealBundleBatches : public RealBundle {
protected:
  RealBundleBatches() {
    std::string name = (fs::temp_directory_path() / "batches-XXXXXX").string();
    EXPECT_NE(mkdtemp(name.data()), nullptr);
    folder = name;
    store = folder / "tally.sqlite";
    vel::control::openTallyStore(store);
    session.registerService(machine.services()[0]);
  }
  ~RealBundleBatches() override {
    vel::control::closeTallyStore();
    fs::remove_all(folder);
  }

  // A batch that adds 1 to each of the first keys.
  void deliver(unsigned keys) {
    Bytes batch;
    for (unsigned key = 0; key < keys; ++key) {
      for (const unsigned byte : {0x30U, 3U, key, 1U, 0U, 0U, 0U}) {
        batch.push_back(static_cast<std::byte>(byte));
      }
    }
    EXPECT_TRUE(session.deliverAnalytics(machine.services()[0], batch));
  }
  std::string errorOfDrain() {
    try {
      session.drain();
    } catch (const vel::formats::Error& error) {
      return error.what();
    }
    return {};
  }
  std::vector<std::int64_t> values() const {
    std::vector<std::int64_t> found;
    for (const vel::control::TallyRow& row : vel::control::readTallyStore(store)) {
      found.push_back(row.scalar.value);
    }
    return found;
  }

  fs::path folder;
  fs::path store;
};

TEST_F(RealBundleBatches, BatchThatCannotBeStored_IsToldOnceAndLeavesNothing) {
  deliver(3);
  EXPECT_EQ(errorOfDrain(), "");
  EXPECT_THAT(values(), testing::ElementsAre(1, 1, 1));
  {
    const FullDisk full;
    deliver(3);
    EXPECT_THAT(errorOfDrain(), testing::StartsWith(store.string() + ": "));
  }
  EXPECT_THAT(values(), testing::ElementsAre(1, 1, 1));
  EXPECT_EQ(errorOfDrain(), "");
  deliver(3);
  EXPECT_EQ(errorOfDrain(), "");
  EXPECT_THAT(values(), testing::ElementsAre(2, 2, 2));
}

// What a plug-in leaves in the platform at its end: only what it keeps on purpose.
std::map<std::string, std::size_t> liveOnce() {
  const auto before = vel::control::liveObjects();
  {
    Machine machine(model());
    Session session(Bundle::load(REAL_BUNDLE), machine);
    session.open();
    session.schedule();
    for (const MachineService& service : machine.services()) {
      session.registerService(service);
    }
    EXPECT_EQ(titles(session.capture(3, "test")), (std::vector<std::string>{"ZORB Statistics", "SensorInfo"}));
    EXPECT_TRUE(session.close());
  }
  std::map<std::string, std::size_t> left;
  for (const auto& [type, count] : vel::control::liveObjects()) {
    const auto found = before.find(type);
    const std::size_t more = count - (found == before.end() ? 0 : found->second);
    if (more != 0) {
      left[type] = more;
    }
  }
  return left;
}

TEST(RealBundleLives, AHundredTimes_LeaveOnlyWhatThePlugInKeeps) {
  for (int life = 0; life < 100; ++life) {
    // The key strings of one open, the list of contexts, and the button's HID device.
    ASSERT_EQ(liveOnce(), (std::map<std::string, std::size_t>{{"CFArray", 1}, {"CFString", 48}, {"IOHIDDevice", 1}}))
        << "life " << life;
    vel::control::clearLog();
  }
  EXPECT_EQ(vel::control::registryReferences(), 0U);
}

} // namespace
