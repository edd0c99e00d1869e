// Small values are written as JSON overrides of the built-in model, as in any model; the logs are set as replies
// directly.
#include "velstat/generate/device_model.h"

#include <velstat/options/hosted.h>
#include <velstat/text/json_writer.h>

#include <fmt/format.h>

#include <algorithm>
#include <numeric>
#include <optional>
#include <span>
#include <string_view>

namespace vel::stat {

namespace {

using synthetic::Fault;

constexpr std::uint64_t nanoseconds = 1000;       // in a microsecond
constexpr std::int64_t firstRelease = 1730678400; // seconds since 1970
constexpr std::uint32_t day = 86400;

template <class Number>
void object(JsonWriter& json, std::initializer_list<std::pair<std::string_view, Number>> members) {
  json.beginObject();
  for (const auto& [key, value] : members) {
    json.member(key, value);
  }
  json.endObject();
}

struct Extremes {
  std::uint64_t least = 0;
  std::uint64_t most = 0;

  void add(std::uint64_t value) {
    least = least == 0 ? value : std::min(least, value);
    most = std::max(most, value);
  }
};

void writeStatistics(JsonWriter& json, const DeviceLog& log) {
  Extremes touch;
  Extremes play;
  for (const PressTimes& press : log.presses) {
    if (!press.clicks.empty()) {
      touch.add(press.clicks[0].down - press.fingerOn);
    }
    for (const PressTimes::Click& click : press.clicks) {
      if (click.downAsset != 0) {
        play.add(click.downAsset - click.down);
      }
      if (click.upAsset != 0) {
        play.add(click.upAsset - click.up);
      }
    }
  }
  json.beginObject();
  const auto time = [&](std::string_view key, std::uint64_t value) { json.member(key, value * nanoseconds); };
  const PressTimes none;
  const PressTimes& press = log.presses.empty() ? none : log.presses.back();
  json.member("click count", press.clicks.size());
  time("finger on ts", press.fingerOn);
  time("finger off ts", press.fingerOff);
  time("start haptic ts", press.startHaptic);
  time("second scan ts", press.fingerOn == 0 ? 0 : press.fingerOn + 8000);
  time("finger detect to button down", press.clicks.empty() ? 0 : press.clicks[0].down - press.fingerOn);
  for (std::size_t i = 0; i < press.clicks.size(); ++i) {
    const PressTimes::Click& click = press.clicks[i];
    const std::string name = fmt::format("click {} ", i + 1);
    time(name + "button down ts", click.down);
    time(name + "button up ts", click.up);
    time(name + "down play asset ts", click.downAsset);
    time(name + "up play asset ts", click.upAsset);
    time(name + "button down to play asset", click.downAsset == 0 ? 0 : click.downAsset - click.down);
    time(name + "button up to play asset", click.upAsset == 0 ? 0 : click.upAsset - click.up);
  }
  time("min_nz_latency_FD_to_BD", touch.least);
  time("max_latency_FD_to_BD", touch.most);
  time("min_nz_latency_BC_to_PlayAsset", play.least);
  time("max_latency_BC_to_PlayAsset", play.most);
  time("min_latency_Total", play.least == 0 ? 0 : touch.least + play.least);
  time("max_latency_Total", play.most == 0 ? 0 : touch.most + play.most);
  json.endObject();
}

class Metrics {
public:
  explicit Metrics(JsonWriter& json) : json_(json) {}
  void entry(std::string_view op, std::string_view key, std::uint64_t value) {
    if (value != 0) {
      json_.beginObject();
      json_.members("op", op, "key", fmt::format("com.tavik.kip.{}", key), "value", value);
      json_.endObject();
    }
  }
  void push(std::string_view key, std::uint64_t microseconds) { // as milliseconds
    json_.beginObject();
    json_.members("op", "push", "key", fmt::format("com.tavik.kip.{}", key));
    json_.key("value");
    json_.real(static_cast<double>((microseconds + 125) / 250) / 4);
    json_.endObject();
  }

private:
  JsonWriter& json_;
};

// The counters: they count the presses in the log and some earlier ones.
void writeMetrics(JsonWriter& json, const DeviceLog& log, synthetic::Random& random) {
  const bool isFaulty = log.actuatorTimeouts + log.amplifierTimeouts > 4;
  const std::uint64_t earlier = isFaulty ? 0 : random.between(20, 300);
  std::uint64_t singles = earlier;
  std::uint64_t doubles = earlier / 3;
  for (const PressTimes& press : log.presses) {
    (press.clicks.size() == 2 ? doubles : singles) += 1;
  }
  Metrics metrics(json);
  metrics.entry("add", "button.click.count", singles + 2 * doubles);
  metrics.entry("add", "button.single_click.count", singles);
  metrics.entry("add", "button.double_click.count", doubles);
  metrics.entry("add", "button.touch_with_click.count", singles + doubles);
  metrics.entry("set", "purl.reset_count", 1 + log.restarts);
  metrics.entry("set", "button.halden.cl_timeout.count", log.actuatorTimeouts);
  metrics.entry("add", "button.MondelArc_probe_failure", log.amplifierTimeouts);
  metrics.entry("add", "button.timeout.count", log.amplifierTimeouts);
  for (const PressTimes& press : log.presses) {
    for (const PressTimes::Click& click : press.clicks) {
      metrics.push("button.click.duration", click.up - click.down);
    }
    metrics.push("button.touch.duration", press.fingerOff - press.fingerOn);
  }
}

void writeEvents(JsonWriter& json, const synthetic::Member& member, synthetic::Random& random) {
  const std::uint64_t all = random.between(20'000, 90'000);
  const bool drops = member.has(Fault::droppedEvents);
  const std::uint64_t dropped = drops ? all * random.between(5, 30) / 100 : random.below(30);
  json.key("/services/Accelerometer/registry/children/1/properties/DebugState/_num_events");
  json.integer(static_cast<std::int64_t>(all));
  json.key("/services/Accelerometer/registry/children/2/properties/DebugState/EnqueueEventCount");
  json.integer(static_cast<std::int64_t>(all - dropped));
  json.key("/services/Accelerometer/registry/children/2/properties/DebugState/DroppedEventCount");
  json.integer(static_cast<std::int64_t>(dropped));
  if (member.has(Fault::unbatchedClient)) {
    json.key("/services/Accelerometer/driver/command-replies/57/0/clients/1/batch");
    json.integer(0);
  }
  if (member.has(Fault::failingSensor)) {
    constexpr std::string_view timedOut = "0xE00002D6";
    json.key("/services/Gyro/driver/property-replies/0");
    json.json(fmt::format("[{{\"result\": \"{}\"}}]", timedOut));
    json.key("/services/Gyro/registry/children/1/properties/DebugState/_num_events");
    json.integer(0);
    json.key("/services/Gyro/registry/children/2/properties/DebugState");
    object<int>(
        json, {{"EnqueueEventCount", 0}, {"DroppedEventCount", 0}, {"LastEventTime", 0}, {"LastDroppedEventTime", 0}});
  }
}

std::string document(const std::string& name, const synthetic::Member& member, const DeviceLog& log) {
  synthetic::Random random(member.seed ^ 1);
  // A build is in use for a week, until the next one is released.
  const std::int64_t captured =
      (firstRelease + std::int64_t{member.build} * 7 * day + random.below(6 * day)) * 1'000'000 +
      random.below(1'000'000);
  StringSink out;
  JsonWriter json(out, JsonWriter::Form::oneLine);
  json.beginObject();
  json.members("name", name, "extends", "default.json", "boot-time",
               captured - static_cast<std::int64_t>(log.sinceBoot));
  json.key("time-sync");
  object<std::int64_t>(json, {{"vel", static_cast<std::int64_t>(log.now * nanoseconds)},
                              {"calendar", captured * static_cast<std::int64_t>(nanoseconds)}});
  json.key("overrides");
  json.beginObject();
  json.key("/services/Button/driver/property-replies/215/0/zorb-statistics");
  writeStatistics(json, log);
  json.key("/services/Button/device/analytics");
  json.beginArray();
  json.beginArray();
  writeMetrics(json, log, random);
  json.endArray();
  json.endArray();
  writeEvents(json, member, random);
  json.endObject();
  json.endObject();
  return out.take();
}

std::vector<host::Reply> repliesOf(const DeviceLog::Batches& batches) {
  std::vector<host::Reply> replies;
  for (const auto& batch : batches) {
    const auto bytes = std::as_bytes(std::span(batch));
    replies.push_back({.content = formats::Bytes(bytes.begin(), bytes.end()), .length = {}, .result = 0});
  }
  replies.push_back({.content = formats::Bytes(), .length = {}, .result = 0}); // no more
  return replies;
}

} // namespace

host::DeviceModel deviceModel(const std::string& name, const synthetic::Member& member, const DeviceLog& log) {
  constexpr std::uint32_t firmwareLog = 209; // a property
  constexpr std::uint32_t errorLog = 8;      // commands
  constexpr std::uint32_t driverLog = 9;
  host::DeviceModel model = host::parseDeviceModel(document(name, member, log), name,
                                                   [](const std::string&) { return std::string(builtInModel()); });
  for (host::NamedServiceModel& service : model.namedServices) {
    if (service.entry.name == "KIP_profile") {
      service.replies.properties[firmwareLog] = repliesOf(log.firmware);
    } else {
      service.replies.commands[errorLog] = repliesOf(log.errors);
      service.replies.commands[driverLog] = repliesOf(log.driver);
    }
  }
  return model;
}

} // namespace vel::stat
