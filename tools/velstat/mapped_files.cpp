// Finds the file that a lost page belonged to. The handler may run at any point of the program, so it allocates nothing
// and calls only what a signal handler may.
#include "velstat/mapped_files.h"

#include <velstat/text/pager.h>

#include <algorithm>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <fcntl.h>
#include <string_view>
#include <unistd.h>

namespace vel::stat {

namespace {

constexpr std::string_view hexDigits = "0123456789abcdef";

// Text that does not fit is dropped.
struct FixedText {
  char characters[16384];
  std::size_t size = 0;

  void add(char c) {
    if (size < sizeof characters) {
      characters[size++] = c;
    }
  }
  void add(std::string_view text) {
    for (const char c : text) {
      add(c);
    }
  }
  void addEscaped(std::string_view text) {
    for (const char c : text) {
      const auto byte = static_cast<unsigned char>(c);
      if (byte >= 0x20 && byte < 0x7F) {
        add(c);
      } else {
        add("\\x");
        add(hexDigits[byte >> 4]);
        add(hexDigits[byte & 0xF]);
      }
    }
  }
  std::string_view view() const { return {characters, size}; }
};

// Removes a hexadecimal number and the character after it from the front of the text; returns the number.
std::uintptr_t takeHex(std::string_view& text) {
  const std::string_view digits = text.substr(0, text.find_first_not_of(hexDigits));
  text.remove_prefix(std::min(digits.size() + 1, text.size()));
  std::uintptr_t number = 0;
  for (const char digit : digits) {
    number = number << 4 | hexDigits.find(digit);
  }
  return number;
}

// The file of a mapping such as "7f0000-7f8000 rw-s 00000000 08:01 42   /tmp/t.sqlite-shm"; empty if the address is not
// in the mapping.
std::string_view mappedFile(std::string_view mapping, std::uintptr_t address) {
  const std::uintptr_t begin = takeHex(mapping);
  const std::uintptr_t end = takeHex(mapping);
  const bool holds = begin <= address && address < end;
  return holds ? mapping.substr(std::min(mapping.find('/'), mapping.size())) : std::string_view();
}

FixedText mappingLine; // not on the stack, which may be small
FixedText reportLine;

void addFileAt(std::uintptr_t address) {
  const int mappings = open("/proc/self/maps", O_RDONLY | O_CLOEXEC);
  char block[4096];
  for (ssize_t size = 0; (size = read(mappings, block, sizeof block)) > 0;) {
    for (const char c : std::string_view(block, static_cast<std::size_t>(size))) {
      if (c != '\n') {
        mappingLine.add(c);
      } else {
        reportLine.addEscaped(mappedFile(mappingLine.view(), address));
        mappingLine.size = 0;
      }
    }
  }
}

void onLostPage(int number, siginfo_t* info, void*) {
  if (info->si_code != BUS_ADRERR) {
    std::signal(number, SIG_DFL);
    std::raise(number); // takes effect when this handler returns
    return;
  }
  reportLine.add("velstat: ");
  const std::size_t named = reportLine.size;
  addFileAt(reinterpret_cast<std::uintptr_t>(info->si_addr));
  reportLine.add(reportLine.size == named ? "a mapped file" : "");
  reportLine.add(": cut short by another program while it was in use: look at what was written before you run this "
                 "again\n");
  endPager();
  static_cast<void>(!write(STDERR_FILENO, reportLine.characters, reportLine.size));
  _exit(1);
}

} // namespace

void reportFilesCutShort() {
  struct sigaction action {};
  action.sa_sigaction = onLostPage;
  action.sa_flags = SA_SIGINFO;
  sigaction(SIGBUS, &action, nullptr);
}

} // namespace vel::stat
