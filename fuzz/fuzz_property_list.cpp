// Hostile binary property lists and state records: nothing outside the bytes is read. A value that is read can be
// shown, compared and searched with output of bounded length, and equals itself.

#include "require.h"
#include <formats/binary_property_list.h>
#include <formats/state_record.h>
#include <velstat/diff/result.h>
#include <velstat/show/result.h>
#include <velstat/text/escape.h>
#include <velstat/text/tree.h>

#include <nlohmann/json.hpp>

#include <cstdint>
#include <cstdlib>
#include <string>

namespace {

using namespace vel;
using vel::fuzz::require;

// Small, so that lists that expand greatly do not slow the fuzzer down.
constexpr std::size_t memory = std::size_t{1} << 20;

const std::vector<stat::PathPattern> patterns = {stat::PathPattern("**/a*/?"), stat::PathPattern("[!0]/**/\\*")};
const stat::Style plain(false);

// The text of a rendering; empty if it would be too many times as long as the input.
template <class Render>
std::string rendered(std::size_t size, Render render) {
  stat::Measure length(stat::mostExpansion * size);
  try {
    render(length);
  } catch (const stat::TooLong&) {
    return {};
  }
  stat::StringSink text;
  render(text);
  require(text.text().size() == length.length() && length.length() <= stat::mostExpansion * size);
  return text.take();
}

template <class Render>
void requireJson(std::size_t size, Render render) {
  const std::string text = rendered(size, [&](stat::Sink& out) {
    stat::JsonWriter json(out);
    render(json);
  });
  require(text.empty() || nlohmann::json::accept(text));
}

// The most bytes that the lines of a tree may take: the margin, the column of keys, two blanks, the value.
std::size_t mostText(const formats::Value& value, std::size_t indent) {
  constexpr std::size_t key = 4 * stat::widestKey; // bytes
  if (stat::isLeaf(value)) {
    return stat::leafText(value).size() + indent + key + 3;
  }
  std::size_t most = indent + key + 1;
  if (const auto* members = value.as<formats::Dictionary>()) {
    for (const formats::Member& member : *members) {
      most += mostText(member.value, indent + 2);
    }
  } else if (const auto* items = value.as<formats::Array>()) {
    for (const formats::Value& item : *items) {
      most += mostText(item, indent + 2);
    }
  }
  return most;
}

// An input that holds this one list.
sources::InputInfo inputWith(const formats::Value& value, std::size_t size) {
  sources::InputInfo input;
  input.name = "file";
  input.kind = sources::Kind::propertyList;
  input.size = size;
  input.capture.reports.push_back({.size = size, .value = value});
  return input;
}

void use(const formats::Value& value, std::size_t size) {
  stat::Measure text(mostText(value, 0));
  stat::appendTree(text, value, 0, plain);

  const sources::InputInfo input = inputWith(value, size);
  const stat::Side side{.input = input, .records = {}};
  const sources::Report& report = side.input.capture.reports.front();
  const stat::ShownPart part{.name = side.input.name, .value = report.value, .report = &report, .key = std::nullopt};
  rendered(size, [&](stat::Sink& out) { stat::showText(out, part, {}, plain); });
  rendered(size, [&](stat::Sink& out) { stat::showText(out, part, patterns, plain); });
  requireJson(size, [&](stat::JsonWriter& json) { stat::showJson(json, part, {}); });
  requireJson(size, [&](stat::JsonWriter& json) { stat::showJson(json, part, patterns); });

  stat::compareReports(side.input, side.input, [](auto...) { std::abort(); });
  const sources::InputInfo emptyInput = inputWith({formats::Dictionary()}, 0);
  const stat::Side empty{.input = emptyInput, .records = {}};
  stat::Result result{.before = side, .after = empty, .differences = {}};
  result.eachReportValue = [&](const stat::TakeReportValue& take) {
    stat::compareReports(side.input, empty.input, take);
  };
  const stat::SectionCounts counts = stat::countsOf(result);
  rendered(size, [&](stat::Sink& out) { stat::diffText(out, result, counts, plain); });
  requireJson(size, [&](stat::JsonWriter& json) { stat::diffJson(json, result, counts); });
}

// A path leads to the value that it was found at.
void search(const formats::Value& value) {
  stat::findPaths(value, patterns, [&](std::string_view path, const formats::Value& found) {
    std::string exact;
    for (const char c : path) {
      exact += c == '*' || c == '?' || c == '[' ? "\\" : "";
      exact += c;
    }
    const stat::PathPattern pattern(exact);
    std::size_t times = 0;
    stat::findPaths(value, std::span(&pattern, 1), [&](std::string_view, const formats::Value& again) {
      require(&again == &found);
      ++times;
    });
    require(times == 1);
  });
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const auto bytes = std::as_bytes(std::span(data, size));
  try {
    const formats::Value value = formats::readBinaryPropertyList(bytes, 0, memory);
    use(value, size);
    search(value);
  } catch (const formats::PropertyListError&) {
  }
  try {
    require(formats::parseStateRecord(bytes).dataSize == size - formats::recordHeaderSize);
  } catch (const formats::StateRecordError&) {
  }
  return 0;
}
