// Computes percentiles, the distribution and the course in time of latencies.
#include "velstat/report/latencies.h"

#include <algorithm>
#include <cmath>

namespace vel::stat {

namespace {

constexpr std::size_t mostStretches = 400;
constexpr double buckets = 20; // of the natural logarithm: report/page/src/charts.ts draws them

struct Latency {
  std::int64_t time;
  std::int64_t length;
  std::uint64_t record;
};

Latencies::Stretch stretchOf(std::vector<Latency>::const_iterator first, std::vector<Latency>::const_iterator end) {
  const auto worst = std::max_element(first, end, [](const auto& a, const auto& b) { return a.length < b.length; });
  double sum = 0;
  for (auto each = first; each != end; ++each) {
    sum += static_cast<double>(each->length);
  }
  return {first->time, worst->length, std::round(sum / static_cast<double>(end - first)), worst->record};
}

Latencies figuresOf(const std::string& kind, const std::vector<Latency>& all) {
  Latencies result;
  result.kind = kind;
  result.count = all.size();
  std::vector<std::int64_t> lengths;
  for (const Latency& each : all) {
    lengths.push_back(each.length);
    ++result.distribution[static_cast<int>(std::lround(std::log(static_cast<double>(each.length)) * buckets))];
  }
  std::sort(lengths.begin(), lengths.end());
  result.least = lengths.front();
  result.median = lengths[(lengths.size() - 1) / 2];
  result.percentile99 = lengths[(lengths.size() * 99 + 99) / 100 - 1];
  result.greatest = lengths.back();
  const std::size_t stretches = std::min(all.size(), mostStretches);
  for (std::size_t i = 0; i < stretches; ++i) {
    const auto at = [&](std::size_t place) {
      return all.begin() + static_cast<std::ptrdiff_t>(place * all.size() / stretches);
    };
    result.course.push_back(stretchOf(at(i), at(i + 1)));
  }
  result.slowest = stretchOf(all.begin(), all.end()).record;
  return result;
}

} // namespace

std::vector<Latencies> readLatencies(query::Statement& rows) {
  std::map<std::string, std::vector<Latency>, std::less<>> kinds;
  while (rows.step()) {
    const std::string_view kind = rows.text(0);
    auto found = kinds.find(kind);
    if (found == kinds.end()) {
      found = kinds.try_emplace(std::string(kind)).first;
    }
    found->second.push_back({rows.integer(2), rows.integer(3), static_cast<std::uint64_t>(rows.integer(1))});
  }
  std::vector<Latencies> result;
  for (const auto& [kind, all] : kinds) {
    result.push_back(figuresOf(kind, all));
  }
  return result;
}

} // namespace vel::stat
