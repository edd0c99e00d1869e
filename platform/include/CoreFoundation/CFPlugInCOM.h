// IUnknown-style interface tables, as plug-ins have them: an interface is a pointer to a pointer to such a table.
#pragma once

#include <CoreFoundation/CFUUID.h>

typedef SInt32 HRESULT;
typedef UInt32 ULONG;
typedef void* LPVOID;
typedef CFUUIDBytes REFIID;

#define S_OK ((HRESULT)0)
#define E_NOINTERFACE ((HRESULT)0x80000004)
#define SUCCEEDED(Status) ((HRESULT)(Status) >= 0)

#define IUnknownUUID                                                                                                   \
  CFUUIDGetConstantUUIDWithBytes(kCFAllocatorSystemDefault, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0xC0,      \
                                 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46)

// The first four entries of every table. QueryInterface stores the interface with a reference for the caller
// [create: caller releases, through the interface's table], or stores null and returns a negative result. AddRef and
// Release return the new count; at 0 the object is gone. Counts are not locked: an object belongs to one thread or
// queue at a time, unless it says otherwise.
#define IUNKNOWN_C_GUTS                                                                                                \
  void* _reserved;                                                                                                     \
  HRESULT (*QueryInterface)(void* thisPointer, REFIID iid, LPVOID* ppv);                                               \
  ULONG (*AddRef)(void* thisPointer);                                                                                  \
  ULONG (*Release)(void* thisPointer)

typedef struct IUnknownVTbl {
  IUNKNOWN_C_GUTS;
} IUnknownVTbl;
