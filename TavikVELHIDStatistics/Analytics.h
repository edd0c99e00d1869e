// Analytics entries, as the co-processor's firmware sends them.
#pragma once

#include "AnalyticsKeys.h"
#include "LittleEndian.h"

#include <cstddef>
#include <cstdint>

// Little-endian, byte-packed, back to back in a batch.
struct __attribute__((packed)) TSRec {
  uint8_t version; // of the key table: kTSRecVersion
  uint8_t op;
  uint8_t key;
  int32_t value; // 16 fraction bits for distribution ops
};
static_assert(sizeof(TSRec) == 7 && offsetof(TSRec, value) == 3);

inline constexpr uint8_t kTSRecVersion = 0x30;
static_assert(kTSRecVersion == kVELTSRecKey_Count, "the version of the key table is the number of its keys");

// From TSOpPushDistribution upward an op pushes one sample (op - TSOpSetDistribution) times.
enum TSOp : uint8_t {
  TSOpNone = 0,
  TSOpClearScalar = 1,
  TSOpSetScalar = 2,
  TSOpAddScalar = 3,
  TSOpClearDistribution = 4,
  TSOpSetDistribution = 5,
  TSOpPushDistribution = 6,
};
