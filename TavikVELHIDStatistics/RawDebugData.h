// The three kinds of profile records that the co-processor's side keeps.
#pragma once

#include <cstdint>

// Kind 0 has no name and is never asked for.
enum VELProfileKind : uint32_t {
  kVELProfileKind_None,
  kVELProfileKind_Firmware,
  kVELProfileKind_Driver,
  kVELProfileKind_Error
};

// Records that one request has room for.
inline constexpr uint32_t kRawDebugRecordCount = 32;
