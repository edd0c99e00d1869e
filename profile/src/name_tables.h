// Every name table, in id order, gaps included. The look-up takes the first row that matches and relies on no order.
#pragma once

#include "profile/names.h"

namespace vel::profile::tables {

// Category 2 is the plural "sensors", though its decoder is sensor_decoder.
inline constexpr NameRow categories[] = {
    {0, "execution"}, {1, "trace"}, {2, "sensors"}, {3, "lantor"},  {4, "corvane"},
    {5, "interrupt"}, {6, "uart"},  {7, "zorb"},    {8, "control"}, {9, "scm"},
};

inline constexpr NameRow datatypes[] = {
    {0, "stop"},          {1, "long-data"},     {2, "short-data"},      {3, "event"},      {4, "trigger"},
    {5, "function"},      {6, "zorb-context1"}, {7, "zorb-context2"},   {8, "sensorinfo"}, {9, "extfunction"},
    {10, "zorb-context"}, {11, "annotation"},   {12, "decimationinfo"},
};

inline constexpr NameRow execution_components[] = {
    {0, "scheduler"}, {1, "function"}, {2, "workloop"}, {3, "command"}, {4, "extfunction"},
};

inline constexpr NameRow scheduler_events[] = {
    {0, "context-switch"},
    {1, "prevent-nap"},
    {2, "thread-state"},
};

inline constexpr NameRow function_events[] = {
    {0, "function"},
};

inline constexpr NameRow workloop_events[] = {
    {0, "action"},
    {1, "signal"},
};

inline constexpr NameRow command_events[] = {
    {0, "start"},   {1, "finalize"},    {2, "new-packet"},  {3, "receive"},
    {4, "timeout"}, {5, "live-report"}, {6, "hist-report"}, {7, "user-report"},
};

inline constexpr NameRow extfunction_events[] = {
    {0, "extfunction"},
};

inline constexpr NameRow trace_components[] = {
    {0, "remoteq"},
    {1, "endpoint"},
    {2, "systick"},
    {3, "interrupt"},
};

inline constexpr NameRow sensor_components[] = {
    {0, "accel"}, {1, "gyro"}, {2, "compass"}, {3, "pressure"}, {4, "boreal"}, {5, "als"}, {6, "temperature"},
};

// The firmware's trigger events begin at 16.
inline constexpr NameRow sensor_events[] = {
    {0, "latency"},          {1, "rawdata"},     {2, "data"},        {3, "filtdata"},
    {4, "apdata"},           {5, "regwrite"},    {6, "regread"},     {7, "update"},
    {8, "filter-state"},     {9, "sensor-info"}, {10, "annotation"}, {16, "trigger-magnitude"},
    {17, "trigger-latency"},
};

inline constexpr NameRow lantor_components[] = {
    {0, "lantor"},
};

inline constexpr NameRow lantor_events[] = {
    {0, "latency"},
    {1, "monitor"},
    {17, "trigger-latency"},
};

inline constexpr NameRow corvane_components[] = {
    {0, "corvane"},
};

inline constexpr NameRow corvane_events[] = {
    {0, "data-in"},
    {1, "data-out"},
};

inline constexpr NameRow interrupt_components[] = {
    {0, "gpio"},
};

inline constexpr NameRow interrupt_events[] = {
    {0, "latency"},
};

inline constexpr NameRow uart_components[] = {
    {0, "uart0"},
    {1, "uart1"},
    {2, "uart2"},
};

inline constexpr NameRow uart_events[] = {
    {0, "preamble"}, {1, "sw-handshake"}, {2, "hw-handshake"}, {3, "trace"},
    {4, "packet"},   {5, "baseband"},     {6, "transport"},    {7, "kip-test"},
};

inline constexpr NameRow scm_components[] = {
    {0, "spi0"}, {1, "smb0"}, {2, "smb1"}, {3, "i2cm0"}, {4, "i2c_ctrl0"}, {5, "i2c_ctrl1"},
};

inline constexpr NameRow zorb_components[] = {
    {0, "zorb"}, {1, "halden"}, {2, "amp"}, {3, "latency"}, {4, "purl"}, {5, "kipaudio"}, {6, "kipvoicetrigger"},
};

inline constexpr NameRow zorb_events[] = {
    {0, "trace"},
    {1, "context"},
    {2, "input-packet"},
    {3, "status-event"},
    {16, "trigger-fingeron"},
    {17, "trigger-fingeroff"},
    {18, "trigger-clickon"},
    {19, "trigger-clickoff"},
};

// The events, and the actions, of the latency component.
inline constexpr NameRow zorb_checkpoints[] = {
    {0, "ckp_ZORBFingerON"}, {1, "ckp_ZORBFingerOFF"},      {2, "ckp_ZORBButtonDown"}, {3, "ckp_ZORBButtonUp"},
    {4, "ckp_ARCTurnOn"},    {5, "ckp_HaldenStartHaptics"}, {6, "ckp_ARCReady"},       {7, "ckp_HaldenPlayAsset"},
};

// Actions of the zorb, halden, amp and purl components: requests and completions, then system events from 100, then
// amplifier states and power steps from 200. Rows 224 to 232 repeat earlier names under the ids of a later firmware.
inline constexpr NameRow zorb_subtypes[] = {
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

} // namespace vel::profile::tables
