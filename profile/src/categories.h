// The tables that the decoder is made from: the datatypes, and the categories with their names and layout rules.
// docs/record-format.md shows them to readers, and docs/recipes.md says how to add a row.
#pragma once

#include "layouts.h"
#include "profile/category.h"
#include "profile/record_view.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <string_view>

namespace vel::profile {

inline constexpr Datatype datatype_table[] = {
    {0, "stop", nullptr},
    {1, "long-data", layouts::named("long-data")},
    {2, "short-data", layouts::named("short-data")},
    {3, "event", layouts::named("event")},
    {4, "trigger", layouts::named("trigger")},
    {5, "function", layouts::named("function")},
    {6, "zorb-context1", nullptr},
    {7, "zorb-context2", nullptr},
    {8, "sensorinfo", layouts::named("sensorinfo")},
    {9, "extfunction", layouts::named("extfunction")},
    {10, "zorb-context", nullptr}, // its layouts are the ZORB category's own
    {11, "annotation", layouts::named("annotation")},
    {12, "decimationinfo", layouts::named("decimationinfo")},
};

// Conditions of a layout rule. A datatype without a name does not compile.
consteval Condition type_is(std::string_view name) {
  for (const Datatype& datatype : datatype_table) {
    if (datatype.name == name) {
      return {offsetof(_VelProfileReport, type), 1, datatype.id};
    }
  }
  layouts::no_such_name();
  return {};
}
consteval Condition event_is(std::uint8_t id) {
  return {offsetof(_VelProfileReport, event), 1, id};
}
consteval Condition u16_is(std::uint8_t offset, std::uint16_t value) {
  return {offset, 2, value};
}
// The whole first word: category, component, event and type, from the highest byte to the lowest.
consteval Condition ids_are(std::uint32_t word) {
  return {0, 4, word};
}

// What a rule shows: one layout or two, in this order.
template <class... Names>
consteval ShownLayouts layouts_named(Names... names) {
  return {{layouts::named(names)...}, sizeof...(names)};
}

inline constexpr StaticList<std::uint8_t> all_components = {};

// The events of the latency component, and its actions.
inline constexpr StaticList<NameRow> zorb_checkpoints = {
    {0, "ckp_ZORBFingerON"}, {1, "ckp_ZORBFingerOFF"},      {2, "ckp_ZORBButtonDown"}, {3, "ckp_ZORBButtonUp"},
    {4, "ckp_ARCTurnOn"},    {5, "ckp_HaldenStartHaptics"}, {6, "ckp_ARCReady"},       {7, "ckp_HaldenPlayAsset"},
};

inline constexpr Category category_table[] = {
    {.id = category_id::execution,
     .name = "execution",
     .components = {{0, "scheduler"}, {1, "function"}, {2, "workloop"}, {3, "command"}, {4, "extfunction"}},
     .events = {{.components = {0}, .names = {{0, "context-switch"}, {1, "prevent-nap"}, {2, "thread-state"}}},
                {.components = {1}, .names = {{0, "function"}}},
                {.components = {2}, .names = {{0, "action"}, {1, "signal"}}},
                {.components = {3},
                 .names = {{0, "start"},
                           {1, "finalize"},
                           {2, "new-packet"},
                           {3, "receive"},
                           {4, "timeout"},
                           {5, "live-report"},
                           {6, "hist-report"},
                           {7, "user-report"}}},
                {.components = {4}, .names = {{0, "extfunction"}}}},
     .subtypes = {},
     .layouts = {}},
    {.id = category_id::trace,
     .name = "trace",
     .components = {{0, "remoteq"}, {1, "endpoint"}, {2, "systick"}, {3, "interrupt"}},
     .events = {},
     .subtypes = {},
     .layouts = {}},
    // The name is a plural, though the decoder is sensor_decoder. The firmware's trigger events begin at 16.
    {.id = category_id::sensors,
     .name = "sensors",
     .components =
         {{0, "accel"}, {1, "gyro"}, {2, "compass"}, {3, "pressure"}, {4, "boreal"}, {5, "als"}, {6, "temperature"}},
     .events = {{.components = all_components,
                 .names = {{0, "latency"},
                           {1, "rawdata"},
                           {2, "data"},
                           {3, "filtdata"},
                           {4, "apdata"},
                           {5, "regwrite"},
                           {6, "regread"},
                           {7, "update"},
                           {8, "filter-state"},
                           {9, "sensor-info"},
                           {10, "annotation"},
                           {16, "trigger-magnitude"},
                           {17, "trigger-latency"}}}},
     .subtypes = {},
     .layouts = {}},
    {.id = category_id::lantor,
     .name = "lantor",
     .components = {{0, "lantor"}},
     .events = {{.components = all_components, .names = {{0, "latency"}, {1, "monitor"}, {17, "trigger-latency"}}}},
     .subtypes = {},
     .layouts = {}},
    {.id = category_id::corvane,
     .name = "corvane",
     .components = {{0, "corvane"}},
     .events = {{.components = all_components, .names = {{0, "data-in"}, {1, "data-out"}}}},
     .subtypes = {},
     .layouts =
         {
             // Incoming data goes on to the common fields; outgoing data does not.
             {.when = {ids_are(0x04000003)}, .layouts = layouts_named("corvane", "event")},
             {.when = {ids_are(0x04000103)}, .layouts = layouts_named("corvane")},
         }},
    {.id = category_id::interrupt,
     .name = "interrupt",
     .components = {{0, "gpio"}},
     .events = {{.components = all_components, .names = {{0, "latency"}}}},
     .subtypes = {},
     .layouts = {}},
    {.id = category_id::uart,
     .name = "uart",
     .components = {{0, "uart0"}, {1, "uart1"}, {2, "uart2"}},
     .events = {{.components = all_components,
                 .names = {{0, "preamble"},
                           {1, "sw-handshake"},
                           {2, "hw-handshake"},
                           {3, "trace"},
                           {4, "packet"},
                           {5, "baseband"},
                           {6, "transport"},
                           {7, "kip-test"}}}},
     .subtypes = {},
     .layouts = {}},
    {.id = category_id::zorb,
     .name = "zorb",
     .components =
         {{0, "zorb"}, {1, "halden"}, {2, "amp"}, {3, "latency"}, {4, "purl"}, {5, "kipaudio"}, {6, "kipvoicetrigger"}},
     .events = {{.components = {3}, .names = zorb_checkpoints},
                {.components = all_components,
                 .names = {{0, "trace"},
                           {1, "context"},
                           {2, "input-packet"},
                           {3, "status-event"},
                           {16, "trigger-fingeron"},
                           {17, "trigger-fingeroff"},
                           {18, "trigger-clickon"},
                           {19, "trigger-clickoff"}}}},
     .subtypes =
         {
             {.components = {3}, .names = zorb_checkpoints},
             // Requests and completions, then system events from 100, then amplifier states and power steps from 200.
             // Rows 224 to 232 repeat earlier names under the ids of a later firmware. The audio components, 5 and 6,
             // have none of these names.
             {.components = {0, 1, 2, 4},
              .names =
                  {
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
                  }},
         },
     .layouts =
         {
             {.when = {type_is("event")}, .layouts = layouts_named("zorb-event", "event")},
             {.when = {type_is("short-data"), event_is(2)},
              .layouts = layouts_named("zorb-input-packet", "short-data")},
             {.when = {type_is("short-data"), event_is(3)},
              .layouts = layouts_named("zorb-status-event", "short-data")},
             // Unrecognised packets show their common fields twice; readers of the text count on it.
             {.when = {type_is("short-data")}, .layouts = layouts_named("short-data", "short-data")},
             {.when = {type_is("zorb-context"), u16_is(16, 3)}, .layouts = layouts_named("zorb-context-3")},
             {.when = {type_is("zorb-context"), u16_is(16, 4)}, .layouts = layouts_named("zorb-context-4")},
             {.when = {type_is("zorb-context"), u16_is(16, 5)}, .layouts = layouts_named("zorb-context-5")},
             {.when = {type_is("zorb-context"), u16_is(16, 7)}, .layouts = layouts_named("zorb-context-7")},
         }},
    {.id = category_id::control, .name = "control", .components = {}, .events = {}, .subtypes = {}, .layouts = {}},
    {.id = category_id::scm,
     .name = "scm",
     .components = {{0, "spi0"}, {1, "smb0"}, {2, "smb1"}, {3, "i2cm0"}, {4, "i2c_ctrl0"}, {5, "i2c_ctrl1"}},
     .events = {},
     .subtypes = {},
     .layouts = {}},
};

static_assert(std::size(category_table) == category_id::count, "each category has a row");

// The first two columns of a table.
template <std::size_t Count, class Row>
constexpr std::array<NameRow, Count> names_of(const Row (&table)[Count]) {
  std::array<NameRow, Count> names;
  for (std::size_t i = 0; i < Count; ++i) {
    names[i] = {table[i].id, table[i].name};
  }
  return names;
}
inline constexpr auto category_names_table = names_of(category_table);
inline constexpr auto datatype_names_table = names_of(datatype_table);

} // namespace vel::profile
