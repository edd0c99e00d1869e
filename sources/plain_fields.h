// Values of fields as plain text, for the cells of CSV and for brief lines.
#pragma once

#include <profile/fields.h>
#include <sources/output_buffer.h>

#include <string_view>

namespace vel::sources {

// A number in digits, bytes as hexadecimal digits, an action by its name; of a text the characters of its JSON string.
// Printable ASCII always.
void appendPlainField(OutputBuffer& out, const profile::Field& field);

// "0a0b"
void appendHex(OutputBuffer& out, std::string_view bytes);

// Text between quotation marks, those inside it doubled.
void appendCsvQuoted(OutputBuffer& out, std::string_view text);
// The same only if the text would end the cell.
void appendCsvCell(OutputBuffer& out, std::string_view text);

} // namespace vel::sources
