// Reads a sensor's properties one after another and reports them as one dictionary.
#include "SensorInfo.h"

#include "Assertion.h"
#include "Owned.h"
#include "ReplyLength.h"
#include "StateData.h"
#include "TavikVELHIDStatistics.h"
#include "TextStream.h"

#include <IOKit/IOKitLib.h>
#include <mach/mach_error.h>

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <string>

namespace {

constexpr uint32_t kVELProperty_ReportInterval = 0;
constexpr uint32_t kVELProperty_RawMode = 10;
constexpr uint32_t kVELProperty_CalibrationMatrix = 11;
constexpr uint32_t kVELProperty_FactoryMode = 13;
constexpr uint32_t kVELProperty_Manufacturer = 15;
constexpr uint32_t kVELProperty_Model = 16;
constexpr uint32_t kVELProperty_OrientationMatrix = 24;
constexpr uint32_t kVELProperty_InternalCalibration = 25;
constexpr uint32_t kVELProperty_CalibrationOffset = 26;
constexpr uint32_t kVELProperty_CompassSensitivity = 29;
constexpr uint32_t kVELProperty_DecimationEnabled = 36;
constexpr uint32_t kVELProperty_StartupTime = 45;
constexpr uint32_t kVELProperty_Registers = 56;
constexpr uint32_t kVELProperty_FirstText = 57;
constexpr uint32_t kVELProperty_LastText = 60;
constexpr uint32_t kVELProperty_CalibrationComplete = 61;
constexpr uint32_t kVELProperty_SystickInterval = 64;
constexpr uint32_t kVELProperty_Intervals = 67;
constexpr uint32_t kVELProperty_Location = 68;
constexpr uint32_t kVELCommand_Clients = 57;

constexpr double kFraction = 0x1p-16;

// Formats into 256 bytes and sets the text.
__attribute__((format(printf, 3, 4))) void setFormatted(CFMutableDictionaryRef state, CFStringRef key,
                                                        const char* format, ...) {
  char text[256];
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(text, sizeof text, format, arguments);
  va_end(arguments);
  dictSetCString(state, key, text);
}

// Sets the text under a numbered key, such as "extra0" or "client3".
void setNumbered(CFMutableDictionaryRef state, const char* prefix, unsigned number, const char* text) {
  char name[32];
  std::snprintf(name, sizeof name, "%s%d", prefix, static_cast<int>(number));
  if (const OwnedCF<CFStringRef> key{CFStringCreateWithCString(kCFAllocatorDefault, name, kCFStringEncodingUTF8)}) {
    dictSetCString(state, key.get(), text);
  }
}

// One report under construction. The replies start as zeros, so that a failing read leaves zeros.
class SensorReport {
public:
  SensorReport(TavikVELHIDStatistics& plugin, Context* context, CFMutableDictionaryRef state)
      : _plugin(plugin), _context(context), _state(state) {}

  // Called in the order of the report. Those that return a bool log a line and return false if there can be no report.
  bool addReportInterval();
  bool addSensorType();
  void addIdentity();
  void addTiming();
  void addCalibration();
  void addRegisters();
  void addExtras();
  bool addClients();

private:
  template <class Reply>
  size_t read(uint32_t property, Reply& reply) {
    size_t length = 0;
    _plugin.getProperty(_context, property, &reply, sizeof reply, &length);
    return replyLength(length, sizeof reply);
  }
  void addNumber(CFStringRef key, uint32_t property);
  void addText(CFStringRef key, uint32_t property);
  void addMatrix(CFStringRef key, uint32_t property);

  TavikVELHIDStatistics& _plugin;
  Context* _context;
  CFMutableDictionaryRef _state;
};

bool SensorReport::addReportInterval() {
  uint32_t interval = 0;
  // The default is 0, unlike for the other numbers, and only for a reply of another length: a failing read ends the
  // report.
  IOReturn result = _plugin.getPropertyU32(_context, kVELProperty_ReportInterval, &interval, 0);
  if (result != 0) {
    logAssertion("result == 0 ", mach_error_string(result), 81, static_cast<uint32_t>(result));
    return false;
  }
  dictSetSInt32(_state, CFSTR("reportInterval"), interval);
  return true;
}

bool SensorReport::addSensorType() {
  io_registry_entry_t parent = 0;
  IOReturn kr = IORegistryEntryGetParentEntry(_context->_device._service, kIOServicePlane, &parent);
  if (kr != 0) {
    logAssertion("kr == 0 ", mach_error_string(kr), 92, static_cast<uint32_t>(kr));
    return false;
  }
  if (parent == 0) {
    logAssertion("interface", "", 96, 0);
    return false;
  }
  const OwnedIOObject interface(parent);
  io_name_t name = {};
  IORegistryEntryGetName(interface.get(), name);
  dictSetCString(_state, CFSTR("sensorType"), name);
  return true;
}

void SensorReport::addNumber(CFStringRef key, uint32_t property) {
  uint32_t value = 0;
  _plugin.getPropertyU32(_context, property, &value, static_cast<uint32_t>(-1));
  dictSetSInt32(_state, key, value);
}

void SensorReport::addText(CFStringRef key, uint32_t property) {
  char text[32] = {};
  read(property, text);
  setFormatted(_state, key, "%.*s", static_cast<int>(sizeof text), text);
}

void SensorReport::addMatrix(CFStringRef key, uint32_t property) {
  int32_t m[9] = {};
  read(property, m);
  setFormatted(_state, key, "%f %f %f | %f %f %f | %f %f %f", m[0] * kFraction, m[1] * kFraction, m[2] * kFraction,
               m[3] * kFraction, m[4] * kFraction, m[5] * kFraction, m[6] * kFraction, m[7] * kFraction,
               m[8] * kFraction);
}

void SensorReport::addIdentity() {
  addText(CFSTR("manufacturer"), kVELProperty_Manufacturer);
  addText(CFSTR("model"), kVELProperty_Model);
  SensorLocation location = {};
  read(kVELProperty_Location, location);
  if (location.letter != 0) {
    setFormatted(_state, CFSTR("location"), "%c alternate=%d", location.letter, location.alternate);
  } else {
    dictSetCString(_state, CFSTR("location"), "N/A");
  }
}

void SensorReport::addTiming() {
  addNumber(CFSTR("systickInterval"), kVELProperty_SystickInterval);
  addNumber(CFSTR("decimationEnabled"), kVELProperty_DecimationEnabled);
  SensorIntervals intervals = {};
  read(kVELProperty_Intervals, intervals);
  dictSetSInt32(_state, CFSTR("sensorBatchInterval"), intervals.sensorBatch);
  dictSetSInt32(_state, CFSTR("muxBatchInterval"), intervals.muxBatch);
  dictSetSInt32(_state, CFSTR("apBatchInterval"), intervals.apBatch);
  dictSetSInt32(_state, CFSTR("apReportInterval"), intervals.apReport);
  dictSetSInt32(_state, CFSTR("endpointBatchCount"), intervals.endpointBatchCount);
}

void SensorReport::addCalibration() {
  addNumber(CFSTR("rawMode"), kVELProperty_RawMode);
  addNumber(CFSTR("factoryMode"), kVELProperty_FactoryMode);
  addNumber(CFSTR("calibrationComplete"), kVELProperty_CalibrationComplete);
  addNumber(CFSTR("startupTime"), kVELProperty_StartupTime);
  addNumber(CFSTR("intCal"), kVELProperty_InternalCalibration);
  addMatrix(CFSTR("calibrationMatrix"), kVELProperty_CalibrationMatrix);
  int32_t offset[3] = {};
  read(kVELProperty_CalibrationOffset, offset);
  setFormatted(_state, CFSTR("calibrationOffset"), "%d %d %d", offset[0], offset[1], offset[2]);
  int8_t m[9] = {};
  read(kVELProperty_OrientationMatrix, m);
  setFormatted(_state, CFSTR("orientationMatrix"), "%d %d %d, %d %d %d, %d %d %d", m[0], m[1], m[2], m[3], m[4], m[5],
               m[6], m[7], m[8]);
  addMatrix(CFSTR("compassSensitivityCalibrationMatrix"), kVELProperty_CompassSensitivity);
}

// Only every second pair is shown, and n bounds the index of a pair, not the number shown.
void SensorReport::addRegisters() {
  SensorRegisters registers = {};
  read(kVELProperty_Registers, registers);
  std::string text;
  for (uint32_t i = 0; i < std::min<uint32_t>(registers.n, std::size(registers.pairs)); i += 2) {
    char pair[32];
    std::snprintf(pair, sizeof pair, "R%02x=%02x ", registers.pairs[i].number, registers.pairs[i].value);
    text += pair;
  }
  static_assert((std::size(SensorRegisters{}.pairs) + 1) / 2 * sizeof("Rffff=ffff ") < 255,
                "the text stays below 256 bytes");
  dictSetCString(_state, CFSTR("registers"), text.c_str());
}

// The four properties share one buffer, which is not cleared between them, and one count of entries.
void SensorReport::addExtras() {
  uint8_t buffer[kTextStreamCapacity] = {};
  unsigned count = 0;
  for (uint32_t property = kVELProperty_FirstText; property <= kVELProperty_LastText; ++property) {
    TextStream stream(buffer, read(property, buffer));
    for (std::string entry; stream.next(entry); ++count) {
      setNumbered(_state, "extra", count, entry.c_str());
    }
  }
}

bool SensorReport::addClients() {
  SensorClient clients[kSensorClientCount] = {};
  size_t length = sizeof clients;
  IOReturn result = _plugin.performCommand(_context, kVELCommand_Clients, nullptr, 0, clients, &length);
  if (result != 0) {
    // The channel has logged the result; this line says that the report is lost.
    logAssertion("result == 0 ", "", 200, static_cast<uint32_t>(result));
    return false;
  }
  const size_t count = replyLength(length, sizeof clients) / sizeof(SensorClient);
  for (unsigned i = 0; i < count; ++i) {
    const SensorClient& client = clients[i];
    if (client.active != 0) {
      char text[256];
      std::snprintf(text, sizeof text, "%.*s: report=%d batch=%d threshold=%d timelimit=%d",
                    static_cast<int>(sizeof client.name), client.name, client.reportInterval, client.batchInterval,
                    client.threshold, client.timeLimit);
      setNumbered(_state, "client", i, text); // numbered by slot: unused slots leave gaps
    }
  }
  return true;
}

} // namespace

os_state_data_s* TavikVELHIDStatistics::stateHandler_SensorInfo(os_state_hints_s*, Context* context) {
  if (context->_driver._interface == nullptr) {
    logAssertion("context->_driver._interface", "", 221, 0);
    return nullptr;
  }
  const OwnedCF<CFMutableDictionaryRef> state(createDictionary());
  if (!state) {
    logAssertion("state", "", 226, 0);
    return nullptr;
  }
  SensorReport report(*this, context, state.get());
  if (!report.addReportInterval() || !report.addSensorType()) {
    return nullptr;
  }
  report.addIdentity();
  report.addTiming();
  report.addCalibration();
  report.addRegisters();
  report.addExtras();
  if (!report.addClients()) { // the list of clients is required
    return nullptr;
  }
  copyDriverEventStats(state.get(), context->_device._service);
  return copyStateData(state.get(), "SensorInfo");
}
