// What a trace contains besides its events: counts, clocks, and the last configuration of each sensor.
#pragma once

#include <profile/record_view.h>
#include <sources/source.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace vel::stat {

struct OtherData {
  static constexpr std::size_t mostConfigurations = 1024;

  // Keeps the last record for each datatype, category and component.
  void keepConfiguration(const unsigned char* record);
  // The members of a JSON object.
  std::string text(const std::vector<sources::InputInfo>& inputs) const;

  std::uint64_t records = 0;
  std::uint64_t dumps = 0;
  std::uint64_t beyond = 0; // records whose times are beyond the axis

private:
  std::map<std::uint32_t, std::array<unsigned char, profile::record_size>> configurations_;
};

} // namespace vel::stat
