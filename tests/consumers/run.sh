#!/usr/bin/env bash
# Builds pzvariant the way a new user does (a plain Release build with the
# default options, tests and examples included), installs it into a temporary
# prefix, then builds and runs outside the source tree: a C program found
# through pkg-config, C++ programs found through find_package, a C-only CMake
# project on the static library, and, once the shared library is gone, the C
# program linked statically through pkg-config --static.
# Usage: run.sh SOURCE_DIR
set -euo pipefail
src=$(cd "$1" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cmake -S "$src" -B "$work/build" -DCMAKE_BUILD_TYPE=Release -DCMAKE_INSTALL_PREFIX="$work/prefix" >/dev/null
cmake --build "$work/build" -j 2 >/dev/null
echo "plain Release build: ok"
cmake --install "$work/build" >/dev/null

prefix="$work/prefix"
libdir=$(dirname "$(find "$prefix" -name pzvariant.pc)")/..
export PKG_CONFIG_PATH="$libdir/pkgconfig"
cc -std=c11 -Wall -Wextra -Werror "$src/tests/consumers/consumer.c" -o "$work/consumer_c" \
  $(pkg-config --cflags --libs pzvariant)
LD_LIBRARY_PATH="$libdir" "$work/consumer_c"
# Only <pzvariant/...> is reachable: the generic names clash with nothing.
for h in pz_variant.h basictypes.h hal/pz_hal.h; do
  if echo "#include <$h>" | cc -E $(pkg-config --cflags pzvariant) -x c - >/dev/null 2>&1; then
    echo "<$h> is reachable without pzvariant/"; exit 1
  fi
done

cmake -S "$src/tests/consumers" -B "$work/consumer" -DCMAKE_PREFIX_PATH="$prefix" >/dev/null
cmake --build "$work/consumer" -j 2 >/dev/null
"$work/consumer/consumer_cpp"
"$work/consumer/consumer_cpp_static"
cmake -S "$src/tests/consumers/c_only" -B "$work/c_only" -DCMAKE_PREFIX_PATH="$prefix" >/dev/null
cmake --build "$work/c_only" >/dev/null
"$work/c_only/consumer_c_static"
readelf -d "$libdir/libpzvariant.so" | grep -q 'SONAME.*libpzvariant.so.0' && echo "SONAME libpzvariant.so.0"

rm "$libdir"/libpzvariant.so*
cc -std=c11 "$src/tests/consumers/consumer.c" -o "$work/consumer_c_static" \
  $(pkg-config --static --cflags --libs pzvariant)
"$work/consumer_c_static"
