// Converts the calendar times in lines to numbers.
#pragma once

#include <profile/render.h>
#include <profile/wall_time.h>
#include <sources/capture.h>
#include <sources/source.h>

#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

namespace vel::sources {

// The relation as readings of both clocks at one moment. Lines rendered with them show the same calendar times.
profile::TimeSync timeSync(const ClockRelation& relation);
// The clock relation that all inputs agree on. None if they disagree, since any relation would be wrong for some.
profile::TimePolicy commonTimes(const std::vector<InputInfo>& inputs);

// Collects the clock relations of lines. [one thread at a time]
class ClockReader {
public:
  // The microseconds since 1970 of a calendar time such as "Nov 21 08:15:02.000417" in the process's time zone, in the
  // first year that does not place it before the boot time. `likely` decides between two readings of a repeated hour.
  // Empty for text of another form, or without a boot time.
  static std::optional<std::int64_t> calendarTime(std::string_view text, std::optional<std::uint64_t> boot,
                                                  std::optional<std::int64_t> likely = {});

  // Reads one line; returns the index of its relation in relations(), or -1 if it has none.
  int add(std::uint64_t timestamp, std::string_view calendar, std::optional<std::uint64_t> boot);

  // In the order of appearance. Further ones are left out when there are very many.
  const std::vector<ClockRelation>& relations() const { return relations_; }

private:
  std::vector<ClockRelation> relations_;
  std::optional<profile::WallClock> last_; // of the latest relation
  std::size_t lastPlace_ = 0;
};

} // namespace vel::sources
