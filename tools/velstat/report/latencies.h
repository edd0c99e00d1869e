// The latencies of a device's presses: each kind's figures, distribution and course in time.
#pragma once

#include <query/database.h>

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace vel::stat {

struct Latencies {
  // The greatest and the mean latency in a stretch of time.
  struct Stretch {
    std::int64_t time = 0; // of the first latency, in microseconds
    std::int64_t greatest = 0;
    double mean = 0;
    std::uint64_t record = 0; // of the greatest latency, from 1
  };

  std::string kind;
  std::uint64_t count = 0;
  std::int64_t least = 0; // in microseconds, like the next three
  std::int64_t median = 0;
  std::int64_t percentile99 = 0;
  std::int64_t greatest = 0;
  std::uint64_t slowest = 0;                 // the record of the greatest latency, from 1
  std::map<int, std::uint64_t> distribution; // counts by bucket of 5 %: exp(bucket / 20) microseconds
  std::vector<Stretch> course;               // one for each latency, or as many stretches as a chart can show
};

// Reads rows of kind, record, time and latency.
std::vector<Latencies> readLatencies(query::Statement& rows);

} // namespace vel::stat
