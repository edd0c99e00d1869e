// One row for each sensor's record, with the columns that matter.
#include "velstat/capture/sensor_table.h"

#include <velstat/text/number_text.h>
#include <velstat/text/table.h>
#include <velstat/text/tree.h>

#include <fmt/format.h>

#include <algorithm>
#include <string_view>
#include <utility>

namespace vel::stat {

namespace {

// The members that are shown. "*" matches any ending; the members that it matches share a cell, each with its value up
// to a colon.
constexpr std::string_view sensorColumns[] = {"sensorType", "manufacturer", "model",   "reportInterval",
                                              "client*",    "extra*",       "APEvents"};

std::string cellOf(const formats::Dictionary& dictionary, std::string_view column) {
  const bool many = column.ends_with('*');
  std::string text;
  for (const formats::Member& member : dictionary) {
    if (many ? member.key.starts_with(column.substr(0, column.size() - 1)) : member.key == column) {
      std::string leaf = isLeaf(member.value) ? leafText(member.value) : "(more)";
      if (many) {
        leaf.resize(std::min(leaf.find(':'), leaf.size()));
      }
      text += (text.empty() ? "" : ", ") + leaf;
    }
  }
  return cell(std::move(text));
}

} // namespace

bool appendSensors(Sink& out, const std::vector<const host::CapturedRecord*>& records, const Style& style) {
  Cells cells(1);
  for (const std::string_view column : sensorColumns) {
    cells[0].emplace_back(column.substr(0, column.find('*')));
  }
  bool found = false;
  std::size_t keys = 0;
  for (const host::CapturedRecord* captured : records) {
    const auto* dictionary = captured->record.value.as<formats::Dictionary>();
    if (dictionary == nullptr) {
      return false;
    }
    keys += dictionary->size();
    cells.emplace_back();
    for (const std::string_view column : sensorColumns) {
      cells.back().push_back(cellOf(*dictionary, column));
      found = found || !cells.back().back().empty();
    }
  }
  if (found) {
    appendCells(out, cells, 4, style);
    out += "    " + style.dim(fmt::format("… all {} (--all)", countText(keys, "value"))) + '\n';
  }
  return found;
}

} // namespace vel::stat
