// A store as OpenMetrics text.
#include <control/printable.h>
#include <velstat/tally/output.h>
#include <velstat/text/escape.h>

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <span>
#include <string>
#include <string_view>

namespace vel::stat {

namespace {

using control::TallyKind;
using control::TallyRow;

// A metric's name has letters, digits and underscores and does not begin with a digit. Different keys may give the same
// name, also because long names are cut: each sample has its key as a label.
std::string metricName(std::string_view key) {
  constexpr std::size_t longest = 200;
  std::string name;
  while (!key.empty() && name.size() < longest) {
    const char c = key.front();
    const bool letter = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
    const bool digit = c >= '0' && c <= '9';
    if (digit && name.empty()) {
      name += '_';
    }
    name += letter || digit ? c : '_';
    key.remove_prefix(decodeUTF8(key).length);
  }
  return name.empty() ? "_" : name;
}

// The format only has escapes for line breaks, quotation marks and backslashes. A key with other characters that a
// terminal would act on, or that is not UTF-8, is written the way other commands show it.
bool needsEscaping(std::string_view key) {
  while (!key.empty()) {
    const CodePoint point = decodeUTF8(key);
    if (!point.valid || (!control::isPrintable(point.value) && point.value != '\n' && point.value != '\t')) {
      return true;
    }
    key.remove_prefix(point.length);
  }
  return false;
}

void appendLabelValue(Sink& out, std::string_view text) {
  for (const char c : text) {
    if (c == '\n') {
      out += "\\n";
    } else {
      out += c == '"' || c == '\\' ? "\\" : "";
      out += c;
    }
  }
}

// The second label distinguishes such a key from one that is spelt like its escapes.
void appendKeyLabels(Sink& out, std::string_view key) {
  const bool escaped = needsEscaping(key);
  out += "key=\"";
  appendLabelValue(out, escaped ? escape(key) : key);
  out += escaped ? "\",escaped=\"true\"" : "\"";
}

// A sample that a row provides.
struct Part {
  std::string_view suffix; // of the metric's name
  std::string_view help;
  std::string_view quantile;
  std::string (*value)(const TallyRow&);
};

template <auto Member>
std::string number(const TallyRow& row) {
  return fmt::format("{}", row.distribution.*Member);
}

using control::TallyDistribution;
constexpr std::string_view quantiles = "Quantiles of the samples.";
constexpr Part scalarParts[] = {
    {"", "Value of a scalar.", "", [](const TallyRow& row) { return fmt::format("{}", row.scalar.value); }},
};
constexpr Part distributionParts[] = {
    {"_count", "Number of samples.", "", number<&TallyDistribution::count>}, // the only one without samples
    {"_sum", "Sum of the samples.", "", number<&TallyDistribution::sum>},
    {"_min", "Smallest sample.", "", number<&TallyDistribution::min>},
    {"_max", "Largest sample.", "", number<&TallyDistribution::max>},
    {"_mean", "Mean of the samples.", "", number<&TallyDistribution::mean>},
    {"_stddev", "Standard deviation of the samples.", "", number<&TallyDistribution::standardDeviation>},
    {"", quantiles, "0.5", number<&TallyDistribution::p50>},
    {"", quantiles, "0.9", number<&TallyDistribution::p90>},
    {"", quantiles, "0.99", number<&TallyDistribution::p99>},
};

std::span<const Part> partsOf(const TallyRow& row) {
  if (row.kind == TallyKind::scalar) {
    return scalarParts;
  }
  return std::span(distributionParts).first(row.distribution.count == 0 ? 1 : std::size(distributionParts));
}

struct Sample {
  const TallyRow* row;
  const Part* part;
  std::string_view baseName;

  std::string name() const { return fmt::format("{}{}", baseName, part->suffix); }
};

// By name, without making the names of samples whose keys differ.
bool precedes(const Sample& a, const Sample& b) {
  const std::size_t common = std::min(a.baseName.size(), b.baseName.size());
  const int order = a.baseName.substr(0, common).compare(b.baseName.substr(0, common));
  return order != 0 ? order < 0 : a.name() < b.name();
}

} // namespace

void tallyOpenMetrics(Sink& out, const std::vector<TallyRow>& rows) {
  std::vector<std::string> baseNames;
  baseNames.reserve(rows.size());
  std::vector<Sample> samples; // samples of one name must be consecutive
  for (const TallyRow& row : rows) {
    baseNames.push_back(metricName(row.key));
    for (const Part& part : partsOf(row)) {
      samples.push_back({&row, &part, baseNames.back()});
    }
  }
  std::stable_sort(samples.begin(), samples.end(), precedes);
  std::string family;
  for (const auto& [row, part, baseName] : samples) {
    const std::string name = fmt::format("{}{}", baseName, part->suffix);
    if (name != family) {
      out += fmt::format("# TYPE {} gauge\n# HELP {} {}\n", name, name, part->help);
      family = name;
    }
    out += name;
    out += '{';
    appendKeyLabels(out, row->key);
    if (!part->quantile.empty()) {
      out += fmt::format(",quantile=\"{}\"", part->quantile);
    }
    out += fmt::format("}} {}\n", part->value(*row));
  }
  out += "# EOF\n";
}

} // namespace vel::stat
