#!/bin/sh
# Compiles the decoder's core, its C interface and what the page asks besides into one WebAssembly file, which needs
# nothing from its host. Argument: the file.
set -eu
here=$(cd "$(dirname "$0")" && pwd)
profile=$here/../../profile
exports=$(sed -n 's/^extern "C".*\b\(vel_page_[a-z_]*\)(.*/-Wl,--export=\1/p' "$here/page_interface.h")
# The part of the C interface that asks the operating system, vel_profile_print, has a source of its own.
exec clang++-14 --target=wasm32-wasi -std=c++20 -O3 -msimd128 -flto -DNDEBUG -fno-exceptions -fno-rtti -fvisibility=hidden \
  -ffile-prefix-map="$profile"=profile -Wall -Wextra -Werror \
  -I"$profile/include" -I"$profile/src" \
  -nostartfiles -Wl,--no-entry -Wl,--strip-all -Wl,--gc-sections -Wl,--export=vel_profile_render $exports \
  "$profile"/src/c_interface.cpp "$profile"/src/engine.cpp "$profile"/src/fields.cpp "$profile"/src/layout.cpp \
  "$profile"/src/names.cpp "$profile"/src/render.cpp "$profile"/src/wall_time.cpp "$here"/page_interface.cpp "$here"/c_locale.cpp \
  -o "$1"
