// Runs rules and queries, chooses the records, and puts the results into the page as JSON and base64.
#include "velstat/report/page.h"

#include <profile/category.h>
#include <profile/names.h>
#include <rules/triage.h>
#include <sources/clock.h>
#include <velstat/report/latencies.h>
#include <velstat/report/page_records.h>
#include <velstat/report/passes.h>
#include <velstat/report/tables.h>
#include <velstat/text/json_writer.h>
#include <velstat/text/number_text.h>
#include <velstat/text/output.h>
#include <velstat/text/sink.h>
#include <velstat/triage/output.h>

#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <mutex>
#include <optional>
#include <span>
#include <string_view>

namespace vel {

extern const std::span<const std::pair<std::string_view, std::string_view>> embeddedPage;

namespace stat {

namespace {

using rules::Finding;

// What is shown for a device, and in the same way for its reference.
struct DeviceParts {
  std::map<std::string, PageTable> tables;
  std::vector<Latencies> latencies;
};

// The rules and queries that did not finish, such as for lack of time or memory: shown on stderr and in the page.
// [any thread]
class Unfinished {
public:
  void add(std::string line) {
    const std::lock_guard lock(mutex_);
    complain(line);
    lines_.push_back(std::move(line));
  }
  const std::vector<std::string>& lines() const { return lines_; }

private:
  std::mutex mutex_;
  std::vector<std::string> lines_;
};

struct Parts {
  DeviceParts device;
  DeviceParts reference;
  std::vector<Finding> findings;
  PageRecords records;
  std::vector<std::optional<std::uint64_t>> evidence; // the record of each finding
  Unfinished unfinished;
};

std::optional<sources::Location> locationOf(const rules::Evidence& evidence,
                                            const std::vector<sources::InputInfo>& inputs) {
  const auto input =
      std::find_if(inputs.begin(), inputs.end(), [&](const auto& each) { return each.name == evidence.source; });
  if (input == inputs.end() || !evidence.position) {
    return {};
  }
  return sources::Location{.input = static_cast<std::uint32_t>(input - inputs.begin()),
                           .report = evidence.report ? static_cast<std::uint32_t>(*evidence.report)
                                                     : sources::Location::noReport,
                           .at = *evidence.position};
}

// The tables that a rule reads: the page links to them if a finding has no place of its own.
std::vector<std::string> tablesOf(std::string_view rule) {
  const auto& all = rules::shippedRules();
  const auto found = std::find_if(all.begin(), all.end(), [&](const auto& each) { return each.name == rule; });
  std::vector<std::string> tables;
  for (const query::TableInfo& table : query::schema()) {
    const bool asks = found != all.end() && (found->sql.find("FROM " + table.name) != std::string::npos ||
                                             found->sql.find("JOIN " + table.name) != std::string::npos);
    if (asks) {
      tables.push_back(table.name);
    }
  }
  return tables;
}

// Runs a query; one that fails leaves its part of the page empty.
template <class Query>
void finish(Unfinished& unfinished, std::string_view what, const Query& query) {
  try {
    query();
  } catch (const query::Error& error) {
    unfinished.add(fmt::format("the {}: {}", what, error.what()));
  }
}

// One pass for each share of the rules, for the latencies, for each table and for counting the records. Those that take
// longest come first.
std::vector<Pass> passesFor(Parts& parts, const Passes& threads, bool hasReference, const query::Limits& limits,
                            std::vector<std::vector<Finding>>& findings,
                            std::vector<std::vector<rules::Rule>>& shares) {
  const std::vector<rules::Rule>& all = rules::shippedRules();
  shares.resize(threads.threads() == 1 ? 1 : all.size());
  findings.resize(shares.size());
  for (std::size_t i = 0; i < all.size(); ++i) {
    shares[i % shares.size()].push_back(all[i]);
  }
  std::vector<Pass> passes;
  for (std::size_t i = 0; i < shares.size(); ++i) {
    passes.emplace_back([&, i, limits](OpenInputs& inputs) {
      findings[i] = rules::triage(inputs.device, inputs.reference ? &*inputs.reference : nullptr, shares[i], limits,
                                  [&](const rules::Error& error) { parts.unfinished.add(error.what()); });
    });
  }
  const auto addDevice = [&](DeviceParts& device, bool isReference) {
    const auto database = [isReference](OpenInputs& inputs) -> query::Database& {
      return isReference ? *inputs.referenceDatabase : inputs.database;
    };
    passes.emplace_back([&parts, &device, database](OpenInputs& inputs) {
      finish(parts.unfinished, "latencies", [&] {
        query::Statement rows = database(inputs).prepare(pageTableSql("latencies"));
        device.latencies = readLatencies(rows);
      });
    });
    for (const std::string& name : pageTableNames()) {
      PageTable& table = device.tables[name];
      passes.emplace_back([&parts, &table, database, name](OpenInputs& inputs) {
        finish(parts.unfinished, name, [&] { table = readPageTable(database(inputs), name); });
      });
    }
  };
  addDevice(parts.device, false);
  if (hasReference) {
    addDevice(parts.reference, true);
  }
  passes.emplace_back([&](OpenInputs& inputs) { parts.records = countRecords(inputs.device); });
  return passes;
}

void collect(Parts& parts, Passes& passes, bool hasReference, const query::Limits& limits) {
  std::vector<std::vector<Finding>> findings;
  std::vector<std::vector<rules::Rule>> shares;
  passes.run(passesFor(parts, passes, hasReference, limits, findings, shares));
  for (std::vector<Finding>& share : findings) {
    std::move(share.begin(), share.end(), std::back_inserter(parts.findings));
  }
  rules::sortWorstFirst(parts.findings);

  sources::Sources& device = passes.inputs().device;
  std::vector<std::optional<sources::Location>> locations;
  for (const Finding& finding : parts.findings) {
    locations.push_back(locationOf(finding.evidence, device.inputs()));
  }
  parts.evidence = numbersOf(device, locations);
  if (parts.records.bytes.empty() && parts.records.count != 0) {
    std::vector<std::uint64_t> wanted;
    for (const auto& number : parts.evidence) {
      if (number) {
        wanted.push_back(*number);
      }
    }
    for (const Latencies& each : parts.device.latencies) {
      wanted.push_back(each.slowest);
    }
    sampleRecords(parts.records, device, wanted, parts.device.tables["presses"].records);
  }
}

void writeLatencies(JsonWriter& json, const std::vector<Latencies>& all) {
  json.beginArray();
  for (const Latencies& each : all) {
    json.beginObject();
    json.members("kind", each.kind, "count", each.count, "min", each.least, "p50", each.median, "p99",
                 each.percentile99, "max", each.greatest, "slowest", each.slowest);
    json.key("distribution");
    json.beginArray();
    for (const auto& [bucket, count] : each.distribution) {
      json.json(fmt::format("[{},{}]", bucket, count));
    }
    json.endArray();
    json.key("course");
    json.beginArray();
    for (const Latencies::Stretch& stretch : each.course) {
      json.json(fmt::format("[{},{},{:.0f},{}]", stretch.time, stretch.greatest, stretch.mean, stretch.record));
    }
    json.endArray();
    json.endObject();
  }
  json.endArray();
}

void writeDevice(JsonWriter& json, const DeviceParts& device, const sources::Sources& sources) {
  json.beginObject();
  json.key("inputs");
  json.beginArray();
  for (const sources::InputInfo& input : sources.inputs()) {
    json.beginObject();
    json.members("name", input.name, "kind", sources::kindName(input.kind), "size", input.size);
    json.members("device", input.capture.device, "model", input.capture.model, "plugIn", input.capture.plugIn, "api",
                 input.capture.api);
    json.endObject();
  }
  json.endArray();
  json.key("tables");
  json.beginObject();
  for (const auto& [name, table] : device.tables) {
    if (!table.json.empty()) {
      json.key(name);
      json.json(table.json);
    }
  }
  json.endObject();
  json.key("latencies");
  writeLatencies(json, device.latencies);
  json.endObject();
}

template <class Number>
void writeNumber(JsonWriter& json, std::string_view name, const std::optional<Number>& number) {
  json.key(name);
  json.json(number ? fmt::format("{}", *number) : "null");
}

void writeFinding(JsonWriter& json, const Finding& finding, const std::optional<std::uint64_t>& record) {
  json.beginObject();
  writeWords(json, finding);
  json.member("more", finding.more);
  json.key("evidence");
  json.beginObject();
  json.member("source", finding.evidence.source);
  writeNumber(json, "report", finding.evidence.report);
  json.member("path", finding.evidence.path);
  writeNumber(json, "record", record);
  json.key("tables");
  json.beginArray();
  for (const std::string& table : tablesOf(finding.rule)) {
    json.string(table);
  }
  json.endArray();
  json.endObject();
  json.endObject();
}

void writeTimes(JsonWriter& json, const PageRecords& records, const profile::TimePolicy& times) {
  enum Flags { calendar = 1, boot = 2 }; // as in vel_profile_times
  json.beginObject();
  json.member("flags", (times.sync ? calendar : 0) | (times.boot ? boot : 0));
  // Written as texts, as a script's numbers have only 53 bits.
  json.member("vel", fmt::format("{}", times.sync ? times.sync->vel : 0));
  json.member("calendar", fmt::format("{}", times.sync ? times.sync->calendar : 0));
  json.member("boot", fmt::format("{}", times.boot.value_or(0)));
  json.key("zones");
  json.beginArray();
  for (const auto& [index, seconds] : timeZones(records, times)) {
    json.json(fmt::format("[{},{}]", index, seconds));
  }
  json.endArray();
  json.endObject();
}

void writeRecords(JsonWriter& json, const PageRecords& records, const profile::TimePolicy& times) {
  json.beginObject();
  json.member("count", records.count);
  json.key("categories");
  json.beginArray();
  std::vector<std::pair<std::uint64_t, std::uint32_t>> categories;
  for (std::uint32_t id = 0; id < records.categories.size(); ++id) {
    if (records.categories[id] != 0) {
      categories.emplace_back(records.categories[id], id);
    }
  }
  std::sort(categories.rbegin(), categories.rend());
  for (const auto& [count, id] : categories) {
    profile::DecimalText digits;
    json.beginArray();
    json.string(profile::name_of(profile::category_names(), id, digits));
    json.integer(static_cast<std::int64_t>(count));
    json.endArray();
  }
  json.endArray();
  json.key("parts");
  json.beginArray();
  for (const auto& [first, count] : records.parts) {
    json.json(fmt::format("[{},{}]", first, count));
  }
  json.endArray();
  json.key("times");
  writeTimes(json, records, times);
  json.endObject();
}

// Escapes '<', so that the data cannot end the page's element that it is in.
class ElementSink final : public Sink {
public:
  void append(std::string_view text) override {
    for (const char character : text) {
      if (character == '<') {
        text_ += "\\u003c";
      } else {
        text_ += character;
      }
    }
  }
  std::string take() { return std::move(text_); }

private:
  std::string text_;
};

std::string dataOf(const Parts& parts, OpenInputs& inputs) {
  ElementSink out;
  JsonWriter json(out, JsonWriter::Form::oneLine);
  json.beginObject();
  json.key("device");
  writeDevice(json, parts.device, inputs.device);
  json.key("reference");
  if (inputs.reference) {
    writeDevice(json, parts.reference, *inputs.reference);
  } else {
    json.json("null");
  }
  json.key("findings");
  json.beginArray();
  for (std::size_t i = 0; i < parts.findings.size(); ++i) {
    writeFinding(json, parts.findings[i], parts.evidence[i]);
  }
  json.endArray();
  json.member("rules", rules::shippedRules().size());
  json.key("unfinished");
  json.beginArray();
  for (const std::string& line : parts.unfinished.lines()) {
    json.string(line);
  }
  json.endArray();
  json.key("records");
  writeRecords(json, parts.records, sources::commonTimes(inputs.device.inputs()));
  json.endObject();
  return out.take();
}

std::string base64(std::span<const unsigned char> bytes) {
  constexpr std::string_view digits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string text;
  text.reserve((bytes.size() + 2) / 3 * 4);
  for (std::size_t at = 0; at < bytes.size(); at += 3) {
    const std::size_t count = std::min<std::size_t>(3, bytes.size() - at);
    unsigned bits = 0;
    for (std::size_t i = 0; i < 3; ++i) {
      bits = bits << 8 | (i < count ? bytes[at + i] : 0U);
    }
    for (std::size_t i = 0; i < 4; ++i) {
      text += i <= count ? digits[bits >> (18 - 6 * i) & 0x3F] : '=';
    }
  }
  return text;
}

// The page with the data and the records in their places, as consecutive pieces.
std::vector<std::string> filled(std::string data, std::string records) {
  std::string_view page = embeddedPage.front().second;
  std::vector<std::string> pieces;
  for (auto [place, content] : {std::pair<std::string_view, std::string*>{"@DATA@", &data}, {"@RECORDS@", &records}}) {
    const std::size_t at = page.find(place);
    pieces.emplace_back(page.substr(0, at));
    pieces.push_back(std::move(*content));
    page.remove_prefix(at + place.size());
  }
  pieces.emplace_back(page);
  return pieces;
}

bool isEmpty(const Parts& parts) {
  return parts.records.count == 0 && parts.findings.empty() &&
         std::all_of(parts.device.tables.begin(), parts.device.tables.end(),
                     [](const auto& table) { return table.second.rows == 0; });
}

} // namespace

ReportPage makeReportPage(const std::vector<std::string>& inputs, const std::vector<std::string>& reference,
                          const query::Limits& limits) {
  Passes passes(inputs, reference, limits);
  Parts parts;
  collect(parts, passes, !reference.empty(), limits);
  ReportPage page;
  page.isEmpty = isEmpty(parts);
  page.isSound = passes.areSound() && parts.unfinished.lines().empty();
  page.summary = fmt::format("{}; {}", countsText(parts.findings), countText(parts.records.count, "record"));
  page.pieces = filled(dataOf(parts, passes.inputs()), base64(parts.records.bytes));
  return page;
}

} // namespace stat

} // namespace vel
