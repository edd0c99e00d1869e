// Profile records for programs in any language: text, typed fields and names, over a plain C interface.
//
// A record is 48 bytes at any address, and no content makes a function fail. Functions keep no state, may be called on
// any thread, and never write beyond the capacity that they are given. docs/decoder-c-interface.md has examples.
#ifndef PROFILE_VELPROFILE_H
#define PROFILE_VELPROFILE_H

#include "profile/export.h"

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

enum { VEL_PROFILE_RECORD_SIZE = 48 };

// Every text fits in this capacity, its terminating NUL included.
enum { VEL_PROFILE_TEXT_CAPACITY = 1412 };

// The times that end a text. With flag 1, "calendar-time" is made from the record's time stamp and the readings `vel`
// and `calendar` of both clocks at one moment, in nanoseconds, the latter since the epoch. It is local time, in the
// process's time zone as of the last tzset and with the month names of its locale. With flag 2, "boot-timestamp" is
// `boot`, in microseconds since the epoch. A null pointer in place of a vel_profile_times means neither.
enum { VEL_PROFILE_CALENDAR = 1, VEL_PROFILE_BOOT = 2 };
typedef struct vel_profile_times {
  uint32_t flags;
  int64_t vel;
  int64_t calendar;
  uint64_t boot;
} vel_profile_times;

// Writes the text of one record and a NUL to `out` and returns the text's length without the NUL. When `capacity` is
// too small (less than the length plus one) nothing is written; `out` may then be null. The text is bytes: it may hold
// NULs and bytes of 0x80 and above from the record, so go by the length.
VEL_PROFILE_API size_t vel_profile_render(const void* record, const vel_profile_times* times, char* out,
                                          size_t capacity);

// Renders consecutive records, each text followed by a newline, and as many as are sure to fit: `count`, or
// capacity / VEL_PROFILE_TEXT_CAPACITY of them. Stores the bytes written in *length and returns the number of records
// rendered. `length` must not be null, and `out` must not overlap the records. There is no NUL. A text may itself hold
// newlines; `ends`, if not null, receives the offset just after the newline of each record.
VEL_PROFILE_API size_t vel_profile_render_many(const void* records, size_t count, const vel_profile_times* times,
                                               char* out, size_t capacity, size_t* length, size_t* ends);

// What a field's value is, and which members hold it.
enum vel_profile_kind {
  VEL_PROFILE_NUMBER = 0,        // number
  VEL_PROFILE_CONSTANT = 1,      // number, the same in every record
  VEL_PROFILE_QUOTED_NUMBER = 2, // number; the text puts it between apostrophes
  VEL_PROFILE_TEXT = 3,          // bytes up to the field's first NUL
  VEL_PROFILE_SUBTYPE_NAME = 4,  // number (the id) and bytes (its name or digits)
  VEL_PROFILE_BYTES = 5,         // bytes of the record
  VEL_PROFILE_SLICED_BYTES = 6,  // bytes, as many as the record says
  VEL_PROFILE_CHARACTER = 7,     // number and one byte
  VEL_PROFILE_FIXED_POINT = 8    // number (the raw word) and real
};

typedef struct vel_profile_field {
  const char* layout; // the layout's name, e.g. "long-data" [static]
  const char* key;    // [static]
  uint32_t group;     // counts the shown layouts from 0: a layout can be shown twice
  uint32_t kind;      // vel_profile_kind
  uint32_t offset;    // of the value in the record, and its size there in bytes; both 0 for a constant
  uint32_t size;
  uint32_t width;  // least width of the value in the text; 0: none
  uint32_t length; // how much of `bytes` is used
  uint64_t number;
  double real;
  char bytes[32]; // not NUL-terminated: `length` says how many
} vel_profile_field;

// Writes the record's payload fields, in the order of the text, to `out`, at most `capacity` of them, and returns how
// many there are.
VEL_PROFILE_API size_t vel_profile_fields(const void* record, vel_profile_field* out, size_t capacity);

// The fields of every record fit in this capacity.
enum { VEL_PROFILE_FIELD_CAPACITY = 32 };

// Writes a name and a NUL to `out` and returns the name's length; nothing is written when `capacity` is too small. An
// id without a name is shown as its decimal number.
VEL_PROFILE_API size_t vel_profile_category_name(uint32_t category, char* out, size_t capacity);
VEL_PROFILE_API size_t vel_profile_component_name(uint32_t category, uint32_t component, char* out, size_t capacity);
VEL_PROFILE_API size_t vel_profile_event_name(uint32_t category, uint32_t component, uint32_t event, char* out,
                                              size_t capacity);
VEL_PROFILE_API size_t vel_profile_datatype_name(uint32_t datatype, char* out, size_t capacity);
// The name of a value of the kind VEL_PROFILE_SUBTYPE_NAME, such as a ZORB action.
VEL_PROFILE_API size_t vel_profile_subtype_name(uint32_t category, uint32_t component, uint32_t subtype, char* out,
                                                size_t capacity);

// One row of a layout: a field as every record that shows the layout has it.
typedef struct vel_profile_row {
  const char* layout; // [static]
  const char* key;    // [static]
  uint32_t kind;      // vel_profile_kind
  uint32_t offset;    // of the value in the record, and its size there in bytes; both 0 for a constant
  uint32_t size;
  uint32_t width;     // least width of the value in the text; 0: none
  uint32_t parameter; // a constant's value; for sliced bytes, the offset of the u16 that holds their count
} vel_profile_row;

// Writes the rows of all layouts to `out`, at most `capacity` of them, and returns how many there are. The rows of a
// layout are consecutive and in the order of the text.
VEL_PROFILE_API size_t vel_profile_rows(vel_profile_row* out, size_t capacity);

// For each of the consecutive records, stores in `shown` how often it shows the layout of this name: 0, 1 or 2 times.
// Returns how many records show it. No record shows a layout that does not exist.
VEL_PROFILE_API size_t vel_profile_shows(const void* records, size_t count, const char* layout, unsigned char* shown);

#ifdef __cplusplus
}
#endif

#endif
