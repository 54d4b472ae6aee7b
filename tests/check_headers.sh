#!/usr/bin/env bash
# The public headers stand in layers, and each one stands on its own:
# - no header includes, directly or through others, one that includes it
#   back (tsort names the loop);
# - each compiles as the only include of a file, as a user's first line:
#   a C header as C11 (also with PZ_NO_STDIO, which hides the file
#   functions) and as C++17, a C++ header as C++17.
# Usage: check_headers.sh CC CXX INCLUDE_DIR HEADER...
# (INCLUDE_DIR holds pzvariant/; the headers are paths below it.)
set -euo pipefail
cc=$1 cxx=$2 inc=$(cd "$3" && pwd)
shift 3
status=0

# One line "includer included" per quoted include, paths from INCLUDE_DIR.
edges=$(for header in "$@"; do
  rel=$(realpath -m --relative-to="$inc" "$header")
  sed -n -E 's/^[[:space:]]*#[[:space:]]*include[[:space:]]*"([^"]+)".*/\1/p' "$header" | while read -r target; do
    echo "$rel $(realpath -m --relative-to="$inc" "$(dirname "$header")/$target")"
  done
done)
if ! loop=$(tsort <<< "$edges" 2>&1 >/dev/null) || [ -n "$loop" ]; then
  echo "public headers that include each other:"; echo "$loop"; status=1
fi

# Compiles `#include <HEADER>` alone with the given compiler and flags.
alone() {
  local rel=$1
  shift
  local out
  if ! out=$(echo "#include <$rel>" | "$@" -Wall -Wextra -Werror -pedantic -fsyntax-only -I"$inc" - 2>&1); then
    echo "$rel does not compile alone ($*):"; echo "$out" | head -n 20; status=1
  fi
}
for header in "$@"; do
  rel=$(realpath -m --relative-to="$inc" "$header")
  if [[ $rel == *.h ]]; then
    alone "$rel" "$cc" -std=c11 -x c
    alone "$rel" "$cc" -std=c11 -DPZ_NO_STDIO -x c
  fi
  alone "$rel" "$cxx" -std=c++17 -x c++
done
[ "$status" = 0 ] && echo "$# public headers: no include loop, each compiles alone"
exit "$status"
