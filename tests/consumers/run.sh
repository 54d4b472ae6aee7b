#!/usr/bin/env bash
# Builds pzvariant plainly (no sanitizers), installs it into a temporary
# prefix, then builds and runs, outside the source tree, a C program found
# through pkg-config and a C++ program found through find_package.
# Usage: run.sh SOURCE_DIR
set -euo pipefail
src=$(cd "$1" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cmake -S "$src" -B "$work/build" -DCMAKE_BUILD_TYPE=Release -DPZ_BUILD_TESTS=OFF \
  -DPZ_BUILD_EXAMPLES=OFF -DCMAKE_INSTALL_PREFIX="$work/prefix" >/dev/null
cmake --build "$work/build" -j 2 >/dev/null
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
readelf -d "$libdir/libpzvariant.so" | grep -q 'SONAME.*libpzvariant.so.0' && echo "SONAME libpzvariant.so.0"
