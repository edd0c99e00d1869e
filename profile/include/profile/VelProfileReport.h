// The 48-byte profile report, as the co-processor's firmware writes it. docs/record-format.md describes every byte.
#ifndef PROFILE_VEL_PROFILE_REPORT_H
#define PROFILE_VEL_PROFILE_REPORT_H

#include <stddef.h>
#include <stdint.h>

// Wire format: little-endian, and packed because a driver's reply holds records at any address.
typedef struct __attribute__((packed)) _VelProfileReport {
  uint8_t type;          // datatype: says how the payload is read
  uint8_t event;         // meaning depends on category and component
  uint8_t component;     // meaning depends on category
  uint8_t category;      // picks the decoder
  uint32_t sequence_num; // counted by the firmware
  uint64_t timestamp;    // the co-processor's clock
  uint8_t payload[32];
} _VelProfileReport;

#ifdef __cplusplus
static_assert(sizeof(_VelProfileReport) == 48 && alignof(_VelProfileReport) == 1);
static_assert(offsetof(_VelProfileReport, type) == 0);
static_assert(offsetof(_VelProfileReport, event) == 1);
static_assert(offsetof(_VelProfileReport, component) == 2);
static_assert(offsetof(_VelProfileReport, category) == 3);
static_assert(offsetof(_VelProfileReport, sequence_num) == 4);
static_assert(offsetof(_VelProfileReport, timestamp) == 8);
static_assert(offsetof(_VelProfileReport, payload) == 16);
#endif

#endif
