// Compares kinds of records: which there are, how many, and the values of their fields.
#include <formats/value_path.h>
#include <velstat/diff/difference.h>
#include <velstat/diff/number_values.h>
#include <velstat/text/escape.h>

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <iterator>

namespace vel::stat {

namespace {

using formats::Dictionary;
using formats::Value;

// In standard deviations. Something rare may be missing from one capture by chance.
constexpr double unlikelyToMiss = 2;

std::string shareText(std::uint64_t count, std::uint64_t all) {
  return fmt::format("{} ({:.1f} %)", count, 100.0 * static_cast<double>(count) / static_cast<double>(all));
}

Value kindValue(std::uint64_t count) {
  return {static_cast<std::int64_t>(count)};
}

// By how many standard deviations a count differs from the one expected if both sides had the same share.
double surpriseOf(std::uint64_t before, std::uint64_t allBefore, std::uint64_t after, std::uint64_t allAfter) {
  const double all = static_cast<double>(allBefore + allAfter);
  const double expected = static_cast<double>(before + after) * static_cast<double>(allAfter) / all;
  const double variance = expected * static_cast<double>(allBefore) / all;
  return variance == 0 ? 0 : std::fabs(static_cast<double>(after) - expected) / std::sqrt(variance);
}

// Captures may be of different lengths, so shares are compared. The limit is high because records come in bursts, so
// that their counts vary more than those of independent events.
void compareCounts(const std::string& path, std::uint64_t before, std::uint64_t allBefore, std::uint64_t after,
                   std::uint64_t allAfter, Differences& out) {
  if (before == after) {
    return;
  }
  constexpr double unlikely = 4;
  const double surprise = surpriseOf(before, allBefore, after, allAfter);
  const double share = static_cast<double>(before) / static_cast<double>(allBefore);
  const double newShare = static_cast<double>(after) / static_cast<double>(allAfter);
  out.push_back({.section = Section::counts,
                 .path = path,
                 .notable = surprise > unlikely && hasChangedMuch(share, newShare),
                 .weight = surprise,
                 .before = kindValue(before),
                 .after = kindValue(after),
                 .text = fmt::format("{} → {}", shareText(before, allBefore), shareText(after, allAfter))});
}

Value rangeValue(const FieldRange& range) {
  constexpr double tenth = 0.1;
  constexpr double half = 0.5;
  return {Dictionary{{"count", {static_cast<std::int64_t>(range.count())}},
                     {"min", numberValue(range.min())},
                     {"p10", numberValue(range.percentile(tenth))},
                     {"p50", numberValue(range.percentile(half))},
                     {"p90", numberValue(range.percentile(1 - tenth))},
                     {"max", numberValue(range.max())}}};
}

void compareRanges(std::string path, const FieldRange& before, const FieldRange& after, Differences& out) {
  if ((before.min() == after.min() && before.max() == after.max()) || before.followsClock() || after.followsClock()) {
    return;
  }
  const bool left = hasLeft(before, after);
  const double width = before.max() - before.min();
  const double beyond = std::max({before.min() - after.min(), after.max() - before.max(), 0.0});
  out.push_back(
      {.section = Section::values,
       .path = std::move(path),
       .notable = left,
       .weight = beyond / (width + std::fabs(before.max()) + 1),
       .before = rangeValue(before),
       .after = rangeValue(after),
       .text = fmt::format("{} → {}", rangeText(before.min(), before.max()), rangeText(after.min(), after.max()))});
}

// The UTF-8 form of a record's text: each byte becomes the code point with the same number.
std::string fromBytes(const std::string& bytes) {
  std::string text;
  for (const char c : bytes) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte < 0x80) {
      text += c;
    } else {
      text += static_cast<char>(0xC0 | byte >> 6);
      text += static_cast<char>(0x80 | (byte & 0x3F));
    }
  }
  return text;
}

using Texts = std::vector<CountedText>;

Texts onlyIn(const Texts& texts, const Texts& others) {
  Texts only;
  std::set_difference(texts.begin(), texts.end(), others.begin(), others.end(), std::back_inserter(only),
                      [](const CountedText& a, const CountedText& b) { return a.text < b.text; });
  std::for_each(only.begin(), only.end(), [](CountedText& each) { each.text = fromBytes(each.text); });
  return only;
}

std::string joined(const Texts& texts) {
  std::string all;
  for (const CountedText& each : texts) {
    fmt::format_to(std::back_inserter(all), "{}{}", all.empty() ? "" : ", ",
                   each.text.empty() ? "\"\"" : escape(each.text));
  }
  return all;
}

std::optional<Value> textValues(const Texts& texts) {
  if (texts.empty()) {
    return {};
  }
  Dictionary values;
  std::transform(texts.begin(), texts.end(), std::back_inserter(values), [](const CountedText& each) {
    return formats::Member{each.text, kindValue(each.count)};
  });
  return Value{std::move(values)};
}

// The greatest surprise of a text that only one side has.
double surpriseOf(const Texts& only, std::uint64_t records, std::uint64_t others) {
  double most = 0;
  for (const CountedText& each : only) {
    most = std::max(most, surpriseOf(each.count, records, 0, others));
  }
  return most;
}

void compareTexts(std::string path, const KindField& before, std::uint64_t old, const KindField& after,
                  std::uint64_t current, Differences& out) {
  if (before.hasMore || after.hasMore) {
    return;
  }
  const Texts gone = onlyIn(before.texts, after.texts);
  const Texts added = onlyIn(after.texts, before.texts);
  if (gone.empty() && added.empty()) {
    return;
  }
  const double surprise = std::max(surpriseOf(gone, old, current), surpriseOf(added, current, old));
  out.push_back({.section = Section::values,
                 .path = std::move(path),
                 .notable = surprise > unlikelyToMiss,
                 .weight = surprise,
                 .before = textValues(gone),
                 .after = textValues(added),
                 .text = added.empty()  ? "no " + joined(gone)
                         : gone.empty() ? "also " + joined(added)
                                        : fmt::format("{} → {}", joined(gone), joined(added))});
}

void compareFields(const std::string& kind, const RecordKind& before, const RecordKind& after, Differences& out) {
  for (const KindField& field : before.fields) {
    const auto other = std::find_if(after.fields.begin(), after.fields.end(),
                                    [&](const KindField& candidate) { return candidate.row == field.row; });
    if (other == after.fields.end()) {
      continue;
    }
    std::string path = fmt::format("{}/{}", kind, field.row->key);
    if (field.row->kind == profile::FieldKind::text) {
      compareTexts(std::move(path), field, before.count, *other, after.count, out);
    } else {
      compareRanges(std::move(path), field.range, other->range, out);
    }
  }
}

// New kinds come first.
void addOneSided(const KindIds& ids, const RecordKind& kind, bool isNew, const RecordKinds& before,
                 const RecordKinds& after, Differences& out) {
  constexpr double first = 1e6;
  // Without records on the other side there is no share to expect.
  const bool comparable = before.count() != 0 && after.count() != 0;
  const double surprise = surpriseOf(isNew ? 0 : kind.count, before.count(), isNew ? kind.count : 0, after.count());
  Difference difference{.section = Section::kinds,
                        .path = kindPath(ids, kind),
                        .notable = !comparable || surprise > unlikelyToMiss,
                        .weight = (isNew ? first : 0) + (comparable ? surprise : static_cast<double>(kind.count)),
                        .text = fmt::format("{}", kind.count)};
  (isNew ? difference.after : difference.before) = kindValue(kind.count);
  out.push_back(std::move(difference));
}

} // namespace

void compareKinds(const RecordKinds& before, const RecordKinds& after, Differences& out) {
  if (before.count() == 0 && after.count() == 0) {
    return;
  }
  for (const auto& [ids, kind] : before.kinds()) {
    const auto other = after.kinds().find(ids);
    if (other == after.kinds().end()) {
      addOneSided(ids, kind, false, before, after, out);
      continue;
    }
    const std::string path = kindPath(ids, kind);
    compareCounts(path, kind.count, before.count(), other->second.count, after.count(), out);
    compareFields(path, kind, other->second, out);
  }
  for (const auto& [ids, kind] : after.kinds()) {
    if (!before.kinds().contains(ids)) {
      addOneSided(ids, kind, true, before, after, out);
    }
  }
  if (before.further() != after.further() || before.furtherSum() != after.furtherSum()) {
    const bool same = before.further() == after.further();
    out.push_back({.section = Section::counts,
                   .path = "(further kinds)",
                   .before = kindValue(before.further()),
                   .after = kindValue(after.further()),
                   .text = same ? fmt::format("{} each, which differ", before.further())
                                : fmt::format("{} → {}", before.further(), after.further())});
  }
}

} // namespace vel::stat
