// The message of a log line from its format and arguments.
#pragma once

#include <cstdarg>
#include <string>

namespace vel::platform {

// Formats as printf does, with these differences:
//
// - Conversions are d i u x X o c s p f F e E g G a A and %%, with the flags - + # 0 and blank, width, precision, both
//   also as *, and the length modifiers hh h l ll z j t on integers. A width counts up to 4096, and so does the
//   precision of a number.
// - %@ takes a CF object: a string unchanged, a number in decimal, a boolean as true or false, anything else as its
//   type in angle brackets (<CFArray>). Width and precision are not used.
// - Words in braces right after the % are skipped: %{public}s.
// - A null string or object is written as (null), with any precision.
// - Anything else is copied unchanged, and so is the rest of the format, since it is no longer known which argument
//   belongs to which conversion.
std::string formatLog(const char* format, std::va_list arguments);

} // namespace vel::platform
