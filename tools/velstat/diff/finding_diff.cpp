// Compares what triage finds on both sides, rule by rule.
#include <rules/triage.h>
#include <velstat/diff/difference.h>
#include <velstat/text/escape.h>
#include <velstat/text/number_text.h>

#include <fmt/format.h>

#include <map>
#include <string_view>
#include <utility>

namespace vel::stat {

namespace {

using formats::Dictionary;
using formats::Value;

// The findings of one rule.
struct OfRule {
  const rules::Finding* first = nullptr;
  std::uint64_t count = 0;
};
using ByRule = std::map<std::string_view, OfRule>;

ByRule byRule(std::span<const rules::Finding> findings) {
  ByRule rules;
  for (const rules::Finding& finding : findings) {
    OfRule& rule = rules[finding.rule];
    rule.first = rule.first == nullptr ? &finding : rule.first;
    rule.count += 1 + finding.more;
  }
  return rules;
}

std::optional<Value> findingValue(const OfRule& rule) {
  if (rule.first == nullptr) {
    return {};
  }
  return Value{Dictionary{{"severity", {std::string(rules::severityName(rule.first->severity))}},
                          {"count", {static_cast<std::int64_t>(rule.count)}},
                          {"text", {rule.first->text}}}};
}

void add(std::string_view name, const OfRule& before, const OfRule& after, Differences& out) {
  if (before.count == after.count) {
    return;
  }
  const OfRule& shown = after.first != nullptr ? after : before;
  ValuePath path;
  path.push("findings");
  path.push(name);
  constexpr double appeared = 100; // puts findings of the new side before those that disappeared
  std::string text = escape(shown.first->text);
  if (before.first != nullptr && after.first != nullptr) {
    text = fmt::format("{} → {}: {}", before.count, after.count, text);
  } else if (shown.count > 1) {
    text = fmt::format("{} findings: {}", shown.count, text);
  }
  out.push_back({.section = Section::findings,
                 .path = std::string(path.text()),
                 .notable = true,
                 .weight = static_cast<double>(shown.first->severity) + (after.first != nullptr ? appeared : 0),
                 .before = findingValue(before),
                 .after = findingValue(after),
                 .text = std::move(text)});
}

} // namespace

void compareFindings(std::span<const rules::Finding> before, std::span<const rules::Finding> after, Differences& out) {
  const ByRule old = byRule(before);
  ByRule current = byRule(after);
  for (const auto& [name, rule] : old) {
    add(name, rule, current[name], out);
  }
  for (const auto& [name, rule] : current) {
    if (!old.contains(name)) {
      add(name, {}, rule, out);
    }
  }
}

} // namespace vel::stat
