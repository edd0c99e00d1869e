// The walk over a log format. Each conversion is read from the format, rebuilt from its parts, and passed to snprintf
// with one argument of the type that it names.
#include "services/log/format.h"

#include "cf/number.h"
#include "cf/object.h"
#include <control/cf.h>

#include <CoreFoundation/CoreFoundation.h>

#include <fmt/format.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <limits>
#include <string_view>

namespace vel::platform {
namespace {

constexpr int mostWidth = 4096; // wider padding is of no use in a log line

// In a struct, because va_list may be an array type, and all functions must advance the same list.
struct Arguments {
  std::va_list list;
};

struct Conversion {
  std::string flags;
  int width = 0;
  int precision = -1; // none
  std::string length;
  char type = 0;
};

// Reads parts of the format, one after another.
class Reader {
public:
  explicit Reader(const char* at) : at_(at) {}

  const char* at() const { return at_; }
  char take() { return *at_ == '\0' ? '\0' : *at_++; }

  bool skip(char wanted) {
    const bool found = *at_ == wanted;
    at_ += found ? 1 : 0;
    return found;
  }

  // The longest run of `accepted` characters.
  std::string run(const char* accepted) {
    const char* const start = at_;
    at_ += std::strspn(at_, accepted);
    return {start, at_};
  }

  // Reads decimal digits; a number that does not fit an int becomes the largest int.
  int number() {
    std::int64_t value = 0;
    for (; *at_ >= '0' && *at_ <= '9'; ++at_) {
      value = std::min<std::int64_t>(value * 10 + (*at_ - '0'), std::numeric_limits<int>::max());
    }
    return static_cast<int>(value);
  }

private:
  const char* at_;
};

bool oneOf(char c, std::string_view accepted) {
  return accepted.find(c) != std::string_view::npos;
}

// Whether the conversion's type is supported with its length modifier. Checked before any argument is used.
bool isKnown(const Conversion& conversion) {
  if (oneOf(conversion.type, "diuxXo")) {
    constexpr std::string_view lengths[] = {"", "hh", "h", "l", "ll", "z", "j", "t"};
    return std::find(std::begin(lengths), std::end(lengths), conversion.length) != std::end(lengths);
  }
  if (oneOf(conversion.type, "fFeEgGaA")) {
    return conversion.length.empty() || conversion.length == "l"; // l changes nothing here
  }
  return conversion.length.empty() && oneOf(conversion.type, "csp@%");
}

template <class T>
void append(std::string& out, const Conversion& conversion, T value) {
  std::string format = "%" + conversion.flags + "*";
  const bool precise = conversion.precision >= 0;
  format += precise ? ".*" : "";
  format += conversion.length + conversion.type;
  const auto print = [&](char* to, std::size_t size) {
#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Wformat-nonliteral" // built above, for one argument of this type
    return precise ? std::snprintf(to, size, format.c_str(), conversion.width, conversion.precision, value)
                   : std::snprintf(to, size, format.c_str(), conversion.width, value);
#pragma clang diagnostic pop
  };
  const int length = print(nullptr, 0);
  if (length > 0) {
    const auto start = out.size();
    out.resize(start + static_cast<std::size_t>(length) + 1);
    print(out.data() + start, static_cast<std::size_t>(length) + 1);
    out.pop_back();
  }
}

void appendInteger(std::string& out, const Conversion& conversion, Arguments& arguments) {
  const auto& length = conversion.length;
  // NOLINTNEXTLINE(bugprone-branch-clone): types that are the same here may differ on other platforms
  if (length == "l") {
    append(out, conversion, va_arg(arguments.list, long));
  } else if (length == "ll") {
    append(out, conversion, va_arg(arguments.list, long long));
  } else if (length == "z") {
    append(out, conversion, va_arg(arguments.list, std::size_t));
  } else if (length == "j") {
    append(out, conversion, va_arg(arguments.list, std::intmax_t));
  } else if (length == "t") {
    append(out, conversion, va_arg(arguments.list, std::ptrdiff_t));
  } else {
    append(out, conversion, va_arg(arguments.list, int)); // hh and h are cut by snprintf
  }
}

std::string describeObject(CFTypeRef reference) {
  if (reference == nullptr) {
    return "(null)";
  }
  const auto& object = objectAt(reference, "os_log_with_type");
  if (CFGetTypeID(reference) == CFStringGetTypeID()) {
    return control::utf8(static_cast<CFStringRef>(reference));
  }
  if (const auto* const number = as<CFNumberObject>(object)) {
    return number->isReal() ? fmt::format("{}", number->real()) : fmt::format("{}", number->integer());
  }
  if (const auto* const boolean = as<CFBooleanObject>(object)) {
    return boolean->value ? "true" : "false";
  }
  return "<" + std::string(object.type().name()) + ">";
}

void appendArgument(std::string& out, Conversion& conversion, Arguments& arguments) {
  if (oneOf(conversion.type, "fFeEgGaA")) {
    append(out, conversion, va_arg(arguments.list, double));
  } else if (conversion.type == 'c') {
    append(out, conversion, va_arg(arguments.list, int));
  } else if (conversion.type == 's') {
    const char* text = va_arg(arguments.list, const char*);
    if (text == nullptr) {
      text = "(null)";
      conversion.precision = -1;
    }
    append(out, conversion, text);
  } else if (conversion.type == 'p') {
    append(out, conversion, va_arg(arguments.list, void*));
  } else if (conversion.type == '@') {
    out += describeObject(va_arg(arguments.list, CFTypeRef));
  } else {
    appendInteger(out, conversion, arguments);
  }
}

// Writes the conversion that begins after a %. False, with no argument used, if it is not supported.
bool convert(std::string& out, Reader& reader, Arguments& arguments) {
  if (reader.skip('{')) {
    while (!reader.skip('}')) {
      if (reader.take() == '\0') {
        return false;
      }
    }
  }
  Conversion conversion;
  conversion.flags = reader.run("-+ #0");
  const bool starWidth = reader.skip('*');
  conversion.width = starWidth ? 0 : reader.number();
  bool starPrecision = false;
  if (reader.skip('.')) {
    starPrecision = reader.skip('*');
    conversion.precision = starPrecision ? -1 : reader.number();
  }
  conversion.length = reader.run("hlzjt");
  conversion.type = reader.take();
  if (!isKnown(conversion)) {
    return false;
  }
  if (conversion.type == '%') {
    out += '%';
    return true;
  }
  if (starWidth) {
    conversion.width = va_arg(arguments.list, int);
  }
  if (starPrecision) {
    conversion.precision = va_arg(arguments.list, int);
  }
  conversion.width = std::clamp(conversion.width, -mostWidth, mostWidth);
  if (conversion.type != 's') { // a string's precision only shortens it
    conversion.precision = std::min(conversion.precision, mostWidth);
  }
  appendArgument(out, conversion, arguments);
  return true;
}

} // namespace

std::string formatLog(const char* format, std::va_list list) {
  Arguments arguments;
  va_copy(arguments.list, list);
  std::string out;
  Reader reader(format);
  while (*reader.at() != '\0') {
    const char* const start = reader.at();
    const char c = reader.take();
    if (c != '%') {
      out += c;
    } else if (!convert(out, reader, arguments)) {
      out += start;
      break;
    }
  }
  va_end(arguments.list);
  return out;
}

} // namespace vel::platform
