// One function a step; compare it with docs/record-format.md, not with the engine.
#include "naive_profile.h"

#include <cstdio>
#include <cstring>
#include <ctime>
#include <iomanip>
#include <map>
#include <sstream>

namespace naive {

namespace {

using Names = std::map<unsigned, std::string>;

const Names categories = {
    {0, "execution"}, {1, "trace"}, {2, "sensors"}, {3, "lantor"},  {4, "corvane"},
    {5, "interrupt"}, {6, "uart"},  {7, "zorb"},    {8, "control"}, {9, "scm"},
};

const Names datatypes = {
    {0, "stop"},          {1, "long-data"},     {2, "short-data"},      {3, "event"},      {4, "trigger"},
    {5, "function"},      {6, "zorb-context1"}, {7, "zorb-context2"},   {8, "sensorinfo"}, {9, "extfunction"},
    {10, "zorb-context"}, {11, "annotation"},   {12, "decimationinfo"},
};

const Names sensor_events = {
    {0, "latency"},          {1, "rawdata"},     {2, "data"},        {3, "filtdata"},
    {4, "apdata"},           {5, "regwrite"},    {6, "regread"},     {7, "update"},
    {8, "filter-state"},     {9, "sensor-info"}, {10, "annotation"}, {16, "trigger-magnitude"},
    {17, "trigger-latency"},
};

const Names zorb_events = {
    {0, "trace"},
    {1, "context"},
    {2, "input-packet"},
    {3, "status-event"},
    {16, "trigger-fingeron"},
    {17, "trigger-fingeroff"},
    {18, "trigger-clickon"},
    {19, "trigger-clickoff"},
};

const Names checkpoints = {
    {0, "ckp_ZORBFingerON"}, {1, "ckp_ZORBFingerOFF"},      {2, "ckp_ZORBButtonDown"}, {3, "ckp_ZORBButtonUp"},
    {4, "ckp_ARCTurnOn"},    {5, "ckp_HaldenStartHaptics"}, {6, "ckp_ARCReady"},       {7, "ckp_HaldenPlayAsset"},
};

const Names actions = {
    {0, "Notification"},
    {1, "Command"},
    {2, "SetProperty"},
    {3, "GetProperty"},
    {4, "SendAmpRequest"},
    {5, "AmpWorkerRequestComplete"},
    {6, "AmpRequestComplete"},
    {7, "EnableZorb"},
    {8, "OnCorvaneData"},
    {9, "SimulateEvent"},
    {10, "AmpTurnOn"},
    {11, "NotifyHalden"},
    {12, "AmpTurnOff"},
    {13, "EnableMclk"},
    {14, "EnableHalden"},
    {15, "PurlData"},
    {16, "DispatchReport"},
    {17, "HandleFingerDownChanged"},
    {18, "HandleButtonStateChanged"},
    {19, "HandleClickStatus"},
    {20, "ChangeOpMode"},
    {21, "ScanESAction"},
    {22, "TurtleTESAction"},
    {23, "NotifyHaldenRunState"},
    {24, "SimulateButtonPress"},
    {25, "AmpRequestCompleteStep2"},
    {26, "AmpRequestCompleteStep3"},
    {27, "AmpRequestCompleteStep4"},
    {28, "AmpRequestCompleteStep5"},
    {29, "AmpRequestCompleteStep6"},
    {30, "AmpPrewarmComplete"},
    {31, "AmpEnableComplete"},
    {32, "AmpDisableComplete"},
    {33, "StartHalden"},
    {34, "StopHalden"},
    {35, "AssetTimerComplete"},
    {36, "HaldenCLTimeOut"},
    {37, "HaldenCLFault"},
    {38, "SetTestMode"},
    {39, "SimulateFingerdetect"},
    {40, "SimulateClick"},
    {41, "StartHaldenZORBComplete"},
    {42, "StartHaldenAPComplete"},
    {43, "StopHaldenZORBComplete"},
    {44, "StopHaldenAPComplete"},
    {45, "ApSpkAmpRequest"},
    {46, "ApSpkAmpRequestProcess"},
    {47, "ApSpkAmpRequestComplete"},
    {48, "ApARCRequestComplete"},
    {100, "ResetBegin"},
    {101, "ResetEnd"},
    {102, "ResetComplete"},
    {103, "ResetRequest"},
    {104, "Fingerdetect"},
    {105, "EnableStuckFDTimer"},
    {106, "SystemStatus"},
    {107, "APForceWake"},
    {200, "SetState"},
    {201, "ConfigureSpeaker"},
    {202, "DisabledToPreWarm"},
    {203, "DisabledToEnabled"},
    {204, "PreWarmToEnabled"},
    {205, "PreWarmToDisabled"},
    {206, "EnabledToPreWarm"},
    {207, "EnabledToDisabled"},
    {208, "DisabledToIVEnabled"},
    {209, "PreWarmToIVEnabled"},
    {210, "EnabledToIVEnabled"},
    {211, "IVEnabledToEnabled"},
    {212, "AmpPowerDown"},
    {213, "AmpClearInterrupts"},
    {214, "SoftReset"},
    {215, "AmpPowerUpPhase1"},
    {216, "AmpPowerUpPhase2"},
    {217, "AmpPowerUpPhase3"},
    {218, "SetVolume"},
    {219, "ConfigureTDMControls"},
    {220, "SetChannelEnable"},
    {221, "WaitForAmpPowerdown"},
    {222, "EnableAmpReset"},
    {223, "EnableGNDSwitches"},
    {224, "AmpPowerUpPhase1"},
    {225, "AmpPowerUpPhase2"},
    {226, "AmpPowerUpPhase3"},
    {227, "DisabledToPreWarm"},
    {228, "DisabledToEnabled"},
    {229, "PreWarmToEnabled"},
    {230, "EnabledToPreWarm"},
    {231, "DisabledToIVEnabled"},
    {232, "PreWarmToIVEnabled"},
};

// By category.
const std::map<unsigned, Names> components = {
    {0, {{0, "scheduler"}, {1, "function"}, {2, "workloop"}, {3, "command"}, {4, "extfunction"}}},
    {1, {{0, "remoteq"}, {1, "endpoint"}, {2, "systick"}, {3, "interrupt"}}},
    {2, {{0, "accel"}, {1, "gyro"}, {2, "compass"}, {3, "pressure"}, {4, "boreal"}, {5, "als"}, {6, "temperature"}}},
    {3, {{0, "lantor"}}},
    {4, {{0, "corvane"}}},
    {5, {{0, "gpio"}}},
    {6, {{0, "uart0"}, {1, "uart1"}, {2, "uart2"}}},
    {7, {{0, "zorb"}, {1, "halden"}, {2, "amp"}, {3, "latency"}, {4, "purl"}, {5, "kipaudio"}, {6, "kipvoicetrigger"}}},
    {9, {{0, "spi0"}, {1, "smb0"}, {2, "smb1"}, {3, "i2cm0"}, {4, "i2c_ctrl0"}, {5, "i2c_ctrl1"}}},
};

// By component of the execution category.
const std::map<unsigned, Names> execution_events = {
    {0, {{0, "context-switch"}, {1, "prevent-nap"}, {2, "thread-state"}}},
    {1, {{0, "function"}}},
    {2, {{0, "action"}, {1, "signal"}}},
    {3,
     {{0, "start"},
      {1, "finalize"},
      {2, "new-packet"},
      {3, "receive"},
      {4, "timeout"},
      {5, "live-report"},
      {6, "hist-report"},
      {7, "user-report"}}},
    {4, {{0, "extfunction"}}},
};

// By category, where all components share them.
const std::map<unsigned, Names> shared_events = {
    {3, {{0, "latency"}, {1, "monitor"}, {17, "trigger-latency"}}},
    {4, {{0, "data-in"}, {1, "data-out"}}},
    {5, {{0, "latency"}}},
    {6,
     {{0, "preamble"},
      {1, "sw-handshake"},
      {2, "hw-handshake"},
      {3, "trace"},
      {4, "packet"},
      {5, "baseband"},
      {6, "transport"},
      {7, "kip-test"}}},
};

std::string look_up(const Names& names, unsigned id) {
  const auto found = names.find(id);
  return found == names.end() ? std::to_string(id) : found->second;
}

std::string look_up(const std::map<unsigned, Names>& tables, unsigned table, unsigned id) {
  const auto found = tables.find(table);
  return found == tables.end() ? std::to_string(id) : look_up(found->second, id);
}

std::string event_name(unsigned category, unsigned component, unsigned event) {
  switch (category) {
  case 0:
    return look_up(execution_events, component, event);
  case 2:
    return look_up(sensor_events, event);
  case 7:
    return look_up(component == 3 ? checkpoints : zorb_events, event);
  default:
    return look_up(shared_events, category, event);
  }
}

std::string action_name(unsigned component, unsigned action) {
  if (component == 3) {
    return look_up(checkpoints, action);
  }
  const bool named = component == 0 || component == 1 || component == 2 || component == 4;
  return named ? look_up(actions, action) : std::to_string(action);
}

std::string key(const std::string& name) {
  return " '" + name + "':";
}

std::string str(const std::string& value) {
  return "'" + value + "'";
}

std::string dump(const unsigned char* data, unsigned length) {
  std::stringstream out;
  out << "[";
  for (unsigned i = 0; i < length; ++i) {
    out << (i == 0 ? "" : ",") << static_cast<unsigned>(data[i]);
  }
  out << "]";
  return out.str();
}

template <class T>
T get(const unsigned char* record, unsigned offset) {
  T value;
  std::memcpy(&value, record + offset, sizeof value);
  return value;
}

std::string text(const unsigned char* record, unsigned offset, unsigned length) {
  char copy[17] = {};
  std::memcpy(copy, record + offset, length);
  return copy;
}

using std::setw;

void field(std::stringstream& out, const char* name, std::uint64_t value) {
  out << key(name) << setw(10) << value << ",";
}

void bare(std::stringstream& out, const char* name, std::uint64_t value) {
  out << key(name) << value << ",";
}

void six_arguments(std::stringstream& out, const unsigned char* r) {
  field(out, "arg1", get<std::uint32_t>(r, 16));
  field(out, "arg2", get<std::uint32_t>(r, 20));
  field(out, "arg3", get<std::uint32_t>(r, 24));
  field(out, "arg4", get<std::uint32_t>(r, 28));
  field(out, "arg5", get<std::uint32_t>(r, 32));
  field(out, "arg6", get<std::uint32_t>(r, 36));
}

void common(std::stringstream& out, const unsigned char* r) {
  switch (r[0]) {
  case 1: {
    const unsigned length = get<std::uint16_t>(r, 20);
    field(out, "subtype", get<std::uint16_t>(r, 16));
    field(out, "packet-size", get<std::uint16_t>(r, 18));
    field(out, "data-length", length);
    field(out, "data-offset", get<std::uint16_t>(r, 22));
    out << key("raw-data") << setw(10) << dump(r + 24, length > 24 ? 24 : length) << ",";
    break;
  }
  case 2:
    field(out, "subtype", get<std::uint16_t>(r, 16));
    field(out, "packet-size", 30);
    field(out, "data-length", 30);
    field(out, "data-offset", 0);
    out << key("raw-data") << setw(10) << dump(r + 18, 30) << ",";
    break;
  case 3:
    six_arguments(out, r);
    out << key("xarg1") << setw(10) << "'" << get<std::uint32_t>(r, 16) << "',";
    out << key("xarg2") << setw(10) << "'" << get<std::uint32_t>(r, 20) << "',";
    out << key("xarg3") << setw(10) << "'" << get<std::uint32_t>(r, 24) << "',";
    out << key("xarg4") << setw(10) << "'" << get<std::uint32_t>(r, 28) << "',";
    out << key("xarg5") << setw(10) << "'" << get<std::uint32_t>(r, 32) << "',";
    out << key("xarg6") << setw(10) << "'" << get<std::uint32_t>(r, 36) << "',";
    break;
  case 4:
    bare(out, "trigger", 1);
    field(out, "thread-id", get<std::uint32_t>(r, 20));
    field(out, "arg", get<std::uint32_t>(r, 20));
    break;
  case 5:
    field(out, "function-id", get<std::uint32_t>(r, 16));
    field(out, "extra-id", get<std::uint32_t>(r, 20));
    field(out, "thread-id", get<std::uint32_t>(r, 24));
    field(out, "duration", get<std::uint32_t>(r, 28));
    field(out, "depth", get<std::uint32_t>(r, 32));
    field(out, "thread_duration", get<std::uint32_t>(r, 36));
    break;
  case 8:
    out << key("name") << setw(16) << str(text(r, 35, 12)) << ",";
    field(out, "report-interval", get<std::uint32_t>(r, 16));
    field(out, "batch-interval", get<std::uint32_t>(r, 20));
    field(out, "threshold", get<std::uint32_t>(r, 24));
    field(out, "time-limit", get<std::uint32_t>(r, 28));
    out << key("connected") << setw(10) << r[32] << ",";
    out << key("decimation") << setw(10) << r[33] << ",";
    out << key("gyroPowerMode") << setw(10) << r[34] << ",";
    break;
  case 9:
    out << key("function") << setw(10) << str(text(r, 32, 16)) << ",";
    field(out, "arg", get<std::uint32_t>(r, 28));
    field(out, "task", get<std::uint32_t>(r, 16));
    field(out, "thread", get<std::uint32_t>(r, 20));
    field(out, "duration", get<std::uint32_t>(r, 24));
    break;
  case 11:
    field(out, "global-id", get<std::uint64_t>(r, 16));
    field(out, "entry-id", get<std::uint64_t>(r, 24));
    out << key("entry") << setw(10) << str(text(r, 24, 8)) << ",";
    field(out, "arg1", get<std::uint32_t>(r, 32));
    field(out, "arg2", get<std::uint32_t>(r, 36));
    break;
  case 12:
    out << key("name") << setw(16) << str(text(r, 36, 12)) << ",";
    field(out, "sample-interval", get<std::uint32_t>(r, 24));
    field(out, "report-interval", get<std::uint32_t>(r, 28));
    field(out, "batch-interval", get<std::uint32_t>(r, 32));
    field(out, "next-dispatch", get<std::uint64_t>(r, 16));
    break;
  default:
    break;
  }
}

double fixed_point(const unsigned char* r, unsigned offset) {
  return get<std::int32_t>(r, offset) / 65536.0;
}

void corvane(std::stringstream& out, const unsigned char* r) {
  const bool at_component_0 = r[3] == 4 && r[2] == 0 && r[0] == 3;
  const bool in = at_component_0 && r[1] == 0;
  const bool out_ = at_component_0 && r[1] == 1;
  if (in || out_) {
    six_arguments(out, r);
    out << key("x") << setw(10) << fixed_point(r, 16) << ",";
    out << key("y") << setw(10) << fixed_point(r, 20) << ",";
    out << key("z") << setw(10) << fixed_point(r, 24) << ",";
  }
  if (!out_) {
    common(out, r);
  }
}

void button_flags(std::stringstream& out, const unsigned char* r, unsigned offset) {
  bare(out, "fingerDetect", r[offset]);
  bare(out, "buttonState", r[offset + 1]);
  bare(out, "pressCount", r[offset + 2]);
  bare(out, "longPress", r[offset + 3]);
  bare(out, "terminalEvent", r[offset + 4]);
  bare(out, "speed", r[offset + 5]);
  bare(out, "stage", r[offset + 6]);
}

void zorb_context(std::stringstream& out, const unsigned char* r) {
  const unsigned version = get<std::uint16_t>(r, 16);
  if (version == 3 || version == 5) {
    bare(out, "context-version", version);
    bare(out, "currentContext0", r[18]);
    bare(out, "currentContext1", r[19]);
    bare(out, "ampsEnabled", r[20]);
    bare(out, "enabled", r[21]);
    bare(out, version == 3 ? "mode" : "scan_period", get<std::uint32_t>(r, 22));
    bare(out, "scan_time", get<std::uint32_t>(r, 26));
    if (version == 3) {
      bare(out, "active_scan_interval", get<std::uint32_t>(r, 30));
      bare(out, "background_scan_interval", get<std::uint32_t>(r, 34));
    }
    button_flags(out, r, version == 3 ? 38 : 30);
  }
  if (version == 4 || version == 7) {
    bare(out, "context-version", version);
    bare(out, "mclk_kip_enabled", r[18]);
    bare(out, "mclk_ap_enabled", r[19]);
    bare(out, "halden_kip_enabled", r[20]);
    bare(out, "halden_ap_enabled", r[21]);
    bare(out, "haldenBusy", r[22]);
    bare(out, "enableARC", r[23]);
    bare(out, "enableSpkr", r[24]);
    bare(out, "mclk_on", r[25]);
    bare(out, "halden_on", r[26]);
    bare(out, "haldenPending", r[27]);
    if (version == 4) {
      bare(out, "ampsEnabling", r[28]);
      bare(out, "purl_ready", r[29]);
      bare(out, "ampsPrewarming", r[30]);
      bare(out, "ampsDisabling", r[31]);
      bare(out, "ampsPending", r[32]);
    } else {
      bare(out, "purl_ready", r[28]);
      bare(out, "ampsState", r[29]);
    }
    const unsigned shift = version == 4 ? 3 : 0;
    bare(out, "clickState", r[30 + shift]);
    bare(out, "clickSpeed", r[31 + shift]);
    bare(out, "test_mode", r[32 + shift]);
    bare(out, "cl_enable", r[33 + shift]);
    bare(out, "cl_kip_enable", r[34 + shift]);
    bare(out, "cl_ap_enable", r[35 + shift]);
    bare(out, "halden_ready", r[36 + shift]);
    bare(out, "apState0", r[37 + shift]);
    bare(out, "apState1", r[38 + shift]);
    bare(out, "kipState0", r[39 + shift]);
    bare(out, "kipState1", r[40 + shift]);
    bare(out, "state0", r[41 + shift]);
    bare(out, "state1", r[42 + shift]);
  }
  if (version != 5 && version != 7) {
    common(out, r);
  }
}

void zorb(std::stringstream& out, const unsigned char* r) {
  if (r[0] == 3) {
    out << key("trace") << setw(25) << str(action_name(r[2], get<std::uint32_t>(r, 16))) << ",";
    field(out, "thread", get<std::uint32_t>(r, 20));
    field(out, "arg1", get<std::uint32_t>(r, 24));
    field(out, "arg2", get<std::uint32_t>(r, 28));
    field(out, "arg3", get<std::uint32_t>(r, 32));
    field(out, "arg4", get<std::uint32_t>(r, 36));
    common(out, r);
  } else if (r[0] == 2 && r[1] == 2) {
    field(out, "reportID", r[18]);
    field(out, "buttonState", r[19]);
    field(out, "fingerDetect", r[20]);
    field(out, "pressCount", r[22]);
    field(out, "longPress", r[23]);
    field(out, "terminalEvent", r[24]);
    field(out, "speed", r[25]);
    field(out, "stage", r[26]);
    field(out, "stageProgress", get<std::uint32_t>(r, 27));
    field(out, "force", get<std::uint32_t>(r, 31));
    common(out, r);
  } else if (r[0] == 2 && r[1] == 3) {
    field(out, "status-timestamp", get<std::uint32_t>(r, 18));
    field(out, "fingerState", r[26]);
    field(out, "buttonState", r[27]);
    field(out, "buttonProgress", get<std::uint32_t>(r, 28));
    field(out, "clickCount", r[33]);
    field(out, "clickCountIsTerminal", r[34]);
    field(out, "clickIsLong", r[35]);
    field(out, "clickSpeed", r[36]);
    common(out, r);
  } else if (r[0] == 2) {
    common(out, r);
    common(out, r);
  } else if (r[0] == 10) {
    zorb_context(out, r);
  } else {
    common(out, r);
  }
}

} // namespace

std::string to_string(const unsigned char* record, const Times& times) {
  const std::uint32_t ids = get<std::uint32_t>(record, 0);
  const unsigned category = ids >> 24;
  const unsigned component = ids >> 16 & 255;
  const unsigned event = ids >> 8 & 255;
  const unsigned type = ids & 255;
  std::stringstream out;
  out << "{ ";
  out << key("category") << setw(8) << str(look_up(categories, category)) << ",";
  out << key("component") << setw(8) << str(look_up(components, category, component)) << ",";
  out << key("event") << setw(12) << str(event_name(category, component, event)) << ",";
  out << key("type") << setw(12) << str(look_up(datatypes, type)) << ",";
  out << key("timestamp") << setw(10) << get<std::uint64_t>(record, 8) << ",";
  out << key("sequence_num") << setw(10) << get<std::uint32_t>(record, 4) << ",";
  switch (category) {
  case 4:
    corvane(out, record);
    break;
  case 7:
    zorb(out, record);
    break;
  default:
    common(out, record);
    break;
  }
  out << key("type-id") << type << ",";
  out << key("category-id") << category << ",";
  out << key("component-id") << component << ",";
  out << key("event-id") << event << ",";
  out << key("binary-data") << dump(record, 48);
  if (times.wall) {
    out << "," << key("calendar-time") << str(*times.wall);
  }
  if (times.boot) {
    out << "," << key("boot-timestamp") << *times.boot;
  }
  out << "}";
  return out.str();
}

std::string wall_time(std::uint64_t timestamp, std::int64_t vel, std::int64_t calendar) {
  const std::uint64_t microseconds =
      (timestamp * 1000 + static_cast<std::uint64_t>(calendar) - static_cast<std::uint64_t>(vel)) / 1000;
  const std::time_t seconds = static_cast<std::time_t>(microseconds / 1000000);
  std::tm local;
  localtime_r(&seconds, &local);
  char date[30];
  if (std::strftime(date, sizeof date, "%b %d %T", &local) == 0) {
    date[0] = '\0'; // it did not fit, and left anything
  }
  char text[30];
  std::snprintf(text, sizeof text, "%s.%06lld", date, static_cast<long long>(microseconds % 1000000));
  return text;
}

} // namespace naive
