// The functions of the decoder that the page's script calls, besides those of profile/velprofile.h: they search
// records, and give the parts of a record as numbers and addresses, so that the script needs neither names nor offsets.
#pragma once

#include <profile/velprofile.h>

// The sizes of a record and of the room for one text, in bytes.
extern "C" size_t vel_page_record_size(void);
extern "C" size_t vel_page_text_capacity(void);

// Memory for the script, which is never freed. Null if there is none.
extern "C" void* vel_page_allocate(size_t bytes);

// The clock readings for the times at the end of each text, for vel_profile_render. [static]
extern "C" const vel_profile_times* vel_page_times(uint32_t flags, int64_t vel, int64_t calendar, uint64_t boot);

// Writes the kind of each record. Records of the same kind have the same names of category, component, event and type.
extern "C" void vel_page_kinds(const unsigned char* records, size_t count, uint32_t* kinds);

// Writes a name as vel_profile_category_name does. `part`: 0 category, 1 component, 2 event, 3 type.
extern "C" size_t vel_page_name(const unsigned char* record, uint32_t part, char* out, size_t capacity);

extern "C" double vel_page_timestamp(const unsigned char* record); // in microseconds

// Of the records that `chosen` lists, keeps those whose text contains the bytes of `needle`, ignoring case, and returns
// how many. An empty needle is in every text.
extern "C" size_t vel_page_search(const unsigned char* records, uint32_t* chosen, size_t count,
                                  const vel_profile_times* times, const unsigned char* needle, size_t length);

// Reads the fields of a record, which the functions below are about. Returns how many there are.
extern "C" size_t vel_page_read_fields(const unsigned char* record);
extern "C" const char* vel_page_field_layout(size_t field);
extern "C" const char* vel_page_field_key(size_t field);
// How its value is shown: 'n' a number, 'r' a real number, 't' text, 'b' bytes.
extern "C" uint32_t vel_page_field_form(size_t field);
extern "C" uint64_t vel_page_field_number(size_t field);
extern "C" double vel_page_field_real(size_t field);
extern "C" const char* vel_page_field_bytes(size_t field);
extern "C" size_t vel_page_field_length(size_t field);
