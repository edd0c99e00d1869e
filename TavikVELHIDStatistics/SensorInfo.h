// The sensors' replies, as their driver returns them: little-endian, byte-packed.
#pragma once

#include "LittleEndian.h"

#include <CoreFoundation/CoreFoundation.h>
#include <IOKit/IOTypes.h>

#include <cstddef>
#include <cstdint>

struct __attribute__((packed)) SensorLocation {
  int8_t letter; // 0: none
  int32_t alternate;
};
static_assert(sizeof(SensorLocation) == 5);

struct SensorIntervals {
  uint32_t sensorBatch, muxBatch, apBatch, apReport, endpointBatchCount;
};
static_assert(sizeof(SensorIntervals) == 20);

struct SensorRegisters {
  uint32_t n; // bounds the index of a pair
  struct Pair {
    uint16_t number, value;
  } pairs[31];
};
static_assert(sizeof(SensorRegisters) == 128);

struct __attribute__((packed)) SensorClient {
  char name[12];
  int32_t reportInterval;
  int32_t batchInterval;
  int32_t threshold;
  int32_t timeLimit;
  uint8_t active; // 0: the slot is unused
  uint8_t spacing29[2];
};
static_assert(sizeof(SensorClient) == 31 && offsetof(SensorClient, active) == 28);

inline constexpr size_t kSensorClientCount = 16;

// Adds "APEvents", the event-queue counters in the registry below the VEL device, if the interface, driver and user
// client below it all exist. [plugin queue]
void copyDriverEventStats(CFMutableDictionaryRef state, io_registry_entry_t device);
