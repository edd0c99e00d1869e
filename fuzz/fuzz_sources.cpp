// Hostile inputs of sources/, all made of the same bytes: lines of every format, reports with lines, and the other
// files of a capture's folder. Nothing outside the bytes is read, and the results are consistent.
#include "require.h"
#include <formats/error.h>
#include <sources/capture_folder.h>
#include <sources/capture_notes.h>
#include <sources/clock.h>
#include <sources/line_formats.h>
#include <sources/order.h>
#include <sources/recent_records.h>
#include <sources/recognise.h>
#include <sources/report_lines.h>

#include <cstdint>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace {

using namespace vel;
using vel::fuzz::require;
using namespace vel::sources;

// Reads the text as a whole, and in two blocks that are divided where the format says; the records must be the same.
void readLines(Kind kind, std::string_view text) {
  const auto format = makeLineFormat(kind, {});
  ParsedLines whole;
  format->read(text, true, whole);
  require(whole.records.size() == whole.places.size() * recordSize);
  for (const ParsedLines::Fault& fault : whole.faults) {
    require(fault.at <= text.size());
  }
  const std::string_view front = text.substr(0, text.size() / 2);
  const std::size_t cut = format->whole(front);
  require(cut <= front.size());
  ParsedLines first;
  ParsedLines second;
  format->read(text.substr(0, cut), false, first);
  format->read(text.substr(cut), true, second);
  first.records.insert(first.records.end(), second.records.begin(), second.records.end());
  if (text.size() < 4096) { // the format may cut longer lines
    require(first.records == whole.records);
  }

  // Reads the lines again with the relation between the clocks that they gave.
  if (!whole.clocks.relations().empty()) {
    ParsedLines again;
    makeLineFormat(kind, whole.clocks.relations().front())->read(text, true, again);
    require(again.otherClock <= again.places.size());
  }
}

void readReports(Kind kind, std::string_view content) {
  Capture capture;
  try {
    capture.reports.push_back(readReport(kind, content, "list"));
  } catch (const formats::Error&) {
    return;
  }
  ReportLines lines;
  lines.add(0, "input", capture);
  lines.add(1, "the same again", capture);
  const std::size_t occurrences = lines.records.size();
  std::set<std::array<unsigned char, recordSize>> different;
  for (const CapturedRecord& record : lines.records) {
    different.insert(record.bytes);
  }
  const RecordsInOrder all = putInOrder(lines.records, lines.logs, true);
  require(all.records.size() == occurrences);
  const RecordsInOrder once = putInOrder(lines.records, lines.logs, false);
  require(once.records.size() == different.size());
  std::uint64_t counted = 0;
  for (const Run& run : once.runs) {
    counted += run.records;
  }
  require(counted == once.records.size());
}

template <class Read>
void attempt(Read read) {
  try {
    read();
  } catch (const formats::Error&) {
  }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  // A separate allocation, so that AddressSanitizer sees a read beyond the bytes.
  const std::vector<char> copy(data, data + size);
  const std::string_view text(copy.data(), copy.size());
  const Recognised recognised = recognise(text, true, size);
  require((recognised.kind == Kind::unknown) == !recognised.refusal.empty());
  for (const Kind kind : {Kind::lines, Kind::jsonLines, Kind::csvLines}) {
    readLines(kind, text);
  }
  readReports(Kind::stateRecord, text);
  readReports(Kind::propertyList, text);
  attempt([&] {
    Capture capture;
    readManifest(std::string(text), "manifest", capture);
  });
  attempt([&] { readLog(std::string(text), "log"); });
  ClockReader::calendarTime(text.substr(0, 22), 1'731'000'000'000'000);

  static RecentRecords recent;
  for (std::size_t at = 0; at + recordSize <= size; at += recordSize) {
    recent.add(data + at);
    require(!recent.add(data + at));
  }
  return 0;
}
