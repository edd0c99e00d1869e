// Finds result codes in the log lines of failed checks: "…: AssertMacros: EXPRESSION, MESSAGE file: …, line: N
// value:X".
#include "host/handler_run.h"

#include <mach/mach_error.h>

#include <charconv>
#include <string_view>

namespace vel::host {

namespace {

constexpr std::string_view beginning = "AssertMacros: ";
constexpr std::string_view valueKey = " value:";

std::uint32_t valueOf(std::string_view message) {
  const std::size_t at = message.rfind(valueKey);
  std::uint32_t value = 0;
  if (at != std::string_view::npos) {
    const char* const begin = message.data() + at + valueKey.size();
    std::from_chars(begin, message.data() + message.size(), value, 16);
  }
  return value;
}

} // namespace

void explain(HandlerRun& run, std::span<const control::LogLine> lines) {
  for (const control::LogLine& line : lines) {
    const std::string_view message = line.message;
    const std::size_t at = message.find(beginning);
    if (at == std::string_view::npos) {
      continue;
    }
    if (const std::uint32_t value = valueOf(message)) {
      const char* const words = mach_error_string(static_cast<mach_error_t>(value));
      run.result = value;
      run.resultText = words != nullptr ? words : "an unknown result";
      return;
    }
    if (run.resultText.empty()) {
      const std::string_view expression = message.substr(at + beginning.size());
      run.resultText = "failed: " + std::string(expression.substr(0, expression.find(", ")));
    }
  }
  if (run.resultText.empty()) {
    run.resultText = "nothing to report";
  }
}

} // namespace vel::host
