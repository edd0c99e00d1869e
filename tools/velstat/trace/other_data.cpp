// Writes the data at the end of the document, when everything has been read.
#include "velstat/trace/other_data.h"

#include <sources/json_fields.h>
#include <velstat/trace/event_fields.h>
#include <velstat/trace/event_writer.h>

#include <fmt/format.h>

#include <algorithm>
#include <string_view>

namespace vel::stat {

void OtherData::keepConfiguration(const unsigned char* record) {
  const std::uint32_t key =
      std::uint32_t{profile::type(record)} << 16 | profile::category(record) << 8 | profile::component(record);
  if (configurations_.size() < mostConfigurations || configurations_.contains(key)) {
    std::copy_n(record, profile::record_size, configurations_[key].begin());
  }
}

std::string OtherData::text(const std::vector<sources::InputInfo>& inputs) const {
  sources::OutputBuffer out;
  appendMember(out, "records", records);
  out.append(',');
  appendMember(out, "dumps left out", dumps);
  out.append(',');
  appendMember(out, "times beyond the axis", beyond);
  out.append(",\"clocks\":[");
  std::string_view separator;
  for (const sources::InputInfo& input : inputs) {
    for (const sources::ClockRelation& clock : input.capture.clocks) {
      out.append(separator);
      out.append(fmt::format("{{\"input\":{},\"calendar minus timestamp\":\"{}\",\"lines\":{}}}", jsonText(input.name),
                             clock.offset, clock.lines));
      separator = ",";
    }
  }
  out.append("],\"sensors\":[");
  separator = "";
  for (const auto& [key, bytes] : configurations_) {
    const sources::RecordNames names(bytes.data());
    out.append(separator);
    out.append(fmt::format("{{\"component\":\"{}\",\"type\":\"{}\",", names.component, names.type));
    appendFields(out, bytes.data(), nullptr);
    out.append('}');
    separator = ",";
  }
  out.append(']');
  return std::string(out.view());
}

} // namespace vel::stat
