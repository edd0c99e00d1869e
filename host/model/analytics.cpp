// The rows of operations and metrics, and the reader of batches.
#include "host/model/analytics.h"

#include <host/model/reply_layouts.h>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <iterator>
#include <limits>
#include <vector>

namespace vel::host {

namespace {

constexpr std::size_t entriesLimit = 65536;

// The firmware's copy of the key table. Two keys begin with "com.tavik.com.kip". That is not a mistake: their data is
// aggregated under these names.
constexpr std::string_view entryKeys[] = {
    "com.tavik.kip.button.click.count",
    "com.tavik.kip.button.single_click.count",
    "com.tavik.kip.button.double_click.count",
    "com.tavik.kip.button.triple_click.count",
    "com.tavik.kip.button.long_press.count",
    "com.tavik.kip.button.touch_with_click.count",
    "com.tavik.kip.button.touch_no_click.count",
    "com.tavik.kip.button.click.pico",
    "com.tavik.kip.button.touch.pico",
    "com.tavik.kip.button.click_to_pico.time",
    "com.tavik.kip.button.touch_to_pico.time",
    "com.tavik.kip.button.click.duration",
    "com.tavik.kip.button.touch.duration",
    "com.tavik.kip.button.touch_to_first_click.time",
    "com.tavik.kip.button.touch_to_last_unclick.time",
    "com.tavik.kip.button.first_click_to_last_unclick.time",
    "com.tavik.kip.button.first_click_to_untouch.time",
    "com.tavik.kip.button.last_unclick_to_untouch.time",
    "com.tavik.kip.button.critical_error.count",
    "com.tavik.kip.button.timeout.count",
    "com.tavik.kip.prox.ext_bl_capture.signal_delta",
    "com.tavik.com.kip.prox.baseline_to_trigger.time",
    "com.tavik.kip.prox.ref_rate_increase.percent",
    "com.tavik.kip.prox.event.ext_bl_capture.count",
    "com.tavik.kip.prox.event.smudge_timeout.bh.count",
    "com.tavik.kip.prox.event.smudge_timeout.nonbh.count",
    "com.tavik.kip.prox.event.high_amb.count",
    "com.tavik.kip.prox.first_pocket_signal_sample.kcpss",
    "com.tavik.com.kip.prox.baseline_to_trigger.time.dist",
    "com.tavik.kip.prox.ext_bl_capture.signal_delta.dist",
    "com.tavik.kip.prox.ref_rate_increase.percent.dist",
    "com.tavik.kip.button.touch_with_click.ap_on.duration",
    "com.tavik.kip.button.touch_with_no_click.ap_on.duration",
    "com.tavik.kip.button.touch_with_click.ap_off.duration",
    "com.tavik.kip.button.touch_with_no_click.ap_off.duration",
    "com.tavik.kip.button.touch.ap_on.duration",
    "com.tavik.kip.button.touch.ap_off.duration",
    "com.tavik.kip.purl.reset_hb_count",
    "com.tavik.kip.purl.reset_count",
    "com.tavik.kip.purl.ibfd_timeout_count",
    "com.tavik.kip.vistrel.reset_timeout_count",
    "com.tavik.kip.button.halden.cl_timeout.count",
    "com.tavik.kip.button.halden.cl_fault.count",
    "com.tavik.kip.button.purl_probe_failure_purl_count",
    "com.tavik.kip.button.force_sensor_probe_failure_count",
    "com.tavik.kip.button.MondelArc_probe_failure",
    "com.tavik.kip.button.MondelSpk_probe_failure",
    "com.tavik.kip.test",
};
static_assert(std::size(entryKeys) == entryVersion); // the version is the number of keys

struct Op {
  std::string_view word;
  std::uint8_t code;
  bool hasValue;
  ReplyFieldKind kind; // of the value
};
constexpr std::uint8_t pushOnce = 6; // higher codes push more often
constexpr std::uint64_t mostPushes = 250;
constexpr Op ops[] = {
    {"nothing", 0, false, ReplyFieldKind::signedNumber},
    {"clear", 1, false, ReplyFieldKind::signedNumber},
    {"set", 2, true, ReplyFieldKind::signedNumber},
    {"add", 3, true, ReplyFieldKind::signedNumber},
    {"clear-distribution", 4, false, ReplyFieldKind::fraction},
    {"set-distribution", 5, true, ReplyFieldKind::fraction},
    {"push", pushOnce, true, ReplyFieldKind::fraction},
};

std::uint8_t readKey(const formats::JsonNode& key) {
  if (!key.isString() || key.text(entriesLimit).starts_with("0x")) {
    return static_cast<std::uint8_t>(key.unsignedNumber(0xFF));
  }
  const std::string name = key.text(entriesLimit);
  const auto* const found = std::find(std::begin(entryKeys), std::end(entryKeys), name);
  if (found == std::end(entryKeys)) {
    key.fail(fmt::format("{} is not a metric; docs/records.md has the list", formats::inQuotes(name)));
  }
  return static_cast<std::uint8_t>(found - std::begin(entryKeys));
}

const Op& readOp(const formats::JsonNode& op) {
  const std::string word = op.text(entriesLimit);
  const auto* const found = std::find_if(std::begin(ops), std::end(ops), [&](const Op& o) { return o.word == word; });
  if (found == std::end(ops)) {
    std::vector<std::string_view> words;
    for (const Op& known : ops) {
      words.push_back(known.word);
    }
    op.fail(fmt::format("{} is not one of {}", formats::inQuotes(word), fmt::join(words, ", ")));
  }
  return *found;
}

// An entry with the operation as a word; its value is a count or a sample, not raw bits.
formats::Bytes readWordedEntry(const formats::JsonNode& entry) {
  entry.allowKeys({"op", "times", "key", "value"});
  entry.requireKeys({"key"});
  const Op& op = readOp(*entry.find("op"));
  std::uint64_t code = op.code;
  if (const auto times = entry.find("times")) {
    if (op.code != pushOnce) {
      times->fail("has no place: only a push can be repeated");
    }
    const std::uint64_t pushes = times->unsignedNumber(mostPushes);
    if (pushes == 0) {
      times->fail(fmt::format("is out of range: 1 to {}", mostPushes));
    }
    code += pushes - 1;
  }
  const auto value = entry.find("value");
  if (value && !op.hasValue) {
    value->fail(fmt::format("has no place: {} takes none", op.word));
  }
  if (!value && op.hasValue) {
    entry.requireKeys({"value"});
  }
  const ReplyField field = {"value", 0, 4, op.kind};
  formats::Bytes bytes;
  append(bytes, entryVersion, 1);
  append(bytes, code, 1);
  append(bytes, readKey(*entry.find("key")), 1);
  append(bytes, value ? encode(field, *value) : 0, field.width);
  return bytes;
}

} // namespace

std::span<const std::string_view> metricKeys() {
  return entryKeys;
}

formats::Bytes readAnalyticsBatch(const formats::JsonNode& node) {
  formats::Bytes batch;
  if (node.isObject()) {
    node.allowKeys({"hex"});
    node.requireKeys({"hex"});
    batch = node.find("hex")->hex(entriesLimit * entrySize);
    if (batch.size() % entrySize != 0) {
      node.fail(fmt::format("has {} bytes, which is not a whole number of entries of {}", batch.size(), entrySize));
    }
    return batch;
  }
  for (const formats::JsonNode& entry : node.items(entriesLimit)) {
    const auto op = entry.find("op");
    const bool inWords = op && op->isString() && !op->text(entriesLimit).starts_with("0x");
    append(batch, inWords ? readWordedEntry(entry) : encode(analyticsEntry(), entry));
  }
  return batch;
}

} // namespace vel::host
