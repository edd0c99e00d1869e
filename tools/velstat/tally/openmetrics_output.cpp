// A store as OpenMetrics text.
#include <control/printable.h>
#include <velstat/tally/output.h>
#include <velstat/text/escape.h>

#include <fmt/format.h>

#include <string>
#include <string_view>
#include <vector>

namespace vel::stat {

namespace {

using control::TallyKind;
using control::TallyRow;

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

// The second label distinguishes an escaped key from a key that is spelt like the escapes.
void appendKeyLabels(Sink& out, std::string_view key) {
  const bool escaped = needsEscaping(key);
  out += "key=\"";
  appendLabelValue(out, escaped ? escape(key) : key);
  out += escaped ? "\",escaped=\"true\"" : "\"";
}

// A sample that a row provides.
struct Part {
  std::string_view statistic; // the value of that label; empty: no label
  std::string (*value)(const TallyRow&);
  bool always = true; // also for a distribution without samples
};

template <auto Member>
std::string scalar(const TallyRow& row) {
  return fmt::format("{}", row.scalar.*Member);
}

template <auto Member>
std::string distribution(const TallyRow& row) {
  return fmt::format("{}", row.distribution.*Member);
}

// The samples of one unit, for all keys of a kind.
struct Family {
  TallyKind kind;
  std::string_view name; // ends with the unit, if there is one
  std::string_view unit; // empty: the key's unit, which the store does not know
  std::string_view help;
  std::vector<Part> parts;
};

using control::TallyDistribution;
using control::TallyScalar;

const std::vector<Family>& families() {
  static const std::vector<Family> all = {
      {TallyKind::scalar,
       "tallystore_scalar",
       "",
       "Value of a scalar, in the unit of its key.",
       {{"", scalar<&TallyScalar::value>}}},
      {TallyKind::scalar,
       "tallystore_scalar_overflows",
       "overflows",
       "Additions to a scalar that were clamped.",
       {{"", scalar<&TallyScalar::overflows>}}},
      {TallyKind::distribution,
       "tallystore_distribution",
       "",
       "Statistics of the samples of a distribution, in the unit of its key.",
       {{"sum", distribution<&TallyDistribution::sum>, false},
        {"min", distribution<&TallyDistribution::min>, false},
        {"max", distribution<&TallyDistribution::max>, false},
        {"mean", distribution<&TallyDistribution::mean>, false},
        {"standard deviation", distribution<&TallyDistribution::standardDeviation>, false},
        {"p50", distribution<&TallyDistribution::p50>, false},
        {"p90", distribution<&TallyDistribution::p90>, false},
        {"p99", distribution<&TallyDistribution::p99>, false}}},
      {TallyKind::distribution,
       "tallystore_distribution_samples",
       "samples",
       "Number of samples of a distribution.",
       {{"", distribution<&TallyDistribution::count>}}},
      {TallyKind::distribution,
       "tallystore_distribution_ignored_samples",
       "samples",
       "Samples of a distribution that are not finite or too large to count.",
       {{"", distribution<&TallyDistribution::ignored>}}},
  };
  return all;
}

bool has(const TallyRow& row, const Part& part) {
  return part.always || row.distribution.count != 0;
}

void appendHeader(Sink& out, const Family& family) {
  out += fmt::format("# TYPE {} gauge\n", family.name);
  if (!family.unit.empty()) {
    out += fmt::format("# UNIT {} {}\n", family.name, family.unit);
  }
  out += fmt::format("# HELP {} {}\n", family.name, family.help);
}

void appendFamily(Sink& out, const Family& family, const std::vector<TallyRow>& rows) {
  bool begun = false;
  for (const TallyRow& row : rows) {
    if (row.kind != family.kind) {
      continue;
    }
    for (const Part& part : family.parts) {
      if (!has(row, part)) {
        continue;
      }
      if (!begun) {
        appendHeader(out, family);
        begun = true;
      }
      out += family.name;
      out += '{';
      appendKeyLabels(out, row.key);
      if (!part.statistic.empty()) {
        out += fmt::format(",statistic=\"{}\"", part.statistic);
      }
      out += fmt::format("}} {}\n", part.value(row));
    }
  }
}

} // namespace

void tallyOpenMetrics(Sink& out, const std::vector<TallyRow>& rows) {
  for (const Family& family : families()) {
    appendFamily(out, family, rows);
  }
  out += "# EOF\n";
}

} // namespace vel::stat
