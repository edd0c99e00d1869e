// A store as JSON.
#include <velstat/tally/output.h>
#include <velstat/text/json_writer.h>

#include <fmt/format.h>

#include <ctime>
#include <optional>

namespace vel::stat {

namespace {

using control::TallyKind;
using control::TallyRow;

// UTC to the microsecond, "2026-11-21T01:35:30.519000Z"; a time that no calendar can show stays a number.
void writeTime(JsonWriter& json, const char* name, const std::optional<std::int64_t>& microseconds) {
  if (!microseconds) {
    return;
  }
  std::int64_t part = *microseconds % 1'000'000;
  std::time_t seconds = *microseconds / 1'000'000;
  if (part < 0) {
    part += 1'000'000;
    --seconds;
  }
  std::tm utc{};
  char text[64];
  if (gmtime_r(&seconds, &utc) == nullptr || std::strftime(text, sizeof text, "%FT%T", &utc) == 0) {
    json.member(name, *microseconds);
    return;
  }
  json.member(name, fmt::format("{}.{:06}Z", text, part));
}

void writeScalar(JsonWriter& json, const control::TallyScalar& scalar) {
  json.member("value", scalar.value);
  json.member("overflows", scalar.overflows);
}

void writeDistribution(JsonWriter& json, const control::TallyDistribution& distribution) {
  json.member("count", distribution.count);
  if (distribution.count != 0) {
    const std::pair<const char*, double> numbers[] = {
        {"sum", distribution.sum},
        {"min", distribution.min},
        {"max", distribution.max},
        {"mean", distribution.mean},
        {"standard deviation", distribution.standardDeviation},
        {"p50", distribution.p50},
        {"p90", distribution.p90},
        {"p99", distribution.p99},
    };
    for (const auto& [name, value] : numbers) {
      json.key(name);
      json.real(value);
    }
    json.key("exact");
    json.boolean(distribution.exact);
  }
  json.member("ignored", distribution.ignored);
}

} // namespace

void tallyJson(JsonWriter& json, const std::vector<TallyRow>& rows) {
  json.beginArray();
  for (const TallyRow& row : rows) {
    json.beginObject();
    json.member("key", row.key);
    const bool isScalar = row.kind == TallyKind::scalar;
    json.member("kind", isScalar ? "scalar" : "distribution");
    if (isScalar) {
      writeScalar(json, row.scalar);
    } else {
      writeDistribution(json, row.distribution);
    }
    writeTime(json, "first sample", row.firstSample);
    writeTime(json, "last change", row.lastChange);
    writeTime(json, "last clear", row.lastClear);
    json.endObject();
  }
  json.endArray();
}

} // namespace vel::stat
