// Every call of a registration fails once: what is logged, what is still done, and what remains.

#include "registration_outcome.h"
#include "support/statistics_fixture.h"
#include <control/calls.h>

namespace vel::test {
namespace {

using testing::ElementsAreArray;

// What becomes of a service when one call of the platform fails.
struct Consequence {
  std::string call; // as it is recorded
  Calls log;
  Outcome outcome;
  std::size_t handlers; // that are installed
};

// The button's calls in their order. Each fails once; what does not need its result goes on.
std::vector<Consequence> consequences(std::uint64_t serviceID, std::uint32_t code) {
  constexpr std::size_t all = 2 + 48 + 8 + 48;
  const Outcome whole = kept(kDriverCalls, kAnalyticsDeviceCalls);
  const std::string id = std::to_string(serviceID);
  const Calls noService = {assertionLine("context->_driver._service", "", 255, 0)};
  std::vector<Consequence> rows = {
      {"IOHIDServiceCopyProperty(Transport)", {}, abandoned(0), 0},
      {"IOHIDServiceGetProperty(KIPSupportsTallyStore)", {}, kept(kDriverCalls, kDeviceCalls), all},
      {"IOHIDServiceConformsTo(0xc, 0x1)", {}, whole, all}, // with analytics it is still a button
      {"IOHIDServiceConformsTo(0xb, 0x1)", {}, whole, all},
      {"IOHIDServiceConformsTo(0xff00, 0x3)", {}, whole, all},
      {"IOHIDServiceConformsTo(0xff00, 0x9)", {}, whole, all},
      {"IOHIDServiceConformsTo(0xff00, 0xa)", {}, whole, all},
      {"IOHIDServiceConformsTo(0x20, 0x31)", {}, whole, all},
      {"IOHIDServiceGetRegistryID()", noService, abandoned(0), 0},
      {"CFNumberGetValue(4)", noService, abandoned(0), 0},
      {"IORegistryEntryIDMatching(" + id + ")", noService, abandoned(0), 0},
      {"IOServiceGetMatchingService(IORegistryEntryID=" + id + ")", noService, abandoned(0), 0},
      {"IORegistryEntryGetParentEntry(IOService)", {assertionLine("kr == 0 ", "", 262, code)}, abandoned(1), 0},
      {"IORegistryEntryGetParentEntry(IOService)", {assertionLine("kr == 0 ", "", 267, code)}, abandoned(1), 0},
      {"IOCreatePlugInInterfaceForService(3BC5CC87-845E-48AB-A9C2-9436001BA68A)",
       {},
       kept({}, kAnalyticsDeviceCalls),
       all},
      {"IOCreatePlugInInterfaceForService(7ACF5332-1A35-4893-87CB-BA64E1887FAE)", {}, kept(kDriverCalls, {}), all},
      {"IOHIDServiceConformsTo(0xc, 0x1)", {}, whole, all - 2},
      {"IOHIDDeviceCreate()",
       {assertionLine("context->_device._hid", "", 315, 0)},
       abandoned(2, kDriverCalls, kAnalyticsDeviceCalls),
       0},
  };
  rows.insert(rows.end(), all, {"os_state_add_handler()", {}, whole, all - 1});
  Outcome parentKept = whole;
  ++parentKept.references; // which the system did not take back
  rows.push_back({"IOObjectRelease()", {}, parentKept, all});
  return rows;
}

struct RegistrationSweep : StatisticsTest {};

TEST_F(RegistrationSweep, AnyCallMayFail_WithItsConsequence) {
  constexpr std::uint32_t kCode = 0xE00002BE;
  const Service service{.usages = button, .supportsTallyStore = Ref<CFTypeRef>::share(kCFBooleanTrue)};
  const std::size_t count = consequences(0, kCode).size();
  for (std::size_t nth = 1; nth <= count + 1; ++nth) {
    auto hid = addService(service);
    const std::vector<Consequence> rows = consequences(serviceID, kCode);
    const Consequence row = nth <= count
                                ? rows[nth - 1]
                                : Consequence{"none", {}, kept(kDriverCalls, kAnalyticsDeviceCalls), rows[1].handlers};
    SCOPED_TRACE(std::to_string(nth) + ": " + row.call);
    resetUserClients();
    control::clearLog();
    control::dropStateHandlers();
    plugin->_rawDebugInstalled = false;
    auto objects = control::liveObjects();
    const std::size_t references = control::registryReferences();
    const std::size_t contextCount = contexts().size();
    control::failAnyCall(nth, control::Failing::once, static_cast<std::int32_t>(kCode));
    control::startRecording();
    plugin->registerService(hid.get());
    Calls calls = control::stopRecording();
    EXPECT_EQ(control::clearFailures(), nth <= count);
    std::erase(calls, "CFArrayAppendValue()"); // which cannot fail
    if (nth <= count) {
      ASSERT_GE(calls.size(), nth);
      EXPECT_EQ(calls[nth - 1], row.call);
    }
    EXPECT_THAT(logMessages(), ElementsAreArray(row.log));
    EXPECT_EQ(driver.calls, row.outcome.driverCalls);
    EXPECT_EQ(device.calls, row.outcome.deviceCalls);
    EXPECT_EQ(control::registryReferences(), references + row.outcome.references);
    EXPECT_EQ(control::stateHandlers().size(), row.handlers);
    EXPECT_EQ(plugin->_rawDebugInstalled, row.outcome.kept);
    ASSERT_EQ(contexts().size(), contextCount + (row.outcome.kept ? 1 : 0));
    if (row.outcome.kept && contexts().back()->_device._hid != nullptr) {
      ++objects["IOHIDDevice"]; // the context's
    }
    EXPECT_EQ(control::liveObjects(), objects);
  }
}

} // namespace
} // namespace vel::test
