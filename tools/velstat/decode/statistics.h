// Statistics of a stream of records of any length, in bounded memory. [one thread at a time]
#pragma once

#include <sources/sequence_check.h>
#include <velstat/decode/bounded_counts.h>

#include <array>
#include <cstdint>
#include <string>

namespace vel::stat {

class Statistics {
public:
  // Called for every record of the input, whether selected or not, so that no sequence number seems to be missing.
  // Records of several runs may be mixed; each run has its own sequence numbers.
  void addRead(const unsigned char* record, std::size_t run = 0);
  // Restarts that are known from the runs.
  void addRestarts(std::uint64_t count) noexcept { restarts_ += count; }
  // Called for every record that passes the filters.
  void addSelected(const unsigned char* record) noexcept;
  void addShown(std::uint64_t count) noexcept { shown_ += count; }

  std::string asText() const;
  std::string asJson() const; // one line

private:
  double recordsASecond() const noexcept;

  std::uint64_t read_ = 0;
  std::uint64_t selected_ = 0;
  std::uint64_t shown_ = 0;
  std::uint64_t restarts_ = 0;
  std::uint64_t earliest_ = ~std::uint64_t{0};
  std::uint64_t latest_ = 0;
  sources::SequenceCheck::Counts sequenceCounts() const noexcept; // of all runs

  std::vector<sources::SequenceCheck> sequences_ = std::vector<sources::SequenceCheck>(1); // by run
  std::array<std::uint64_t, 256> categories_{};
  std::array<std::uint64_t, 256> types_{};
  BoundedCounts components_; // by category and component
  BoundedCounts events_;     // by category, component and event
};

} // namespace vel::stat
