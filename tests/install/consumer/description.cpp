// An outside program: the text of one record as a CoreFoundation string, from standard input.
#include <profile/profile_description.h>

#include <cstdio>
#include <vector>

int main() {
  _VelProfileReport report;
  if (std::fread(&report, sizeof report, 1, stdin) != 1) {
    return 1;
  }
  const CFStringRef text = CopyProfileDescription(&report);
  if (text == nullptr) {
    return 1;
  }
  std::vector<char> bytes(static_cast<std::size_t>(CFStringGetLength(text)) * 4 + 1);
  const bool copied = CFStringGetCString(text, bytes.data(), static_cast<CFIndex>(bytes.size()), kCFStringEncodingUTF8);
  CFRelease(text);
  if (!copied) {
    return 1;
  }
  std::puts(bytes.data());
  vel_profile_print(&report);
  return 0;
}
