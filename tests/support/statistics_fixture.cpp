#include "statistics_fixture.h"

#include <control/calls.h>
#include <control/notify.h>
#include <control/queue.h>

#include <algorithm>
#include <string_view>

// What the plug-in keeps for good: the key names of every open; the array of contexts; contexts, with their HID
// devices, that state handlers may still hold when the object is gone.
extern "C" const char* __lsan_default_suppressions();
const char* __lsan_default_suppressions() {
  return "leak:TavikVELHIDStatistics::open\n"
         "leak:TavikVELHIDStatistics::TavikVELHIDStatistics\n"
         "leak:TavikVELHIDStatistics::registerService\n";
}

namespace vel::test {

Ref<CFDictionaryRef> properties(std::vector<std::pair<const char*, Ref<CFTypeRef>>> pairs) {
  CFMutableDictionaryRef dictionary = CFDictionaryCreateMutable(kCFAllocatorDefault, 0, &kCFTypeDictionaryKeyCallBacks,
                                                                &kCFTypeDictionaryValueCallBacks);
  for (const auto& [key, value] : pairs) {
    if (value) {
      CFDictionarySetValue(dictionary, cfString(key).get(), value.get());
    }
  }
  return Ref<CFDictionaryRef>::adopt(dictionary);
}

Ref<CFTypeRef> cfString(const char* text) {
  return Ref<CFTypeRef>::adopt(CFStringCreateWithCString(kCFAllocatorDefault, text, kCFStringEncodingUTF8));
}

Ref<CFTypeRef> cfNumber(std::int64_t value) {
  return Ref<CFTypeRef>::adopt(CFNumberCreate(kCFAllocatorDefault, kCFNumberSInt64Type, &value));
}

std::string assertionLine(const std::string& expression, const std::string& message, int line, std::uint32_t value) {
  char end[64];
  std::snprintf(end, sizeof end, ", line: %d value:%x\n", line, value);
  return ": AssertMacros: " + expression + ", " + message + " file: TavikVELHIDStatistics/TavikVELHIDStatistics" + end;
}

testing::Matcher<std::string> assertionOnAnyLine(const std::string& expression, const std::string& message,
                                                 std::uint32_t value) {
  const auto withoutLine = [](std::string line) {
    const std::string_view before = ", line: ";
    if (const std::size_t found = line.find(before); found != std::string::npos) {
      const std::size_t number = found + before.size();
      const std::size_t end = std::min(line.find_first_not_of("0123456789", number), line.size());
      if (end > number && line[number] != '0' && line.compare(end, 7, " value:") == 0) {
        line.replace(number, end - number, "N");
      }
    }
    return line;
  };
  return testing::ResultOf("the line without its number", withoutLine,
                           testing::Eq(withoutLine(assertionLine(expression, message, 1, value))));
}

std::vector<std::string> logMessages() {
  std::vector<std::string> messages;
  for (const control::LogLine& line : control::logLines()) {
    EXPECT_EQ(line.subsystem, "KIP");
    EXPECT_EQ(line.category, "TavikVELHIDStatistics");
    messages.push_back(line.message);
  }
  return messages;
}

std::vector<std::string> recordingOf(const std::function<void()>& work) {
  control::startRecording(control::Recording::everything);
  work();
  return control::stopRecording();
}

std::vector<std::string> lastOf(const std::vector<std::string>& calls, std::size_t count) {
  return {calls.end() - static_cast<std::ptrdiff_t>(std::min(count, calls.size())), calls.end()};
}

std::vector<std::string> operator+(std::vector<std::string> a, const std::vector<std::string>& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

std::vector<std::string> operator+(std::vector<std::string> a, const std::string& b) {
  a.push_back(b);
  return a;
}

formats::StateRecord parse(const os_state_data_s& record) {
  return formats::parseStateRecord(
      {reinterpret_cast<const std::byte*>(&record), sizeof(os_state_data_s) + record.dataSize});
}

std::uint64_t failEachCall(const std::function<void()>& work) {
  const auto cannotFail = [](const std::string& call) {
    return call.starts_with("CFArrayAppendValue(") || call.starts_with("mach_task_self(") ||
           call.starts_with("TSClient");
  };
  const auto givesBack = [](const std::string& call) {
    return call.starts_with("IOObjectRelease(") || call.starts_with("IOServiceClose(");
  };
  const auto objects = control::liveObjects();
  for (std::uint64_t nth = 1;; ++nth) {
    const std::size_t references = control::registryReferences(); // connections among them
    control::failAnyCall(nth);
    control::startRecording();
    work();
    std::vector<std::string> calls = control::stopRecording();
    const bool failed = control::clearFailures();
    std::erase_if(calls, cannotFail);
    // A release that fails leaves its reference.
    const std::size_t kept = failed && givesBack(calls.at(nth - 1)) ? 1 : 0;
    EXPECT_EQ(control::liveObjects(), objects) << "call " << nth;
    EXPECT_EQ(control::registryReferences(), references + kept) << "call " << nth;
    if (!failed) {
      return nth - 1;
    }
  }
}

const std::vector<control::HIDUsage> StatisticsTest::button = {{0x0C, 0x01}};
const std::vector<control::HIDUsage> StatisticsTest::sensor = {{0xFF00, 0x03}};

StatisticsTest::StatisticsTest() : queue(control::createQueue("statistics")) {
  control::clearLog();
  resetUserClients();
  plugin = TavikVELHIDStatistics::alloc(kCFAllocatorSystemDefault); // recordings tell it from the default one
  plugin->open(nullptr, 0);
  plugin->scheduleWithDispatchQueue(queue);
}

StatisticsTest::~StatisticsTest() {
  control::clearFailures();
  control::drain(queue);
  control::dropStateHandlers();
  control::dropNotifications();
  if (plugin != nullptr) {
    plugin->Release();
  }
  control::destroyQueue(queue);
  control::resetRegistry();
}

Ref<IOHIDServiceRef> StatisticsTest::addService(const Service& service) {
  rootID = control::addRegistryEntry({.name = "accelerometer", .className = "VELRoot"});
  deviceID = control::addRegistryEntry(
      {.name = "device", .className = "VELDevice", .parent = rootID, .isHIDDevice = service.isHIDDevice});
  parentID = control::addRegistryEntry({.name = "interface", .className = "VELInterface", .parent = deviceID});
  serviceID = control::addRegistryEntry({.name = "service", .className = "VELService", .parent = parentID});
  control::attachPlugIn(serviceID, kVELDriverUserClientTypeID,
                        [this](IOCFPlugInInterface*** result) { return driverPlugIn.create(result); });
  control::attachPlugIn(deviceID, kVELDeviceUserClientTypeID,
                        [this](IOCFPlugInInterface*** result) { return devicePlugIn.create(result); });
  control::HIDService description;
  description.properties =
      properties({{"Transport", service.transport}, {"KIPSupportsTallyStore", service.supportsTallyStore}});
  description.usages = service.usages;
  description.registryID = serviceID;
  return Ref<IOHIDServiceRef>::adopt(control::createHIDService(std::move(description)));
}

void StatisticsTest::resetUserClients() {
  driver = {};
  device = {};
  driverPlugIn = {};
  driverPlugIn.name = "driver plug-in";
  driverPlugIn.interface = &driver;
  driverPlugIn.calls = &driver.calls;
  devicePlugIn = {};
  devicePlugIn.name = "device plug-in";
  devicePlugIn.interface = &device;
  devicePlugIn.calls = &device.calls;
}

void StatisticsTest::registerService(const Service& service) {
  plugin->registerService(addService(service).get());
}

std::vector<Context*> StatisticsTest::contexts() const {
  std::vector<Context*> result;
  for (CFIndex i = 0; i < CFArrayGetCount(plugin->_contexts); ++i) {
    result.push_back(static_cast<Context*>(const_cast<void*>(CFArrayGetValueAtIndex(plugin->_contexts, i))));
  }
  return result;
}

control::StateRecord StatisticsTest::ask(std::size_t handler, std::uint32_t api) {
  return control::captureState(control::stateHandlers().at(handler), api, "test");
}

std::vector<std::string> StatisticsTest::capture(std::uint32_t api) {
  std::vector<std::string> titles;
  for (os_state_handle_t handler : control::stateHandlers()) {
    if (control::StateRecord record = control::captureState(handler, api, "test")) {
      titles.emplace_back(record->title);
    }
  }
  return titles;
}

} // namespace vel::test
