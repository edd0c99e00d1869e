// Counts, and renders the result as text and as JSON.
#include "velstat/decode/statistics.h"

#include <profile/names.h>
#include <sources/record.h>
#include <velstat/text/json_writer.h>

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <span>
#include <vector>

namespace vel::stat {

namespace {

// One table of counts: each row has ids, from the category on, their names, and a count.
struct Row {
  std::vector<std::uint32_t> ids;
  std::vector<std::string> names;
  std::uint64_t count;
};

struct Section {
  const char* title;
  std::vector<const char*> keys; // of the ids
  std::vector<Row> rows;
  std::uint64_t rest = 0; // the count that further keys share
};

std::string nameOf(profile::NameTable table, std::uint32_t id) {
  profile::DecimalText digits;
  return std::string(name_of(table, id, digits));
}

Section byId(const char* title, const char* key, profile::NameTable table, std::span<const std::uint64_t> counts) {
  Section section{title, {key}, {}};
  for (std::uint32_t id = 0; id < counts.size(); ++id) {
    if (counts[id] != 0) {
      section.rows.push_back({{id}, {nameOf(table, id)}, counts[id]});
    }
  }
  return section;
}

Section byComponent(const BoundedCounts& counts) {
  Section section{"components", {"category", "component"}, {}, counts.rest()};
  for (const auto& [key, count] : counts.inOrder()) {
    const std::uint32_t category = key >> 8;
    const std::uint32_t component = key & 255;
    section.rows.push_back(
        {{category, component},
         {nameOf(profile::category_names(), category), nameOf(profile::component_names(category), component)},
         count});
  }
  return section;
}

Section byEvent(const BoundedCounts& counts) {
  Section section{"events", {"category", "component", "event"}, {}, counts.rest()};
  for (const auto& [key, count] : counts.inOrder()) {
    const std::uint32_t category = key >> 16;
    const std::uint32_t component = key >> 8 & 255;
    const std::uint32_t event = key & 255;
    section.rows.push_back(
        {{category, component, event},
         {nameOf(profile::category_names(), category), nameOf(profile::component_names(category), component),
          nameOf(profile::event_names(category, component), event)},
         count});
  }
  return section;
}

std::vector<Section> sectionsOf(std::span<const std::uint64_t> categories, const BoundedCounts& components,
                                const BoundedCounts& events, std::span<const std::uint64_t> types) {
  return {byId("categories", "category", profile::category_names(), categories), byComponent(components),
          byEvent(events), byId("types", "type", profile::datatype_names(), types)};
}

void appendCount(std::string& out, std::string_view name, std::uint64_t count, std::uint64_t all) {
  fmt::format_to(std::back_inserter(out), "  {:<40} {:>12} {:>5.1f} %\n", name, count,
                 100.0 * static_cast<double>(count) / static_cast<double>(all));
}

} // namespace

void Statistics::addRead(const unsigned char* record, std::size_t run) {
  ++read_;
  if (run >= sequences_.size()) {
    sequences_.resize(run + 1);
  }
  sequences_[run].add(sources::sequenceNumber(record));
}

sources::SequenceCheck::Counts Statistics::sequenceCounts() const noexcept {
  sources::SequenceCheck::Counts sum;
  sum.restarts = restarts_;
  for (const sources::SequenceCheck& sequence : sequences_) {
    sum.gaps += sequence.counts().gaps;
    sum.missing += sequence.counts().missing;
    sum.duplicates += sequence.counts().duplicates;
    sum.late += sequence.counts().late;
    sum.restarts += sequence.counts().restarts;
  }
  return sum;
}

void Statistics::addSelected(const unsigned char* record) noexcept {
  ++selected_;
  const std::uint64_t time = sources::timeStamp(record);
  earliest_ = std::min(earliest_, time);
  latest_ = std::max(latest_, time);
  const std::uint32_t category = profile::category(record);
  const std::uint32_t component = category << 8 | profile::component(record);
  ++categories_[category];
  ++types_[profile::type(record)];
  components_.add(component);
  events_.add(component << 8 | profile::event(record));
}

// By the co-processor's clock, which counts microseconds.
double Statistics::recordsASecond() const noexcept {
  return latest_ > earliest_ ? static_cast<double>(selected_ - 1) * 1e6 / static_cast<double>(latest_ - earliest_) : 0;
}

std::string Statistics::asText() const {
  std::string out = fmt::format("records: {} read, {} selected, {} shown\n", read_, selected_, shown_);
  const sources::SequenceCheck::Counts sequence = sequenceCounts();
  fmt::format_to(std::back_inserter(out),
                 "sequence numbers: {} gaps ({} missing), {} duplicates, {} late, {} restarts\n", sequence.gaps,
                 sequence.missing, sequence.duplicates, sequence.late, sequence.restarts);
  if (selected_ == 0) {
    return out;
  }
  fmt::format_to(std::back_inserter(out), "time: {}..{}, {:.1f} records a second\n", earliest_, latest_,
                 recordsASecond());
  for (const Section& section : sectionsOf(categories_, components_, events_, types_)) {
    fmt::format_to(std::back_inserter(out), "{}:\n", section.title);
    for (const Row& row : section.rows) {
      appendCount(out, fmt::format("{}", fmt::join(row.names, " ")), row.count, selected_);
    }
    if (section.rest != 0) {
      appendCount(out, "(further ones)", section.rest, selected_);
    }
  }
  return out;
}

std::string Statistics::asJson() const {
  StringSink out;
  JsonWriter json(out, JsonWriter::Form::oneLine);
  json.beginObject();
  json.member("read", read_);
  json.member("selected", selected_);
  json.member("shown", shown_);
  const sources::SequenceCheck::Counts sequence = sequenceCounts();
  json.key("sequence");
  json.beginObject();
  json.members("gaps", sequence.gaps, "missing", sequence.missing, "duplicates", sequence.duplicates, "late",
               sequence.late, "restarts", sequence.restarts);
  json.endObject();
  if (selected_ != 0) {
    json.key("time");
    json.beginObject();
    json.member("first", std::to_string(earliest_)); // as strings, as in the records
    json.member("last", std::to_string(latest_));
    json.key("records a second");
    json.real(recordsASecond());
    json.endObject();
  }
  for (const Section& section : sectionsOf(categories_, components_, events_, types_)) {
    json.key(section.title);
    json.beginArray();
    for (const Row& row : section.rows) {
      json.beginObject();
      for (std::size_t i = 0; i < row.ids.size(); ++i) {
        json.member(section.keys[i], row.names[i]);
        json.member(fmt::format("{}-id", section.keys[i]), row.ids[i]);
      }
      json.member("count", row.count);
      json.endObject();
    }
    json.endArray();
    if (section.rest != 0) {
      json.member(fmt::format("further {}", section.title), section.rest);
    }
  }
  json.endObject();
  out += '\n';
  return out.take();
}

} // namespace vel::stat
