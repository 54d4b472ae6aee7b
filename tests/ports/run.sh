#!/usr/bin/env bash
# Cross-builds GoogleTest (from Debian's sources), the library and its test
# suite for one target under UndefinedBehaviorSanitizer, then runs the suite
# and the C program under qemu-user.
# Usage: run.sh SOURCE_DIR BUILD_DIR TARGET [CMAKE_OPTION...]
# (TARGET: a file in cmake/toolchains)
set -euo pipefail
src=$(cd "$1" && pwd)
build=$(mkdir -p "$2" && cd "$2" && pwd)
target=$3
shift 3
toolchain="$src/cmake/toolchains/$target.cmake"
jobs=${JOBS:-2}
gtest="$build/googletest"
if [ ! -f "$gtest/prefix/.done" ]; then
  cmake -S /usr/src/googletest -B "$gtest/build" -DCMAKE_TOOLCHAIN_FILE="$toolchain" \
    -DCMAKE_BUILD_TYPE=Release -DCMAKE_INSTALL_PREFIX="$gtest/prefix" -DBUILD_GMOCK=OFF >/dev/null
  cmake --build "$gtest/build" -j "$jobs" >/dev/null
  cmake --install "$gtest/build" >/dev/null
  touch "$gtest/prefix/.done"
fi
gtest_dir=$(dirname "$(find "$gtest/prefix" -name GTestConfig.cmake)")
cmake -S "$src" -B "$build/pz" -DCMAKE_TOOLCHAIN_FILE="$toolchain" -DCMAKE_BUILD_TYPE=Debug \
  -DPZ_UBSAN=ON -DPZ_WERROR=ON -DPZ_BUILD_EXAMPLES=OFF -DGTest_DIR="$gtest_dir" "$@" >/dev/null
cmake --build "$build/pz" --target pz_tests pz_c_consumer -j "$jobs" > "$build/build.log" 2>&1 ||
  { tail -n 60 "$build/build.log"; exit 1; }
emulator=$(sed -n 's/^set(PZ_CROSS_QEMU \(.*\))$/\1/p' "$toolchain")
export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
echo "== $target${*:+ $*}: the suite under $emulator"
"$emulator" "$build/pz/tests/pz_tests" --gtest_brief=1 --gtest_filter=-Slow*
"$emulator" "$build/pz/tests/pz_c_consumer"
