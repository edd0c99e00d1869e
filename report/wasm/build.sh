#!/bin/sh
# Compiles the decoder's core, its C interface and the page's own functions into one WebAssembly file, which imports
# nothing from its host. Argument: the file to write.
set -eu
here=$(cd "$(dirname "$0")" && pwd)
profile=$here/../../profile
exports=$(sed -n 's/^extern "C".*\b\(vel_page_[a-z_]*\)(.*/-Wl,--export=\1/p' "$here/page_interface.h")
# vel_profile_print, the part of the C interface that needs the operating system, is in another source, which is left
# out.
exec clang++-14 --target=wasm32-wasi -std=c++20 -O3 -msimd128 -flto -DNDEBUG -fno-exceptions -fno-rtti -fvisibility=hidden \
  -ffile-prefix-map="$profile"=profile -Wall -Wextra -Werror \
  -I"$profile/include" -I"$profile/src" \
  -nostartfiles -Wl,--no-entry -Wl,--strip-all -Wl,--gc-sections -Wl,--export=vel_profile_render $exports \
  "$profile"/src/c_interface.cpp "$profile"/src/engine.cpp "$profile"/src/fields.cpp "$profile"/src/layout.cpp \
  "$profile"/src/names.cpp "$profile"/src/render.cpp "$profile"/src/wall_time.cpp "$here"/page_interface.cpp "$here"/c_locale.cpp \
  -o "$1"
