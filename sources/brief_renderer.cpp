// Renders one line for each record. A line is printable ASCII, so one byte is one column.
#include "sources/brief_renderer.h"

#include <profile/fields.h>
#include <sources/json_fields.h>
#include <sources/plain_fields.h>
#include <sources/record.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <utility>

namespace vel::sources {

namespace {

using profile::FieldKind;
using profile::Row;

constexpr std::size_t timeOfDayWidth = std::string_view("08:15:02.000417").size();
constexpr std::size_t secondsWidth = std::string_view("99999.000417").size(); // more than a day
constexpr std::size_t widestNames = 40;

void appendBlanks(OutputBuffer& out, std::size_t count) {
  char* const at = out.room(count);
  std::fill(at, at + count, ' ');
  out.claim(count);
}

// The day in a calendar time: "Nov 21" for "Nov 21 08:15:02.000417".
std::string_view dayOf(std::string_view time) {
  return time.substr(0, time.size() - std::min(time.size(), timeOfDayWidth + 1));
}

// Right-aligned in a column of this width.
void appendAtRight(OutputBuffer& out, std::string_view text, std::size_t width) {
  appendBlanks(out, width - std::min(width, text.size()));
  out.append(text);
}

// Microseconds as "420.000417".
std::string_view secondsText(std::uint64_t microseconds, char sign, std::span<char> room) {
  char* p = room.data();
  if (sign != 0) {
    *p++ = sign;
  }
  p = std::to_chars(p, room.data() + room.size(), microseconds / 1'000'000).ptr;
  *p++ = '.';
  auto rest = static_cast<std::uint32_t>(microseconds % 1'000'000);
  for (int i = 5; i >= 0; --i, rest /= 10) {
    p[i] = static_cast<char>('0' + rest % 10);
  }
  p += 6;
  return {room.data(), static_cast<std::size_t>(p - room.data())};
}

// How informative a field is; greater is better.
int meaning(const Row& row) {
  switch (row.kind) {
  case FieldKind::text:
  case FieldKind::fixed_point:
  case FieldKind::subtype_name:
    return 3;
  case FieldKind::number:
  case FieldKind::character:
    return 2;
  case FieldKind::bytes:
  case FieldKind::sliced_bytes:
    return 1;
  case FieldKind::quoted_number:
  case FieldKind::constant:
    break;
  }
  return 0;
}

bool covers(const Row& outer, const Row& inner) {
  return outer.offset <= inner.offset && inner.offset + inner.size <= outer.offset + outer.size;
}

bool isZero(const profile::Field& field) {
  switch (field.row->kind) {
  case FieldKind::text:
  case FieldKind::bytes:
  case FieldKind::sliced_bytes:
    return field.bytes.empty();
  default:
    return field.number == 0;
  }
}

void appendBriefValue(OutputBuffer& out, const profile::Field& field) {
  if (field.row->kind == FieldKind::text) {
    appendJsonBytesAsString(out, field.bytes);
  } else if (field.row->kind == FieldKind::fixed_point) {
    constexpr int digits = 6; // as in the text
    constexpr std::size_t longest = 32;
    char* const at = out.room(longest);
    const auto end = std::to_chars(at, at + longest, field.real, std::chars_format::general, digits);
    out.claim(static_cast<std::size_t>(end.ptr - at));
  } else {
    appendPlainField(out, field);
  }
}

} // namespace

std::vector<const Row*> briefRows(const profile::Layout& layout) {
  std::vector<const Row*> rows;
  for (const Row& row : layout.rows) {
    const bool isShownBetter = std::any_of(layout.rows.begin(), layout.rows.end(), [&](const Row& other) {
      const bool comesFirst = &other < &row && other.offset == row.offset && other.size == row.size;
      return covers(other, row) && (meaning(other) > meaning(row) || (meaning(other) == meaning(row) && comesFirst));
    });
    if (row.kind != FieldKind::constant && !isShownBetter) {
      rows.push_back(&row);
    }
  }
  std::stable_sort(rows.begin(), rows.end(), [](const Row* a, const Row* b) { return meaning(*a) > meaning(*b); });
  return rows;
}

BriefRenderer::BriefRenderer(BriefOptions options)
    : options_(std::move(options)),
      namesWidth_(options_.width == 0 ? widestNames : std::min(options_.width * 7 / 20, widestNames)),
      values_(options_.times) {
  if (options_.times.sync) {
    wall_.emplace(*options_.times.sync);
  }
  for (const profile::Layout& layout : profile::all_layouts()) {
    Plan& plan = plans_.emplace_back();
    for (const Row* const row : briefRows(layout)) {
      if (row->kind == FieldKind::subtype_name) {
        plan.action = row;
      } else {
        plan.rows.push_back(row);
      }
    }
  }
}

void BriefRenderer::render(const BriefBlock& block, OutputBuffer& out) {
  std::optional<std::uint64_t> previous = block.previous;
  day_.clear();
  if (wall_ && previous) {
    day_ = dayOf(wall_->text(*previous));
  }
  std::span<const Note> notes = block.notes;
  for (std::size_t i = 0; i < block.count; ++i) {
    for (; !notes.empty() && notes.front().before == i; notes = notes.subspan(1)) {
      out.append(notes.front().text);
      out.append('\n');
      if (notes.front().isRestart) {
        previous.reset();
      }
    }
    const unsigned char* const record = block.records + i * recordSize;
    renderOne(out, record, previous);
    previous = timeStamp(record);
  }
}

void BriefRenderer::renderOne(OutputBuffer& out, const unsigned char* record,
                              const std::optional<std::uint64_t>& previous) {
  const profile::ShownLayouts shown = profile::shown_layouts(record);
  // A second layout shows the same bytes as the first one, but less informatively.
  const Plan* const plan =
      shown.count == 0 ? nullptr : &plans_[static_cast<std::size_t>(shown.items[0] - profile::all_layouts().data())];
  lineBegin_ = out.view().size();
  appendTime(out, timeStamp(record), previous);
  out.append("  ");
  appendNames(out, record, plan);
  if (options_.fields) {
    appendListedFields(out, record);
  } else {
    appendFields(out, record, plan);
  }
  if (options_.width != 0 && out.view().size() - lineBegin_ > options_.width) {
    out.cut(lineBegin_ + options_.width - 1);
    out.append("…");
  }
  out.append('\n');
}

void BriefRenderer::appendTime(OutputBuffer& out, std::uint64_t timestamp,
                               const std::optional<std::uint64_t>& previous) {
  const bool isDifference = options_.differences && previous;
  char room[40];
  if (wall_) {
    const std::string_view time = wall_->text(timestamp);
    if (const std::string_view day = dayOf(time); day != day_) {
      day_ = day;
      if (!isDifference) {
        out.append("-- ");
        out.append(day);
        out.append('\n');
        lineBegin_ = out.view().size();
      }
    }
    if (!isDifference) {
      appendAtRight(out, time.substr(time.size() - std::min(time.size(), timeOfDayWidth)), timeOfDayWidth);
      return;
    }
  }
  if (isDifference) {
    const bool isBack = timestamp < *previous;
    appendAtRight(out, secondsText(isBack ? *previous - timestamp : timestamp - *previous, isBack ? '-' : '+', room),
                  wall_ ? timeOfDayWidth : secondsWidth);
  } else {
    appendAtRight(out, secondsText(timestamp, 0, room), secondsWidth);
  }
}

void BriefRenderer::appendNames(OutputBuffer& out, const unsigned char* record, const Plan* plan) {
  namesBegin_ = out.view().size();
  isFirstField_ = true;
  const RecordNames names(record);
  out.append(names.category);
  out.append(' ');
  out.append(names.component);
  out.append(' ');
  out.append(names.event);
  if (plan != nullptr && plan->action != nullptr) {
    profile::DecimalText digits;
    const std::string_view action = read_field(record, *plan->action, digits).bytes;
    if (action != names.event) { // a checkpoint's action and event have the same name
      out.append('/');
      out.append(action);
    }
  }
}

void BriefRenderer::appendKey(OutputBuffer& out, std::string_view key) {
  if (isFirstField_) {
    const std::size_t length = out.view().size() - namesBegin_;
    appendBlanks(out, namesWidth_ - std::min(namesWidth_, length) + 1);
    isFirstField_ = false;
  }
  out.append(' ');
  out.append(key);
  out.append('=');
}

void BriefRenderer::appendFields(OutputBuffer& out, const unsigned char* record, const Plan* plan) {
  if (plan == nullptr) {
    appendKey(out, "type");
    out.append(RecordNames(record).type);
    return;
  }
  for (const Row* const row : plan->rows) {
    profile::DecimalText digits;
    const profile::Field field = read_field(record, *row, digits);
    if (!isZero(field)) {
      appendKey(out, row->key);
      appendBriefValue(out, field);
    }
  }
}

void BriefRenderer::appendListedFields(OutputBuffer& out, const unsigned char* record) {
  values_.setRecord(record);
  for (const ListedField& field : options_.fields->fields()) {
    const std::size_t begin = out.view().size();
    const bool wasFirst = isFirstField_;
    appendKey(out, field.name);
    profile::DecimalText digits;
    if (const auto value = values_.payloadField(field, digits)) {
      appendBriefValue(out, *value);
    } else if (field.common == 0 || !values_.appendPlain(out, field)) {
      out.cut(begin);
      isFirstField_ = wasFirst;
    }
  }
}

} // namespace vel::sources
