// Records as short lines for people: time, names, and the fields that matter. docs/velstat-decode.md describes them.
#pragma once

#include <profile/layout.h>
#include <profile/render.h>
#include <profile/wall_time.h>
#include <sources/field_list.h>
#include <sources/output_buffer.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace vel::sources {

struct BriefOptions {
  profile::TimePolicy times;
  bool differences = false;        // show each time as the difference from the previous line's
  std::size_t width = 0;           // of the longest line, in columns; 0: no limit
  std::optional<FieldList> fields; // instead of the fields that matter
};

// A line between records, such as one about a gap; already printable and short enough.
struct Note {
  std::size_t before = 0; // the index of the record in its block
  bool isRestart = false; // times are not comparable across it
  std::string text;
};

struct BriefBlock {
  const unsigned char* records = nullptr;
  std::size_t count = 0;
  std::optional<std::uint64_t> previous; // the time stamp of the record before the block, if there is one
  std::span<const Note> notes;           // in the order of the records
};

// The fields of a layout that a brief line shows: no constants, and only the most informative of several fields for the
// same bytes. Texts and coordinates come first, dumps of bytes last.
std::vector<const profile::Row*> briefRows(const profile::Layout& layout);

// [one thread at a time; as many objects as threads]
class BriefRenderer {
public:
  explicit BriefRenderer(BriefOptions options);

  void render(const BriefBlock& block, OutputBuffer& out);

private:
  struct Plan {
    const profile::Row* action = nullptr; // named next to the event
    std::vector<const profile::Row*> rows;
  };

  void renderOne(OutputBuffer& out, const unsigned char* record, const std::optional<std::uint64_t>& previous);
  void appendTime(OutputBuffer& out, std::uint64_t timestamp, const std::optional<std::uint64_t>& previous);
  void appendNames(OutputBuffer& out, const unsigned char* record, const Plan* plan);
  void appendKey(OutputBuffer& out, std::string_view key);
  void appendFields(OutputBuffer& out, const unsigned char* record, const Plan* plan);
  void appendListedFields(OutputBuffer& out, const unsigned char* record);

  BriefOptions options_;
  std::size_t namesWidth_;
  std::optional<profile::WallClock> wall_;
  std::string day_;         // of the previous record
  std::vector<Plan> plans_; // by layout
  std::size_t lineBegin_ = 0;
  std::size_t namesBegin_ = 0;
  bool isFirstField_ = true;
  FieldValues values_;
};

} // namespace vel::sources
