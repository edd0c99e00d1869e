// Looks up the layouts, fields and events that the timeline knows by name.
#include "velstat/trace/event_kinds.h"

#include <profile/names.h>
#include <profile/record_view.h>

#include <fmt/format.h>

#include <algorithm>
#include <span>
#include <stdexcept>

namespace vel::stat {

namespace {

using profile::Layout;
using profile::Row;

constexpr std::string_view dumps[] = {"long-data", "short-data"};
constexpr std::string_view configurations[] = {"sensorinfo", "decimationinfo"};
// Fields that change while a button is pressed.
constexpr std::string_view counters[] = {"fingerDetect",  "fingerState",    "buttonState", "stage",
                                         "stageProgress", "buttonProgress", "force"};

struct NamedStep {
  std::string_view component;
  std::string_view action;
  Step step;
};
constexpr std::string_view stepCategory = "zorb";
constexpr NamedStep namedSteps[] = {
    {"latency", "ckp_ZORBFingerON", Step::fingerOn},          {"latency", "ckp_ZORBFingerOFF", Step::fingerOff},
    {"latency", "ckp_ZORBButtonDown", Step::buttonDown},      {"latency", "ckp_ZORBButtonUp", Step::buttonUp},
    {"latency", "ckp_ARCTurnOn", Step::amplifierOn},          {"latency", "ckp_ARCReady", Step::amplifierReady},
    {"latency", "ckp_HaldenStartHaptics", Step::hapticStart}, {"latency", "ckp_HaldenPlayAsset", Step::hapticPlayed},
    {"halden", "HaldenCLTimeOut", Step::hapticFailed},        {"halden", "HaldenCLFault", Step::hapticFailed},
};

[[noreturn]] void refuse(std::string_view what) {
  throw std::logic_error(fmt::format("the decoder has no '{}'", what));
}

template <class T>
bool isIn(std::span<const T> list, const T& item) {
  return std::find(list.begin(), list.end(), item) != list.end();
}

std::uint8_t idOf(profile::NameTable table, std::string_view name) {
  const auto id = profile::id_of(table, name);
  if (!id) {
    refuse(name);
  }
  return static_cast<std::uint8_t>(*id);
}

const Layout& layoutNamed(std::string_view name) {
  const auto all = profile::all_layouts();
  const auto found = std::find_if(all.begin(), all.end(), [&](const Layout& layout) { return layout.name == name; });
  if (found == all.end()) {
    refuse(name);
  }
  return *found;
}

EventKind kindOf(const Layout& layout, bool isCall) {
  if (isCall) {
    return EventKind::call;
  }
  if (isIn<std::string_view>(dumps, layout.name)) {
    return EventKind::dump;
  }
  return isIn<std::string_view>(configurations, layout.name) ? EventKind::configuration : EventKind::instant;
}

} // namespace

KnownField knownField(std::string_view layout, std::string_view key) {
  const Layout& known = layoutNamed(layout);
  const auto row = std::find_if(known.rows.begin(), known.rows.end(), [&](const Row& each) { return each.key == key; });
  if (row == known.rows.end()) {
    refuse(key);
  }
  return {&known, &*row};
}

EventKinds::EventKinds()
    : switchedFrom(knownField("event", "arg1")),
      switchedTo(knownField("event", "arg2")), function_{knownField("function", "function-id"),
                                                         knownField("function", "thread-id"),
                                                         knownField("function", "duration")},
      extendedFunction_{knownField("extfunction", "function"), knownField("extfunction", "thread"),
                        knownField("extfunction", "duration")} {
  for (const Layout& layout : profile::all_layouts()) {
    OfLayout& known = layouts_.emplace_back();
    for (const CallFields* const call : {&function_, &extendedFunction_}) {
      known.call = call->name.layout == &layout ? call : known.call;
    }
    known.kind = kindOf(layout, known.call != nullptr);
    for (const Row& row : layout.rows) {
      if (isIn<std::string_view>(counters, row.key)) {
        known.counters.push_back(&row);
      }
      known.action = row.kind == profile::FieldKind::subtype_name ? &row : known.action;
    }
  }
  const std::uint8_t category = idOf(profile::category_names(), "execution");
  const std::uint8_t scheduler = idOf(profile::component_names(category), "scheduler");
  contextSwitch_ = {category, scheduler, idOf(profile::event_names(category, scheduler), "context-switch"),
                    idOf(profile::datatype_names(), switchedFrom.layout->name)};
  stepCategory_ = idOf(profile::category_names(), stepCategory);
  for (const NamedStep& named : namedSteps) {
    const std::uint8_t component = idOf(profile::component_names(stepCategory_), named.component);
    steps_.push_back({component, idOf(profile::subtype_names(stepCategory_, component), named.action), named.step});
  }
}

const EventKinds::OfLayout& EventKinds::ofLayout(const unsigned char* record) const {
  const profile::ShownLayouts shown = profile::shown_layouts(record);
  return shown.count == 0 ? none_ : layouts_[static_cast<std::size_t>(shown.items[0] - profile::all_layouts().data())];
}

bool EventKinds::isContextSwitch(const unsigned char* record) const {
  return profile::category(record) == contextSwitch_[0] && profile::component(record) == contextSwitch_[1] &&
         profile::event(record) == contextSwitch_[2] && profile::type(record) == contextSwitch_[3];
}

std::optional<Step> EventKinds::step(const unsigned char* record, std::uint64_t action) const {
  if (profile::category(record) == stepCategory_) {
    for (const KnownStep& known : steps_) {
      if (known.component == profile::component(record) && known.action == action) {
        return known.step;
      }
    }
  }
  return std::nullopt;
}

} // namespace vel::stat
