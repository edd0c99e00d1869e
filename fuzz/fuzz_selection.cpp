// What people type for `velstat decode`: times, names and fields, and brief lines of any records. The first byte
// chooses one of these. Names and fields are on the first line, and records after it.
#include "require.h"
#include <sources/brief_renderer.h>
#include <sources/record.h>
#include <sources/selection.h>
#include <sources/time_range.h>

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <limits>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace {

using namespace vel;
using vel::fuzz::require;
using namespace vel::sources;

std::string_view takeLine(std::string_view& rest) {
  const std::size_t end = std::min(rest.find('\n'), rest.size());
  const std::string_view line = rest.substr(0, end);
  rest.remove_prefix(std::min(end + 1, rest.size()));
  return line;
}

// A refusal says why.
template <class Read>
void attempt(Read read) {
  try {
    read();
  } catch (const std::invalid_argument& error) {
    require(*error.what() != '\0');
  }
}

void readTime(std::string_view text) {
  TimeRange range;
  range.narrow(text);
  constexpr std::uint64_t latest = ~std::uint64_t{0};
  const profile::TimeSync syncs[] = {
      {0, 1'700'000'000'000'000'000},
      {std::numeric_limits<std::int64_t>::min(), std::numeric_limits<std::int64_t>::max()},
      {std::numeric_limits<std::int64_t>::max(), std::numeric_limits<std::int64_t>::min()}};
  for (const auto& sync : syncs) {
    for (const LogTimes& log :
         {LogTimes{0, 0, sync}, LogTimes{420'000'000, 500'000'000, sync}, LogTimes{latest, latest, sync}}) {
      attempt([&] {
        const Range found = range.resolve(log);
        require(found.first <= found.last || found == Range{1, 0});
        // A fixed range does not depend on the log.
        require(!range.isFixed() || found == range.resolve({}));
      });
    }
  }
}

void checkLines(const OutputBuffer& out, std::size_t width) {
  constexpr std::string_view ellipsis = "…";
  std::string_view rest = out.view();
  while (!rest.empty()) {
    require(rest.find('\n') != std::string_view::npos);
    std::string_view line = takeLine(rest);
    if (line.ends_with(ellipsis)) {
      line.remove_suffix(ellipsis.size());
      require(width != 0 && line.size() + 1 == width);
    }
    require(width == 0 || line.size() <= width || line.starts_with("-- "));
    require(std::all_of(line.begin(), line.end(), [](char c) { return c >= 0x20 && c < 0x7f; }));
  }
}

void selectBy(std::string_view rest) {
  constexpr std::vector<std::string> SelectionRequest::*lists[] = {
      &SelectionRequest::categories, &SelectionRequest::components, &SelectionRequest::types,
      &SelectionRequest::layouts};
  SelectionRequest request;
  request.*lists[rest.size() % std::size(lists)] = {std::string(takeLine(rest))};
  const Selection selection(request);
  for (; rest.size() >= recordSize; rest.remove_prefix(recordSize)) {
    static_cast<void>(selection.passes(reinterpret_cast<const unsigned char*>(rest.data())));
  }
}

void check(BriefRenderer& renderer, std::size_t width, const unsigned char* records, std::size_t count) {
  OutputBuffer out;
  renderer.render({records, count, {}, {}}, out);
  checkLines(out, width);
}

void showBrief(std::string_view rest) {
  constexpr profile::TimePolicy times = {profile::TimeSync{0, 1'700'000'000'000'000'000}, 5};
  const std::string_view names = takeLine(rest);
  const auto* const records = reinterpret_cast<const unsigned char*>(rest.data());
  const std::size_t count = rest.size() / recordSize;
  static BriefRenderer whole({.times = times});
  static BriefRenderer narrow({.times = times, .differences = true, .width = 30});
  check(whole, 0, records, count);
  check(narrow, 30, records, count);
  BriefRenderer listed({.times = times, .width = 200, .fields = FieldList(names)});
  check(listed, 200, records, count);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) {
    return 0;
  }
  // A separate allocation, so that AddressSanitizer sees a read beyond the bytes.
  const std::string copy(reinterpret_cast<const char*>(data) + 1, size - 1);
  attempt([&] {
    switch (data[0] % 4) {
    case 0:
      return showBrief(copy);
    case 1:
      return selectBy(copy);
    default:
      return readTime(copy);
    }
  });
  return 0;
}
