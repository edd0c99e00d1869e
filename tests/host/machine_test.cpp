// A device model in force: what the platform's own functions then find.
#include <control/cf.h>
#include <control/registry.h>
#include <host/error.h>
#include <host/machine.h>

#include <IOKit/IOCFPlugIn.h>
#include <IOKit/IOKitLib.h>
#include <IOKit/hid/IOHIDDevice.h>
#include <IOKit/hid/IOHIDService.h>
#include <VEL/VELUserClient.h>

#include <gtest/gtest.h>

#include <sys/sysctl.h>
#include <sys/time.h>

namespace {

using namespace vel::host;
using vel::control::Ref;

// A handle that is given back.
class Entry {
public:
  explicit Entry(io_object_t object) : object_(object) {}
  ~Entry() {
    if (object_ != 0) {
      IOObjectRelease(object_);
    }
  }
  Entry(const Entry&) = delete;
  Entry& operator=(const Entry&) = delete;

  io_object_t get() const { return object_; }
  std::string name() const {
    io_name_t text = {};
    return IORegistryEntryGetName(object_, text) == 0 ? text : "(none)";
  }

private:
  io_object_t object_;
};

Entry matching(std::uint64_t id) {
  return Entry(IOServiceGetMatchingService(kIOMasterPortDefault, IORegistryEntryIDMatching(id)));
}

io_object_t parentOf(const Entry& entry, IOReturn expected = kIOReturnSuccess) {
  io_registry_entry_t parent = 0;
  EXPECT_EQ(IORegistryEntryGetParentEntry(entry.get(), kIOServicePlane, &parent), expected);
  return parent;
}

io_object_t childOf(const Entry& entry) {
  io_registry_entry_t child = 0;
  return IORegistryEntryGetChildEntry(entry.get(), kIOServicePlane, &child) == 0 ? child : 0;
}

DeviceModel parse(const std::string& json) {
  return parseDeviceModel(json, "test");
}

std::uint64_t answeredID(const MachineService& service) {
  std::uint64_t id = 0;
  const auto* number = static_cast<CFNumberRef>(IOHIDServiceGetRegistryID(service.service.get()));
  return number != nullptr && CFNumberGetValue(number, kCFNumberSInt64Type, &id) ? id : 0;
}

TEST(Machine, Services_HaveTheirNamesAndUsages) {
  const Machine machine(parse(R"({"services": [{"name": "Gyro", "usages": [{"page": 12, "usage": 1}, {"page": 9,
      "usage": 3}]}, {"name": "Button"}]})"));
  ASSERT_EQ(machine.services().size(), 2U);
  const MachineService& gyro = machine.services()[0];
  EXPECT_EQ(gyro.name, "Gyro");
  ASSERT_EQ(gyro.usages.size(), 2U);
  EXPECT_EQ(gyro.usages[1].page, 9U);
  EXPECT_EQ(gyro.usages[1].usage, 3U);
  EXPECT_EQ(machine.services()[1].name, "Button");
  EXPECT_TRUE(machine.services()[1].usages.empty());
}

TEST(Machine, RegistryTreeOfAService) {
  const Machine machine(parse(R"({"services": [{"name": "Gyro", "transport": "VEL", "registry": {
      "service": {"name": "a"}, "parent": {"name": "b"}, "grandparent": {"name": "c"},
      "great-grandparent": {"name": "gyro"},
      "children": [{"name": "i"}, {"name": "d", "properties": {"DebugState": {"_num_events": 3}}}, {"name": "u"}]}}]})"));
  ASSERT_EQ(machine.services().size(), 1U);
  const MachineService& service = machine.services()[0];
  EXPECT_EQ(answeredID(service), service.entryID);
  const Entry a = matching(service.entryID);
  EXPECT_EQ(a.name(), "a");
  const Entry b(parentOf(a));
  EXPECT_EQ(b.name(), "b");
  const Entry c(parentOf(b));
  EXPECT_EQ(c.name(), "c");
  const Entry top(parentOf(c));
  EXPECT_EQ(top.name(), "gyro");
  const Entry interface(childOf(c));
  EXPECT_EQ(interface.name(), "i");
  const Entry driver(childOf(interface));
  EXPECT_EQ(driver.name(), "d");
  const Entry userClient(childOf(driver));
  EXPECT_EQ(userClient.name(), "u");
  const auto state =
      Ref<CFTypeRef>::adopt(IORegistryEntryCreateCFProperty(driver.get(), CFSTR("DebugState"), kCFAllocatorDefault, 0));
  ASSERT_TRUE(state);
  EXPECT_EQ(CFGetTypeID(state.get()), CFDictionaryGetTypeID());
  const auto device = Ref<IOHIDDeviceRef>::adopt(IOHIDDeviceCreate(kCFAllocatorDefault, c.get()));
  EXPECT_TRUE(device);
}

TEST(Machine, WithoutChildren_TheServiceStandsBelowItsDevice) {
  const Machine machine(parse(R"({"services": [{"name": "s"}]})"));
  const Entry service = matching(machine.services()[0].entryID);
  const Entry parent(parentOf(service));
  const Entry grandparent(parentOf(parent));
  const Entry first(childOf(grandparent));
  const Entry second(childOf(first));
  EXPECT_EQ(first.name(), parent.name());
  EXPECT_EQ(second.name(), service.name());
  EXPECT_EQ(childOf(second), 0U);
}

TEST(Machine, BrokenParents) {
  const Machine machine(parse(R"({"services": [
      {"name": "code", "registry": {"service": {"parent-read": "0xE00002C0"}}},
      {"name": "none", "registry": {"service": {"parent-read": "none"}}}]})"));
  const Entry code = matching(machine.services()[0].entryID);
  EXPECT_EQ(parentOf(code, kIOReturnNoDevice), 0U);
  const Entry none = matching(machine.services()[1].entryID);
  EXPECT_EQ(parentOf(none, kIOReturnSuccess), 0U);
}

TEST(Machine, TreeThatEndsEarly) {
  const Machine machine(parse(R"({"services": [{"name": "s", "registry": {"parent": null}}]})"));
  const Entry service = matching(machine.services()[0].entryID);
  io_registry_entry_t parent = 0;
  EXPECT_NE(IORegistryEntryGetParentEntry(service.get(), kIOServicePlane, &parent), kIOReturnSuccess);
}

TEST(Machine, RegistryIDsAsTheModelSays) {
  const Machine machine(parse(R"({"services": [
      {"name": "own", "registry-id": "0x100000200"}, {"name": "any"},
      {"name": "missing", "registry-id": "none"}, {"name": "unmatched", "registry-id": "unmatched"}]})"));
  EXPECT_EQ(answeredID(machine.services()[0]), 0x100000200U);
  EXPECT_NE(answeredID(machine.services()[1]), 0x100000200U) << "the id that the model gives out is not used twice";
  EXPECT_EQ(IOHIDServiceGetRegistryID(machine.services()[2].service.get()), nullptr);
  EXPECT_EQ(matching(answeredID(machine.services()[3])).get(), 0U);
  EXPECT_NE(answeredID(machine.services()[3]), 0U);
}

TEST(Machine, PropertiesAndUsages) {
  const Machine machine(parse(R"({"services": [{"name": "s", "transport": 5,
      "properties": {"KIPSupportsTallyStore": true}, "usages": [{"page": 12, "usage": 1}]}]})"));
  const IOHIDServiceRef service = machine.services()[0].service.get();
  const auto transport = Ref<CFTypeRef>::adopt(IOHIDServiceCopyProperty(service, CFSTR("Transport")));
  ASSERT_TRUE(transport);
  EXPECT_EQ(CFGetTypeID(transport.get()), CFNumberGetTypeID());
  EXPECT_EQ(IOHIDServiceGetProperty(service, CFSTR("KIPSupportsTallyStore")), kCFBooleanTrue);
  EXPECT_TRUE(IOHIDServiceConformsTo(service, 12, 1));
  EXPECT_FALSE(IOHIDServiceConformsTo(service, 12, 2));
}

TEST(Machine, NamedServiceAnswersConnections) {
  const Machine machine(
      parse(R"({"named-services": [{"name": "KIP_profile", "property-replies": {"209": [{"hex": "0102"}]},
      "command-replies": {"8": [{"result": 9}], "2": [{"hex": "ff"}]}}, {"name": "shut", "open-result": 4}]})"));
  const Entry service(IOServiceGetMatchingService(kIOMasterPortDefault, IOServiceNameMatching("KIP_profile")));
  io_connect_t connection = 0;
  ASSERT_EQ(IOServiceOpen(service.get(), mach_task_self(), 0, &connection), 0);
  const std::uint64_t property = 209;
  unsigned char output[4] = {};
  std::size_t size = sizeof output;
  EXPECT_EQ(IOConnectCallMethod(connection, 2, &property, 1, nullptr, 0, nullptr, nullptr, output, &size), 0);
  EXPECT_EQ(size, 2U);
  EXPECT_EQ(output[1], 2);
  size = sizeof output;
  EXPECT_EQ(IOConnectCallMethod(connection, 8, nullptr, 0, nullptr, 0, nullptr, nullptr, output, &size), 9);
  size = sizeof output;
  EXPECT_EQ(IOConnectCallMethod(connection, 2, nullptr, 0, nullptr, 0, nullptr, nullptr, output, &size), 0)
      << "selector 2 without a scalar is a command";
  EXPECT_EQ(output[0], 0xFF);
  const std::uint64_t wide = 0x1000000D1; // 209 in its low 32 bits
  EXPECT_EQ(IOConnectCallMethod(connection, 2, &wide, 1, nullptr, 0, nullptr, nullptr, output, &size),
            kIOReturnUnsupported);
  IOServiceClose(connection);
  const Entry shut(IOServiceGetMatchingService(kIOMasterPortDefault, IOServiceNameMatching("shut")));
  EXPECT_EQ(IOServiceOpen(shut.get(), mach_task_self(), 0, &connection), 4);
}

TEST(Machine, Clocks) {
  const Machine machine(parse(R"({"boot-time": 1234567, "time-sync": {"vel": 5, "calendar": -6}})"));
  const int name[] = {CTL_KERN, KERN_BOOTTIME};
  timeval boot = {};
  std::size_t size = sizeof boot;
  ASSERT_EQ(sysctl(name, 2, &boot, &size, nullptr, 0), 0);
  EXPECT_EQ(boot.tv_sec, 1);
  EXPECT_EQ(boot.tv_usec, 234567);
  const Entry service(IOServiceGetMatchingService(kIOMasterPortDefault, IOServiceMatching("TavikVELTimesync")));
  ASSERT_NE(service.get(), 0U);
  const auto pair =
      Ref<CFTypeRef>::adopt(IORegistryEntryCreateCFProperty(service.get(), CFSTR("timesync"), kCFAllocatorDefault, 0));
  ASSERT_TRUE(pair);
  std::int64_t calendar = 0;
  const auto* number =
      static_cast<CFNumberRef>(CFDictionaryGetValue(static_cast<CFDictionaryRef>(pair.get()), CFSTR("calendar")));
  EXPECT_TRUE(CFNumberGetValue(number, kCFNumberSInt64Type, &calendar));
  EXPECT_EQ(calendar, -6);
}

TEST(Machine, LeavesNothingBehind) {
  const auto objects = vel::control::liveObjects();
  {
    const Machine machine(
        parse(R"({"services": [{"name": "s", "driver": {}, "device": {}}], "named-services": [{"name": "n"}]})"));
    EXPECT_NE(matching(machine.services()[0].entryID).get(), 0U);
  }
  EXPECT_EQ(vel::control::liveObjects(), objects);
  EXPECT_EQ(vel::control::registryReferences(), 0U);
  EXPECT_EQ(IOServiceGetMatchingService(kIOMasterPortDefault, IOServiceNameMatching("n")), 0U);
}

std::int64_t bootSeconds() {
  const int name[] = {CTL_KERN, KERN_BOOTTIME};
  timeval boot = {};
  std::size_t size = sizeof boot;
  EXPECT_EQ(sysctl(name, 2, &boot, &size, nullptr, 0), 0);
  return boot.tv_sec;
}

TEST(Machine, OneThatCannotBeMade_LeavesNothingBehind) {
  const auto objects = vel::control::liveObjects();
  DeviceModel model =
      parse(R"({"boot-time": 1000000, "named-services": [{"name": "n"}], "services": [{"name": "s"}]})");
  model.services[0].properties.push_back({"text", {std::string("\xFF")}});
  EXPECT_THROW(Machine{model}, vel::host::Error);
  EXPECT_EQ(vel::control::liveObjects(), objects);
  EXPECT_EQ(IOServiceGetMatchingService(kIOMasterPortDefault, IOServiceNameMatching("n")), 0U);
  EXPECT_NE(bootSeconds(), 1) << "the kernel's own again";
  const Machine next(parse("{}"));
}

TEST(Machine, UnmatchedID_IsThatOfNoEntry) {
  const Machine machine(parse(R"({"services": [{"name": "last", "registry-id": "0x7FFFFFFFFFFFFFFF"},
      {"name": "unmatched", "registry-id": "unmatched"}]})"));
  EXPECT_NE(matching(answeredID(machine.services()[0])).get(), 0U);
  EXPECT_EQ(matching(answeredID(machine.services()[1])).get(), 0U);
}

TEST(Machine, SecondOneIsRefused) {
  const Machine machine(parse("{}"));
  EXPECT_THROW(Machine(parse("{}")), std::logic_error);
}

} // namespace
