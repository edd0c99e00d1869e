// Compares the metrics of two captures by their keys. When they were sampled makes no difference.
#include <velstat/diff/difference.h>
#include <velstat/diff/number_values.h>

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <map>
#include <utility>

namespace vel::stat {

namespace {

using control::TallyKind;
using formats::Dictionary;
using formats::Value;
using sources::Metric;

Value metricValue(const Metric& metric) {
  if (metric.kind == TallyKind::scalar) {
    return {metric.scalar.value};
  }
  const control::TallyDistribution& samples = metric.distribution;
  return {Dictionary{{"count", {static_cast<std::int64_t>(samples.count)}},
                     {"mean", {samples.mean}},
                     {"min", {samples.min}},
                     {"p50", {samples.p50}},
                     {"p90", {samples.p90}},
                     {"p99", {samples.p99}},
                     {"max", {samples.max}}}};
}

std::string metricText(const Metric& metric) {
  if (metric.kind == TallyKind::scalar) {
    return fmt::format("{}", metric.scalar.value);
  }
  const control::TallyDistribution& samples = metric.distribution;
  return samples.count == 0 ? "no samples" : fmt::format("{} × {}", samples.count, rangeText(samples.min, samples.max));
}

// Shows the percentiles if count and range are the same.
std::string changeText(const Metric& before, const Metric& after) {
  std::string text = metricText(before);
  std::string other = metricText(after);
  if (text == other) {
    const auto describe = [](const control::TallyDistribution& samples) {
      return fmt::format("p50 {}, p99 {}", shortNumber(samples.p50), shortNumber(samples.p99));
    };
    text = describe(before.distribution);
    other = describe(after.distribution);
  }
  return fmt::format("{} → {}", text, other);
}

// Whether half of the new samples lie below the old range, or a tenth of them above it. The range is first widened by
// half its width at both ends.
bool hasLeft(const control::TallyDistribution& before, const control::TallyDistribution& after) {
  const double margin = (before.max - before.min) / 2;
  constexpr std::uint64_t enough = 8; // fewer samples do not show the range
  return before.count >= enough && after.count != 0 &&
         (after.p50 < before.min - margin || after.p90 > before.max + margin);
}

bool isNotable(const Metric& before, const Metric& after) {
  if (before.kind == TallyKind::scalar) {
    return hasChangedMuch(static_cast<double>(before.scalar.value), static_cast<double>(after.scalar.value));
  }
  return hasLeft(before.distribution, after.distribution) ||
         hasChangedMuch(static_cast<double>(before.distribution.count), static_cast<double>(after.distribution.count));
}

double sizeOf(const Metric& metric) {
  return metric.kind == TallyKind::scalar ? static_cast<double>(metric.scalar.value)
                                          : static_cast<double>(metric.distribution.count);
}

// Metrics that only the new side has come first, because errors are counted only when they happen. Metrics that
// increased come next, then those that decreased, each by the logarithm of the change; last are those that only the old
// side has.
double weightOf(const Metric* before, const Metric* after) {
  constexpr double first = 2000;
  constexpr double more = 1000;
  const double old = before == nullptr ? 0 : std::fabs(sizeOf(*before));
  const double current = after == nullptr ? 0 : std::fabs(sizeOf(*after));
  if (old == 0 || current == 0) {
    return (old == 0 ? first : 0) + std::log2(1 + old + current);
  }
  return (current >= old ? more : more / 2) + std::fabs(std::log2(current / old));
}

void add(const Metric* before, const Metric* after, Differences& out) {
  ValuePath path;
  path.push((before != nullptr ? before : after)->key);
  Difference difference{.section = Section::metrics,
                        .path = std::string(path.text()),
                        .notable = before == nullptr || after == nullptr || isNotable(*before, *after),
                        .weight = weightOf(before, after)};
  if (before != nullptr) {
    difference.before = metricValue(*before);
  }
  if (after != nullptr) {
    difference.after = metricValue(*after);
  }
  if (difference.before != difference.after) {
    difference.text = before != nullptr && after != nullptr ? changeText(*before, *after)
                                                            : metricText(before != nullptr ? *before : *after);
    out.push_back(std::move(difference));
  }
}

} // namespace

void compareMetrics(const std::vector<Metric>& before, const std::vector<Metric>& after, Differences& out) {
  using Key = std::pair<std::string_view, TallyKind>;
  std::map<Key, std::pair<const Metric*, const Metric*>> both;
  for (const Metric& metric : before) {
    both[{metric.key, metric.kind}].first = &metric;
  }
  for (const Metric& metric : after) {
    both[{metric.key, metric.kind}].second = &metric;
  }
  for (const auto& [key, sides] : both) {
    add(sides.first, sides.second, out);
  }
}

} // namespace vel::stat
