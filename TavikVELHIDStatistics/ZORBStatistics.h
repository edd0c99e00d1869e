// The button's latency statistics: the firmware's record and its report.
#pragma once

#include "LittleEndian.h"

#include <CoreFoundation/CoreFoundation.h>

#include <cstddef>
#include <cstdint>

// As the driver returns it: little-endian, byte-packed, times and latencies in the firmware's own units. The spacing
// members are bytes that are not reported.
struct __attribute__((packed)) _ZORBLatencyStatsV2 {
  enum Edge { down, up };

  uint64_t fingerOnTs;
  uint64_t fingerOffTs;
  uint64_t startHapticTs;
  uint64_t fingerDetectToButtonDown;
  uint8_t spacing32[56];
  uint64_t buttonTs[3][2]; // [click][edge], as the two below
  uint64_t playAssetTs[3][2];
  uint64_t buttonToPlayAsset[3][2];
  uint8_t spacing232[1];
  uint32_t clickCountWord; // the count is in bits 1 to 31
  uint8_t spacing237[29];
  uint64_t secondScanTs;
  uint32_t turtleScans;
  uint8_t spacing278[4];
  uint64_t minNonZeroFDToBD; // finger detect to button down
  uint64_t maxFDToBD;
  uint64_t minNonZeroBCToPlayAsset; // button change to asset play
  uint64_t maxBCToPlayAsset;
  uint64_t minTotal;
  uint64_t maxTotal;
};
static_assert(sizeof(_ZORBLatencyStatsV2) == 330);
static_assert(offsetof(_ZORBLatencyStatsV2, buttonTs) == 88);
static_assert(offsetof(_ZORBLatencyStatsV2, playAssetTs) == 136);
static_assert(offsetof(_ZORBLatencyStatsV2, buttonToPlayAsset) == 184);
static_assert(offsetof(_ZORBLatencyStatsV2, clickCountWord) == 233);
static_assert(offsetof(_ZORBLatencyStatsV2, secondScanTs) == 266);
static_assert(offsetof(_ZORBLatencyStatsV2, minNonZeroFDToBD) == 282);
static_assert(offsetof(_ZORBLatencyStatsV2, maxTotal) == 322);

// The statistics as a dictionary of two dictionaries: "last button press" and "latency"; null if it cannot be created.
// [plugin queue] [create: caller releases]
CFMutableDictionaryRef copyZORBStatistics(const _ZORBLatencyStatsV2* stats);
