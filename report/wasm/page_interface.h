// What the page's script asks of the decoder, besides the functions of profile/velprofile.h: which records match, and
// the parts of one as numbers and addresses. So the script knows neither names nor offsets.
#pragma once

#include <profile/velprofile.h>

// The sizes of a record and of the room for one text, in bytes.
extern "C" size_t vel_page_record_size(void);
extern "C" size_t vel_page_text_capacity(void);

// Memory for the script, which it keeps. Null when there is none.
extern "C" void* vel_page_allocate(size_t bytes);

// The times that end all texts, for vel_profile_render. [static]
extern "C" const vel_profile_times* vel_page_times(uint32_t flags, int64_t vel, int64_t calendar, uint64_t boot);

// The least that distinguishes what a record is: records with the same kind have the same names of category, component,
// event and type. Writes one for each record.
extern "C" void vel_page_kinds(const unsigned char* records, size_t count, uint32_t* kinds);

// The name of part 0 category, 1 component, 2 event, 3 type; as vel_profile_category_name.
extern "C" size_t vel_page_name(const unsigned char* record, uint32_t part, char* out, size_t capacity);

extern "C" double vel_page_timestamp(const unsigned char* record); // in microseconds

// Of the records that `chosen` lists, keeps those whose text has the bytes of `needle`, in upper or lower case, and
// returns how many. An empty needle is in every text.
extern "C" size_t vel_page_search(const unsigned char* records, uint32_t* chosen, size_t count,
                                  const vel_profile_times* times, const unsigned char* needle, size_t length);

// Reads the fields of a record; the others are about these. Returns how many there are.
extern "C" size_t vel_page_read_fields(const unsigned char* record);
extern "C" const char* vel_page_field_layout(size_t field);
extern "C" const char* vel_page_field_key(size_t field);
// How its value is shown: 'n' a number, 'r' a real number, 't' text, 'b' bytes.
extern "C" uint32_t vel_page_field_form(size_t field);
extern "C" uint64_t vel_page_field_number(size_t field);
extern "C" double vel_page_field_real(size_t field);
extern "C" const char* vel_page_field_bytes(size_t field);
extern "C" size_t vel_page_field_length(size_t field);
