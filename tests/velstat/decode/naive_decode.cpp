// Records from the standard input as text to the standard output, the naive way: the other side of `velstat decode`.
// Arguments: the two readings of --timesync and the boot time, or none.
#include "support/naive_profile.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

int main(int argc, char** argv) {
  unsigned char record[48];
  while (std::fread(record, sizeof record, 1, stdin) == 1) {
    naive::Times times;
    if (argc == 4) {
      std::uint64_t timestamp = 0;
      std::memcpy(&timestamp, record + 8, sizeof timestamp);
      times.wall = naive::wall_time(timestamp, std::strtoll(argv[1], nullptr, 10), std::strtoll(argv[2], nullptr, 10));
      times.boot = std::strtoull(argv[3], nullptr, 10);
    }
    const std::string text = naive::to_string(record, times) + '\n';
    if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size()) {
      return 1;
    }
  }
  return 0;
}
