// Binary property lists and state records from strangers: nothing outside the bytes is read, what is read can be shown
// and searched, and equals itself.

#include <formats/binary_property_list.h>
#include <formats/state_record.h>
#include <velstat/diff/value_diff.h>
#include <velstat/text/json_writer.h>
#include <velstat/text/tree.h>
#include <velstat/text/value_path.h>

#include <nlohmann/json.hpp>

#include <cstdint>
#include <cstdlib>

namespace {

using namespace vel;

// Small, so that lists that blow up do not slow the search down.
constexpr std::size_t memory = std::size_t{1} << 20;

void require(bool holds) {
  if (!holds) {
    std::abort();
  }
}

void use(const formats::Value& value) {
  std::string text;
  stat::appendTree(text, value, 0, stat::Style(false));

  std::string json;
  stat::JsonWriter writer(json);
  writer.value(value);
  require(nlohmann::json::accept(json));

  require(stat::compareValues(value, value).empty());

  static const stat::PathPattern patterns[] = {stat::PathPattern("**/a*/?"), stat::PathPattern("[!0]/**/\\*")};
  for (const stat::PathMatch& match : stat::findPaths(value, patterns).matches) {
    // A path leads to the value that it was found at.
    std::string exact;
    for (const char c : match.path) {
      exact += c == '*' || c == '?' || c == '[' ? "\\" : "";
      exact += c;
    }
    const stat::PathPattern pattern(exact);
    const auto again = stat::findPaths(value, std::span(&pattern, 1));
    require(again.matches.size() == 1 && again.matches[0].value == match.value);
  }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const auto bytes = std::as_bytes(std::span(data, size));
  try {
    use(formats::readBinaryPropertyList(bytes, 0, memory));
  } catch (const formats::PropertyListError&) {
  }
  try {
    require(formats::parseStateRecord(bytes).bytes.size() == size);
  } catch (const formats::StateRecordError&) {
  }
  return 0;
}
