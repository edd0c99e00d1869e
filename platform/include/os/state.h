// State capture: handlers that the system calls for a snapshot, and the records that they return.
#pragma once

#include <dispatch/dispatch.h>

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

enum { OS_STATE_API_ERROR = 1, OS_STATE_API_FAULT = 2, OS_STATE_API_REQUEST = 3 };

// A capture request; read only.
typedef struct os_state_hints_s {
  uint32_t version;
  const char* requestor; // NUL-terminated name of the requestor
  uint32_t api;          // why: one of OS_STATE_API_...
  uint32_t reason;
} os_state_hints_s;

enum { OS_STATE_DATA_SERIALIZED_PROPERTY_LIST = 1 };

// A state record: a header of 200 bytes, and the data right after it.
typedef struct os_state_data_s {
  uint32_t type;     // OS_STATE_DATA_...
  uint32_t dataSize; // bytes of data
  char decoderLibrary[64];
  char decoderType[64];
  char title[64]; // NUL-terminated
  uint8_t data[];
} os_state_data_s;

typedef uint64_t os_state_handle_t;
// Returns a record on the C heap that the caller frees, or null for none.
typedef os_state_data_s* (^os_state_block_t)(os_state_hints_s* hints);

// Registers a copy of the block, to be called on `queue` for every capture. The handle identifies the registration; 0
// is none. [any thread]
os_state_handle_t os_state_add_handler(dispatch_queue_t queue, os_state_block_t block);

#ifdef __cplusplus
}
#endif
