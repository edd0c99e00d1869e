// The payload layouts: their rows, written once. docs/record-format.md shows the same tables to readers, and
// docs/recipes.md says how to add a row or a layout.
#pragma once

#include "profile/layout.h"

#include <array>
#include <cstdint>
#include <initializer_list>
#include <iterator>
#include <string_view>

namespace vel::profile::layouts {

constexpr Row u8(std::string_view key, std::uint8_t offset, std::uint8_t width = 10) {
  return {key, offset, 1, FieldKind::number, width};
}
constexpr Row u16(std::string_view key, std::uint8_t offset, std::uint8_t width = 10) {
  return {key, offset, 2, FieldKind::number, width};
}
constexpr Row u32(std::string_view key, std::uint8_t offset, std::uint8_t width = 10) {
  return {key, offset, 4, FieldKind::number, width};
}
constexpr Row u64(std::string_view key, std::uint8_t offset) {
  return {key, offset, 8, FieldKind::number, 10};
}
constexpr Row constant(std::string_view key, std::uint8_t value, std::uint8_t width = 10) {
  return {key, 0, 0, FieldKind::constant, width, value};
}
constexpr Row quoted_u32(std::string_view key, std::uint8_t offset) {
  return {key, offset, 4, FieldKind::quoted_number, 10};
}
constexpr Row text(std::string_view key, std::uint8_t offset, std::uint8_t size, std::uint8_t width) {
  return {key, offset, size, FieldKind::text, width};
}
constexpr Row bytes(std::string_view key, std::uint8_t offset, std::uint8_t size) {
  return {key, offset, size, FieldKind::bytes, 10};
}
constexpr Row sliced_bytes(std::string_view key, std::uint8_t offset, std::uint8_t size, std::uint8_t length_at) {
  return {key, offset, size, FieldKind::sliced_bytes, 10, length_at};
}
constexpr Row character(std::string_view key, std::uint8_t offset) {
  return {key, offset, 1, FieldKind::character, 10};
}
constexpr Row fixed_point(std::string_view key, std::uint8_t offset) {
  return {key, offset, 4, FieldKind::fixed_point, 10};
}
inline constexpr std::uint8_t subtype_width = 25;
constexpr Row subtype(std::string_view key, std::uint8_t offset) {
  return {key, offset, 4, FieldKind::subtype_name, subtype_width};
}
// The fields of context dumps have no width.
constexpr Row flag(std::string_view key, std::uint8_t offset) {
  return u8(key, offset, 0);
}
constexpr Row word(std::string_view key, std::uint8_t offset) {
  return u32(key, offset, 0);
}

// A layout as it is written below; a row that leaves out a member does not compile.
struct Definition {
  std::string_view name;
  const std::initializer_list<Row>& rows;
};

// Datatypes and categories refer to these by name. A layout that none of them shows does not compile.
inline constexpr Definition definitions[] = {
    // A slice of a longer packet. A record holds at most 24 bytes of it, even if its length says more.
    {"long-data",
     {
         u16("subtype", 16),
         u16("packet-size", 18),
         u16("data-length", 20),
         u16("data-offset", 22),
         sliced_bytes("raw-data", 24, 24, 20),
     }},
    // A whole small packet. Three of its numbers are constants, so that its keys are those of a slice.
    {"short-data",
     {
         u16("subtype", 16),
         constant("packet-size", 30),
         constant("data-length", 30),
         constant("data-offset", 0),
         bytes("raw-data", 18, 30),
     }},
    // Six arguments, shown twice: as numbers, then between apostrophes.
    {"event",
     {
         u32("arg1", 16),
         u32("arg2", 20),
         u32("arg3", 24),
         u32("arg4", 28),
         u32("arg5", 32),
         u32("arg6", 36),
         quoted_u32("xarg1", 16),
         quoted_u32("xarg2", 20),
         quoted_u32("xarg3", 24),
         quoted_u32("xarg4", 28),
         quoted_u32("xarg5", 32),
         quoted_u32("xarg6", 36),
     }},
    // "arg" shows the thread id again; the word at offset 16 is never shown.
    {"trigger",
     {
         constant("trigger", 1, 0),
         u32("thread-id", 20),
         u32("arg", 20),
     }},
    {"function",
     {
         u32("function-id", 16),
         u32("extra-id", 20),
         u32("thread-id", 24),
         u32("duration", 28),
         u32("depth", 32),
         u32("thread_duration", 36),
     }},
    // The last three are raw characters, not numbers: a value of 0 puts a NUL into the text.
    {"sensorinfo",
     {
         text("name", 35, 12, 16),
         u32("report-interval", 16),
         u32("batch-interval", 20),
         u32("threshold", 24),
         u32("time-limit", 28),
         character("connected", 32),
         character("decimation", 33),
         character("gyroPowerMode", 34),
     }},
    {"extfunction",
     {
         text("function", 32, 16, 10),
         u32("arg", 28),
         u32("task", 16),
         u32("thread", 20),
         u32("duration", 24),
     }},
    // An entry id is a tag of eight characters packed into a number. It is shown both ways.
    {"annotation",
     {
         u64("global-id", 16),
         u64("entry-id", 24),
         text("entry", 24, 8, 10),
         u32("arg1", 32),
         u32("arg2", 36),
     }},
    {"decimationinfo",
     {
         text("name", 36, 12, 16),
         u32("sample-interval", 24),
         u32("report-interval", 28),
         u32("batch-interval", 32),
         u64("next-dispatch", 16),
     }},
    // Six words, then the first three again as fixed-point coordinates.
    {"corvane",
     {
         u32("arg1", 16),
         u32("arg2", 20),
         u32("arg3", 24),
         u32("arg4", 28),
         u32("arg5", 32),
         u32("arg6", 36),
         fixed_point("x", 16),
         fixed_point("y", 20),
         fixed_point("z", 24),
     }},
    {"zorb-event",
     {
         subtype("trace", 16),
         u32("thread", 20),
         u32("arg1", 24),
         u32("arg2", 28),
         u32("arg3", 32),
         u32("arg4", 36),
     }},
    {"zorb-input-packet",
     {
         u8("reportID", 18),
         u8("buttonState", 19),
         u8("fingerDetect", 20),
         u8("pressCount", 22),
         u8("longPress", 23),
         u8("terminalEvent", 24),
         u8("speed", 25),
         u8("stage", 26),
         u32("stageProgress", 27),
         u32("force", 31),
     }},
    // Only the low word of the 64-bit status time stamp is shown.
    {"zorb-status-event",
     {
         u32("status-timestamp", 18),
         u8("fingerState", 26),
         u8("buttonState", 27),
         u32("buttonProgress", 28),
         u8("clickCount", 33),
         u8("clickCountIsTerminal", 34),
         u8("clickIsLong", 35),
         u8("clickSpeed", 36),
     }},
    // Button context.
    {"zorb-context-3",
     {
         u16("context-version", 16, 0),
         flag("currentContext0", 18),
         flag("currentContext1", 19),
         flag("ampsEnabled", 20),
         flag("enabled", 21),
         word("mode", 22),
         word("scan_time", 26),
         word("active_scan_interval", 30),
         word("background_scan_interval", 34),
         flag("fingerDetect", 38),
         flag("buttonState", 39),
         flag("pressCount", 40),
         flag("longPress", 41),
         flag("terminalEvent", 42),
         flag("speed", 43),
         flag("stage", 44),
     }},
    // Haptic context.
    {"zorb-context-4",
     {
         u16("context-version", 16, 0),
         flag("mclk_kip_enabled", 18),
         flag("mclk_ap_enabled", 19),
         flag("halden_kip_enabled", 20),
         flag("halden_ap_enabled", 21),
         flag("haldenBusy", 22),
         flag("enableARC", 23),
         flag("enableSpkr", 24),
         flag("mclk_on", 25),
         flag("halden_on", 26),
         flag("haldenPending", 27),
         flag("ampsEnabling", 28),
         flag("purl_ready", 29),
         flag("ampsPrewarming", 30),
         flag("ampsDisabling", 31),
         flag("ampsPending", 32),
         flag("clickState", 33),
         flag("clickSpeed", 34),
         flag("test_mode", 35),
         flag("cl_enable", 36),
         flag("cl_kip_enable", 37),
         flag("cl_ap_enable", 38),
         flag("halden_ready", 39),
         flag("apState0", 40),
         flag("apState1", 41),
         flag("kipState0", 42),
         flag("kipState1", 43),
         flag("state0", 44),
         flag("state1", 45),
     }},
    // Button context: like version 3, with one scan period in place of the mode and the intervals.
    {"zorb-context-5",
     {
         u16("context-version", 16, 0),
         flag("currentContext0", 18),
         flag("currentContext1", 19),
         flag("ampsEnabled", 20),
         flag("enabled", 21),
         word("scan_period", 22),
         word("scan_time", 26),
         flag("fingerDetect", 30),
         flag("buttonState", 31),
         flag("pressCount", 32),
         flag("longPress", 33),
         flag("terminalEvent", 34),
         flag("speed", 35),
         flag("stage", 36),
     }},
    // Haptic context: like version 4, with one amplifier state in place of four flags.
    {"zorb-context-7",
     {
         u16("context-version", 16, 0),
         flag("mclk_kip_enabled", 18),
         flag("mclk_ap_enabled", 19),
         flag("halden_kip_enabled", 20),
         flag("halden_ap_enabled", 21),
         flag("haldenBusy", 22),
         flag("enableARC", 23),
         flag("enableSpkr", 24),
         flag("mclk_on", 25),
         flag("halden_on", 26),
         flag("haldenPending", 27),
         flag("purl_ready", 28),
         flag("ampsState", 29),
         flag("clickState", 30),
         flag("clickSpeed", 31),
         flag("test_mode", 32),
         flag("cl_enable", 33),
         flag("cl_kip_enable", 34),
         flag("cl_ap_enable", 35),
         flag("halden_ready", 36),
         flag("apState0", 37),
         flag("apState1", 38),
         flag("kipState0", 39),
         flag("kipState1", 40),
         flag("state0", 41),
         flag("state1", 42),
     }},
};

inline constexpr auto all = [] {
  std::array<Layout, std::size(definitions)> layouts;
  for (std::size_t i = 0; i < layouts.size(); ++i) {
    layouts[i] = {definitions[i].name, {definitions[i].rows.begin(), definitions[i].rows.size()}};
  }
  return layouts;
}();

// Not constexpr: a search that ends here does not compile.
void no_such_name();

consteval const Layout* named(std::string_view name) {
  for (const Layout& layout : all) {
    if (layout.name == name) {
      return &layout;
    }
  }
  no_such_name();
  return nullptr;
}

} // namespace vel::profile::layouts
