// A store as OpenMetrics text.
#include <velstat/tally/output.h>
#include <velstat/text/escape.h>

#include <fmt/format.h>

#include <cstdint>
#include <map>
#include <vector>

namespace vel::stat {

namespace {

using control::TallyKind;
using control::TallyRow;

// A metric's name has letters, digits and underscores, and begins with no digit. Different keys may come to one name:
// each sample bears its key as a label.
std::string metricName(std::string_view key) {
  std::string name;
  while (!key.empty()) {
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

std::string labelValue(std::string_view text) {
  std::string out;
  while (!text.empty()) {
    const CodePoint point = decodeUTF8(text);
    if (!point.valid) {
      out += "\xEF\xBF\xBD";
    } else if (point.value == '\n') {
      out += "\\n";
    } else {
      out += point.value == '"' || point.value == '\\' ? "\\" : "";
      out += text.substr(0, point.length);
    }
    text.remove_prefix(point.length);
  }
  return out;
}

// Samples of one name, which must stand together.
struct Family {
  const char* help;
  std::vector<std::string> lines;
};

class Families {
public:
  template <class Number>
  void add(const TallyRow& row, const char* suffix, const char* help, Number value, const char* quantile = nullptr) {
    const std::string name = metricName(row.key) + suffix;
    Family& family = byName_.try_emplace(name, Family{help, {}}).first->second;
    const std::string more = quantile == nullptr ? std::string() : fmt::format(",quantile=\"{}\"", quantile);
    family.lines.push_back(fmt::format("{}{{key=\"{}\"{}}} {}\n", name, labelValue(row.key), more, value));
  }

  std::string text() const {
    std::string out;
    for (const auto& [name, family] : byName_) {
      out += fmt::format("# TYPE {} gauge\n# HELP {} {}\n", name, name, family.help);
      for (const std::string& line : family.lines) {
        out += line;
      }
    }
    return out + "# EOF\n";
  }

private:
  std::map<std::string, Family> byName_;
};

void addDistribution(Families& families, const TallyRow& row) {
  const control::TallyDistribution& distribution = row.distribution;
  families.add(row, "_count", "Number of samples.", distribution.count);
  if (distribution.count == 0) {
    return;
  }
  families.add(row, "_sum", "Sum of the samples.", distribution.sum);
  families.add(row, "_min", "Smallest sample.", distribution.min);
  families.add(row, "_max", "Largest sample.", distribution.max);
  families.add(row, "_mean", "Mean of the samples.", distribution.mean);
  families.add(row, "_stddev", "Standard deviation of the samples.", distribution.standardDeviation);
  families.add(row, "", "Quantiles of the samples.", distribution.p50, "0.5");
  families.add(row, "", "Quantiles of the samples.", distribution.p90, "0.9");
  families.add(row, "", "Quantiles of the samples.", distribution.p99, "0.99");
}

} // namespace

std::string tallyOpenMetrics(const std::vector<TallyRow>& rows) {
  Families families;
  for (const TallyRow& row : rows) {
    if (row.kind == TallyKind::scalar) {
      families.add(row, "", "Value of a scalar.", row.scalar.value);
    } else {
      addDistribution(families, row);
    }
  }
  return families.text();
}

} // namespace vel::stat
