// The three kinds of profile records that the co-processor's side keeps.
#pragma once

#include <cstdint>

// Kind 0 has no name and is never requested.
enum VELProfileKind : uint32_t {
  kVELProfileKind_None,
  kVELProfileKind_Firmware,
  kVELProfileKind_Driver,
  kVELProfileKind_Error
};

// The capacity of one request, in records.
inline constexpr uint32_t kRawDebugRecordCount = 32;
