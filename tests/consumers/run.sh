#!/usr/bin/env bash
# Builds pzvariant the way a new user does (a plain Release build with the
# default options, tests and examples included), installs it into a temporary
# prefix chosen only at install time, then builds and runs outside the source
# tree: a C program found through pkg-config, C++ programs found through
# find_package, a C-only CMake project on the static library. The installed
# tree is then moved, and found again where it lies: the C program through
# pkg-config, the C-only project through find_package and, once the shared
# library is gone, the C program linked statically through pkg-config --static.
# Usage: run.sh SOURCE_DIR
set -euo pipefail
src=$(cd "$1" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cmake -S "$src" -B "$work/build" -DCMAKE_BUILD_TYPE=Release >/dev/null
cmake --build "$work/build" -j 2 >/dev/null
echo "plain Release build: ok"
cmake --install "$work/build" --prefix "$work/prefix" >/dev/null

# Points pkg-config at the tree installed under $1 and checks that it names
# that tree, not the prefix the build was configured with.
use_prefix() {
  prefix="$1"
  libdir=$(dirname "$(find "$prefix" -name pzvariant.pc)")/..
  export PKG_CONFIG_PATH="$libdir/pkgconfig"
  local found
  found=$(cd "$(pkg-config --variable=prefix pzvariant)" && pwd -P)
  [ "$found" = "$(cd "$prefix" && pwd -P)" ] || { echo "pkg-config names $found, not $prefix"; exit 1; }
  [ -f "$(pkg-config --variable=includedir pzvariant)/pzvariant/pz_variant.h" ] || { echo "no header"; exit 1; }
  for f in helgrind.supp tsan.supp; do
    [ -f "$prefix/share/pzvariant/$f" ] || { echo "no share/pzvariant/$f"; exit 1; }
  done
  echo "pkg-config finds the tree at $prefix"
}
use_prefix "$work/prefix"
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

mv "$work/prefix" "$work/moved"
use_prefix "$work/moved"
cc -std=c11 "$src/tests/consumers/consumer.c" -o "$work/consumer_c_moved" $(pkg-config --cflags --libs pzvariant)
LD_LIBRARY_PATH="$libdir" "$work/consumer_c_moved"
cmake -S "$src/tests/consumers/c_only" -B "$work/c_only_moved" -DCMAKE_PREFIX_PATH="$prefix" >/dev/null
cmake --build "$work/c_only_moved" >/dev/null
"$work/c_only_moved/consumer_c_static"

rm "$libdir"/libpzvariant.so*
cc -std=c11 "$src/tests/consumers/consumer.c" -o "$work/consumer_c_static" \
  $(pkg-config --static --cflags --libs pzvariant)
"$work/consumer_c_static"
