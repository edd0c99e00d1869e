// What the services' functions look like in recordings, and how they fail on demand.
#include "services_fixture.h"
#include <control/hid.h>

#include <IOKit/IOCFPlugIn.h>
#include <IOKit/IOKitLib.h>
#include <IOKit/hid/IOHIDDevice.h>
#include <IOKit/hid/IOHIDService.h>
#include <TallyStore/TallyStore.h>
#include <dispatch/dispatch.h>
#include <mach/mach.h>
#include <mach/mach_error.h>
#include <notify.h>
#include <os/log.h>
#include <os/state.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <functional>
#include <sys/sysctl.h>
#include <sys/time.h>
#include <thread>

using namespace vel::control;

namespace {

class EchoClient final : public UserClient {
public:
  IOReturn open(std::uint32_t) override { return 0; }
  IOReturn call(std::uint32_t, std::span<const std::uint64_t>, std::span<const std::byte>, std::span<std::byte>,
                std::size_t&) override {
    return 0;
  }
};

struct Call {
  std::string recorded;
  std::function<std::int64_t()> run;
  std::int64_t failed; // what `run` returns when the function is made to fail with code 77

  std::string function() const { return recorded.substr(0, recorded.find('(')); }
};

std::int64_t made(CFTypeRef object) {
  return Ref<CFTypeRef>::adopt(object) ? 1 : 0;
}

class Calls : public Services {
protected:
  void SetUp() override {
    const auto root = addRegistryEntry({.name = "root"});
    const auto device = addRegistryEntry({.name = "device", .className = "Device", .parent = root});
    attachUserClient(device, std::make_shared<EchoClient>());
    attachPlugIn(device, kIOCFPlugInInterfaceID, [](IOCFPlugInInterface***) { return kIOReturnSuccess; });
    addRegistryEntry({.name = "child", .parent = device, .isHIDDevice = true});
    entry_ = IOServiceGetMatchingService(kIOMasterPortDefault, IOServiceNameMatching("device"));
    ASSERT_EQ(IOServiceOpen(entry_, mach_task_self(), 0, &connection_), 0);
    service_ = Ref<IOHIDServiceRef>::adopt(
        createHIDService({.properties = strings({{"Transport", "VEL"}}), .usages = {{0xFF00, 3}}, .registryID = 5}));
  }
  void TearDown() override {
    service_ = {};
    Services::TearDown();
  }

  // Every function that can fail, each called so that it succeeds.
  std::vector<Call> fallible();

  io_service_t entry_ = 0;
  io_connect_t connection_ = 0;
  Ref<IOHIDServiceRef> service_;
};

std::vector<Call> Calls::fallible() {
  static os_log_t const log = os_log_create("sub", "cat");
  const auto entry = entry_;
  const auto connection = connection_;
  auto* const service = service_.get();
  const auto found = [](auto step, io_registry_entry_t from) {
    return [=]() -> std::int64_t {
      io_registry_entry_t next = 0;
      const auto result = step(from, kIOServicePlane, &next);
      if (result == 0) {
        IOObjectRelease(next);
      }
      return result;
    };
  };
  return {
      {"IORegistryEntryIDMatching(4294967298)", [] { return made(IORegistryEntryIDMatching(4294967298)); }, 0},
      {"IOServiceNameMatching(device)", [] { return made(IOServiceNameMatching("device")); }, 0},
      {"IOServiceMatching(Device)", [] { return made(IOServiceMatching("Device")); }, 0},
      {"IOServiceGetMatchingService(IONameMatch=device)",
       [=] {
         return IOServiceGetMatchingService(kIOMasterPortDefault, IOServiceNameMatching("device")) == entry ? 1 : 0;
       },
       0},
      {"IORegistryEntryGetParentEntry(IOService)", found(IORegistryEntryGetParentEntry, entry), 77},
      {"IORegistryEntryGetChildEntry(IOService)", found(IORegistryEntryGetChildEntry, entry), 77},
      {"IORegistryEntryGetName()",
       [=] {
         io_name_t name;
         return std::int64_t{IORegistryEntryGetName(entry, name)};
       },
       77},
      {"IORegistryEntryCreateCFProperty(missing)",
       [=] { return made(IORegistryEntryCreateCFProperty(entry, CFSTR("missing"), nullptr, 0)); }, 0},
      {"IOObjectRelease()", [=] { return std::int64_t{IOObjectRelease(entry)}; }, 77},
      {"IOServiceOpen(0x2)",
       [=] {
         io_connect_t opened = 0;
         return std::int64_t{IOServiceOpen(entry, mach_task_self(), 2, &opened)};
       },
       77},
      {"IOConnectCallMethod(0x2)",
       [=] {
         return std::int64_t{
             IOConnectCallMethod(connection, 2, nullptr, 0, nullptr, 0, nullptr, nullptr, nullptr, nullptr)};
       },
       77},
      {"IOServiceClose()", [=] { return std::int64_t{IOServiceClose(connection)}; }, 77},
      {"IOCreatePlugInInterfaceForService(C244E858-109C-11D4-91D4-0050E4C6426F)",
       [=] {
         IOCFPlugInInterface** plugIn = nullptr;
         SInt32 score = 0;
         return std::int64_t{
             IOCreatePlugInInterfaceForService(entry, kIOCFPlugInInterfaceID, kIOCFPlugInInterfaceID, &plugIn, &score)};
       },
       77},
      {"IOHIDDeviceCreate()",
       [] {
         const auto child = IOServiceGetMatchingService(kIOMasterPortDefault, IOServiceNameMatching("child"));
         const auto created = made(IOHIDDeviceCreate(nullptr, child));
         IOObjectRelease(child);
         return created;
       },
       0},
      {"IOHIDServiceCopyProperty(Transport)",
       [=] { return made(IOHIDServiceCopyProperty(service, CFSTR("Transport"))); }, 0},
      {"IOHIDServiceGetProperty(Transport)",
       [=] { return IOHIDServiceGetProperty(service, CFSTR("Transport")) != nullptr ? 1 : 0; }, 0},
      {"IOHIDServiceConformsTo(0xff00, 0x3)", [=] { return std::int64_t{IOHIDServiceConformsTo(service, 0xFF00, 3)}; },
       0},
      {"IOHIDServiceGetRegistryID()", [=] { return IOHIDServiceGetRegistryID(service) != nullptr ? 1 : 0; }, 0},
      {"notify_register_dispatch(com.tavik.test)",
       [] {
         int token = 0;
         return std::int64_t{notify_register_dispatch("com.tavik.test", &token, nullptr,
                                                      ^(int){
                                                      })};
       },
       77},
      {"os_state_add_handler()",
       [] {
         const auto handle = os_state_add_handler(nullptr, ^os_state_data_s*(os_state_hints_s*) {
           return nullptr;
         });
         return handle != 0 ? 1 : 0;
       },
       0},
      {"os_log_create(sub, cat)", [] { return os_log_create("sub", "cat") == log ? 1 : 0; }, 0},
      {"mach_error_string(0xe00002bc)", [] { return mach_error_string(kIOReturnError) != nullptr ? 1 : 0; }, 0},
      {"sysctl(kern.boottime)",
       [] {
         const int name[] = {CTL_KERN, KERN_BOOTTIME};
         timeval boot{};
         std::size_t size = sizeof(boot);
         return std::int64_t{sysctl(name, 2, &boot, &size, nullptr, 0)};
       },
       -1},
  };
}

std::size_t occurrences(const std::vector<std::string>& calls, const std::string& call) {
  return static_cast<std::size_t>(std::count(calls.begin(), calls.end(), call));
}

TEST_F(Calls, EachFallibleFunction_IsRecordedOnceUnderItsName) {
  for (const auto& call : fallible()) {
    startRecording();
    call.run();
    EXPECT_EQ(occurrences(stopRecording(), call.recorded), 1U) << call.recorded;
  }
}

TEST_F(Calls, EachFallibleFunction_FailsInItsWayWhenTold) {
  for (const auto& call : fallible()) {
    failCall(call.function(), 1, Failing::once, 77);
    EXPECT_EQ(call.run(), call.failed) << call.recorded;
    EXPECT_TRUE(clearFailures()) << call.recorded;
  }
}

TEST_F(Calls, InjectedFailure_HasNoEffect) {
  const auto references = registryReferences();
  failCall("IOObjectRelease", 1, Failing::once, 77);
  EXPECT_EQ(IOObjectRelease(entry_), 77);
  failCall("IOServiceClose", 1, Failing::once, 77);
  EXPECT_EQ(IOServiceClose(connection_), 77);
  failCall("IOServiceGetMatchingService", 1);
  EXPECT_EQ(IOServiceGetMatchingService(kIOMasterPortDefault, IOServiceNameMatching("device")), 0U);
  EXPECT_EQ(registryReferences(), references);
  EXPECT_EQ(openConnections(), 1U);
}

TEST_F(Calls, SysctlThatIsMadeToFail_SetsErrno) {
  const int name[] = {CTL_KERN, KERN_BOOTTIME};
  timeval boot{};
  std::size_t size = sizeof(boot);
  failCall("sysctl", 1, Failing::once, 77);
  errno = 0;
  EXPECT_EQ(sysctl(name, 2, &boot, &size, nullptr, 0), -1);
  EXPECT_EQ(errno, EIO);
}

TEST_F(Calls, FunctionsThatCannotFail_AreRecordedAndLeftOutOfTheCount) {
  static dispatch_once_t once = 0;
  failAnyCall(1, Failing::onwards);
  startRecording();
  dispatch_once(&once, ^{
                });
  mach_task_self();
  os_release(nullptr);
  TSClientClearScalarKey(CFSTR("a"));
  TSClientSetValueForScalarKey(CFSTR("b"), 1);
  TSClientAddValueForScalarKey(CFSTR("c"), 2);
  TSClientClearDistributionKey(CFSTR("d"));
  TSClientSetValueForDistributionKey(CFSTR("e"), 3);
  TSClientPushValueForDistributionKey(CFSTR("f"), 4);
  os_log(os_log_t{nullptr}, "not announced");
  EXPECT_EQ(stopRecording(),
            (std::vector<std::string>{
                "dispatch_once()", "mach_task_self()", "os_release()", "TSClientClearScalarKey(a)",
                "TSClientSetValueForScalarKey(b)", "TSClientAddValueForScalarKey(c)", "TSClientClearDistributionKey(d)",
                "TSClientSetValueForDistributionKey(e)", "TSClientPushValueForDistributionKey(f)"}));
  EXPECT_FALSE(clearFailures());
}

TEST_F(Calls, NullTexts_AreWrittenAsNull) {
  startRecording();
  IOServiceMatching(nullptr);
  IORegistryEntryCreateCFProperty(0, nullptr, nullptr, 0);
  EXPECT_EQ(stopRecording(),
            (std::vector<std::string>{"IOServiceMatching((null))", "IORegistryEntryCreateCFProperty((null))"}));
}

TEST_F(Calls, RecordingAgain_DropsWhatWasRecorded) {
  startRecording();
  mach_error_string(0);
  startRecording();
  mach_error_string(1);
  EXPECT_EQ(stopRecording(), std::vector<std::string>{"mach_error_string(0x1)"});
  mach_error_string(2);
  EXPECT_TRUE(stopRecording().empty());
}

// Which of five calls of mach_error_string fail under a plan.
struct PlanRow {
  const char* name;
  std::function<void()> plan;
  std::vector<bool> fails;
};

TEST_F(Calls, Plans_FailTheCallsThatTheyName) {
  const char* const function = "mach_error_string";
  const PlanRow rows[] = {
      {"the first", [=] { failCall(function, 1); }, {true, false, false, false, false}},
      {"the third", [=] { failCall(function, 3); }, {false, false, true, false, false}},
      {"from the third", [=] { failCall(function, 3, Failing::onwards); }, {false, false, true, true, true}},
      {"another function", [] { failCall("IOServiceOpen", 1, Failing::onwards); }, {false, false, false, false, false}},
      {"any", [] { failAnyCall(2); }, {false, true, false, false, false}},
      {"any from", [] { failAnyCall(4, Failing::onwards); }, {false, false, false, true, true}},
      {"two plans",
       [=] {
         failCall(function, 2);
         failAnyCall(4);
       },
       {false, true, false, true, false}},
      {"a call that another plan makes fail counts too",
       [=] {
         failCall(function, 1);
         failCall(function, 1);
       },
       {true, false, false, false, false}},
  };
  for (const auto& row : rows) {
    row.plan();
    std::vector<bool> fails;
    for (int i = 0; i < 5; ++i) {
      fails.push_back(mach_error_string(0) == nullptr);
    }
    EXPECT_EQ(fails, row.fails) << row.name;
    EXPECT_EQ(clearFailures(), std::find(fails.begin(), fails.end(), true) != fails.end()) << row.name;
  }
  EXPECT_NE(mach_error_string(0), nullptr);
}

TEST_F(Calls, FailingAnyCall_CountsAllFunctionsTogether) {
  failAnyCall(3, Failing::once, 77);
  EXPECT_NE(mach_error_string(0), nullptr);
  EXPECT_EQ(made(IOServiceMatching("Device")), 1);
  EXPECT_EQ(IOServiceClose(connection_), 77);
  EXPECT_EQ(IOServiceClose(connection_), 0);
}

TEST_F(Calls, OfTwoPlansForOneCall_TheEarlierGivesTheCode) {
  failCall("IOServiceClose", 1, Failing::once, 77);
  failAnyCall(1, Failing::once, 78);
  EXPECT_EQ(IOServiceClose(connection_), 77);
  EXPECT_EQ(IOServiceClose(connection_), 0);
}

TEST_F(Calls, FromManyThreads_EveryCallIsRecordedAndOneFails) {
  constexpr int threads = 4;
  constexpr int each = 500;
  failCall("mach_error_string", threads * each / 2);
  startRecording(Recording::everything);
  std::atomic<int> failures{0};
  std::vector<std::thread> running;
  for (int t = 0; t < threads; ++t) {
    running.emplace_back([&] {
      for (int i = 0; i < each; ++i) {
        failures += mach_error_string(0) == nullptr ? 1 : 0;
        addToRecording("the host's own");
        IOObjectRelease(0);
        CFRelease(CFSTR("constant"));
      }
    });
  }
  for (auto& thread : running) {
    thread.join();
  }
  const auto calls = stopRecording();
  for (const char* call : {"mach_error_string(0)", "the host's own", "IOObjectRelease(none)", "CFRelease(CFString)"}) {
    EXPECT_EQ(occurrences(calls, call), std::size_t{threads * each}) << call;
  }
  EXPECT_EQ(failures, 1);
}

} // namespace
