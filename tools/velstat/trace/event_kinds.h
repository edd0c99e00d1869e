// What a record is on a timeline, and its fields by key: the decoder's rows, looked up once.
#pragma once

#include <profile/fields.h>
#include <profile/layout.h>

#include <array>
#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

namespace vel::stat {

enum class EventKind : std::uint8_t {
  instant,
  call,          // a function or extended function, recorded at its end
  configuration, // of a sensor
  dump,          // bytes that the trace does not show
};

// A field of one layout.
struct KnownField {
  const profile::Layout* layout = nullptr;
  const profile::Row* row = nullptr;

  std::uint64_t number(const unsigned char* record) const {
    profile::DecimalText digits;
    return profile::read_field(record, *row, digits).number;
  }
};

// Finds a field by the decoder's names of its layout and key. Throws std::logic_error if the decoder does not have it.
KnownField knownField(std::string_view layout, std::string_view key);

// The fields of a call. The name of a function is a number or a text.
struct CallFields {
  KnownField name;
  KnownField thread;
  KnownField duration;
};

// A step of the button that begins or ends a slice.
enum class Step : std::uint8_t {
  fingerOn,
  fingerOff,
  buttonDown,
  buttonUp,
  amplifierOn,
  amplifierReady,
  hapticStart,
  hapticPlayed,
  hapticFailed
};

class EventKinds {
public:
  // What is known about a layout.
  struct OfLayout {
    EventKind kind = EventKind::instant;
    const CallFields* call = nullptr;
    std::vector<const profile::Row*> counters;
    const profile::Row* action = nullptr; // the field that names the event
  };

  EventKinds();
  EventKinds(const EventKinds&) = delete;
  EventKinds& operator=(const EventKinds&) = delete;

  // What is known about the first layout that the record shows, if any.
  const OfLayout& ofLayout(const unsigned char* record) const;
  bool isContextSwitch(const unsigned char* record) const;
  // `action` is the number in the field that names the event.
  std::optional<Step> step(const unsigned char* record, std::uint64_t action) const;

  KnownField switchedFrom;
  KnownField switchedTo;

private:
  struct KnownStep {
    std::uint8_t component;
    std::uint32_t action;
    Step step;
  };

  CallFields function_;
  CallFields extendedFunction_;
  std::vector<OfLayout> layouts_; // in the order of all_layouts()
  OfLayout none_;
  std::array<std::uint8_t, 4> contextSwitch_{}; // category, component, event, type
  std::uint8_t stepCategory_ = 0;
  std::vector<KnownStep> steps_;
};

} // namespace vel::stat
