#!/bin/sh
# Every source of ours is formatted as .clang-format says.
set -eu
cd "$1"
find bench examples formats fuzz host platform profile query report sources synthetic TavikVELHIDStatistics tests tools -name '*.h' -o -name '*.cpp' -o -name '*.c' |
  xargs clang-format --dry-run -Werror
