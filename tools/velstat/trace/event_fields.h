// A record's fields as the arguments of an event.
#pragma once

#include <profile/layout.h>
#include <sources/output_buffer.h>

#include <cstdint>
#include <string_view>

namespace vel::stat {

// Appends a member such as "key":7.
void appendMember(sources::OutputBuffer& out, std::string_view key, std::uint64_t number);

// Appends the fields of the first layout that the record shows, without fields that repeat others, dumps and `left`;
// then its sequence number.
void appendFields(sources::OutputBuffer& out, const unsigned char* record, const profile::Row* left);

} // namespace vel::stat
