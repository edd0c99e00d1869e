// The button's haptic assets: the firmware's table and its report.
#pragma once

#include "LittleEndian.h"

#include <CoreFoundation/CoreFoundation.h>

#include <cstddef>
#include <cstdint>

// One asset setting: little-endian, byte-packed.
struct __attribute__((packed)) ZORBAsset {
  uint8_t enable;
  int32_t gain; // 16 fraction bits
  int64_t min;
  int64_t max;
  int32_t slot;
  uint8_t spacing25[4]; // not reported
};
static_assert(sizeof(ZORBAsset) == 29 && offsetof(ZORBAsset, slot) == 21);

inline constexpr size_t kZORBSpeedCount = 3;
inline constexpr size_t kZORBEventCount = 17; // 16 gestures and one without a name

// The driver's reply as a dictionary with a line of text for every speed and event; null if the reply is too short or
// the dictionary cannot be created. [plugin queue] [create: caller releases]
CFMutableDictionaryRef copyZORBAssets(const uint8_t* property, unsigned long propertyLength);
