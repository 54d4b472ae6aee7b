#!/usr/bin/env bash
# No two object files of the library need each other, directly or through
# others: each file's undefined symbols, matched with the strong definitions
# of the others (inline functions and templates, defined weakly in every user,
# are no link), give the graph of which file needs which, and tsort finds any
# loop in it.
# Usage: check_link_cycles.sh [--nm NM] OBJECT... (a CMake list is split at ';')
set -euo pipefail
nm=nm
if [ "${1:-}" = --nm ]; then nm=$2; shift 2; fi
objects=()
for arg in "$@"; do IFS=';' read -r -a parts <<< "$arg"; objects+=("${parts[@]}"); done
[ ${#objects[@]} -gt 1 ] || { echo "usage: $0 [--nm NM] OBJECT..."; exit 2; }

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
# The name a file is reported by: its path from src/, when it has one.
name() { local o=${1##*/src/}; echo "${o%.o}"; }
for o in "${objects[@]}"; do
  n=$(name "$o")
  "$nm" --defined-only -g "$o" | awk -v f="$n" 'NF == 3 && $2 ~ /^[TDBRGS]$/ { print $3, f }'
  "$nm" -u "$o" | awk -v f="$n" '$1 == "U" { print $2, f }' >> "$work/needs"
done | sort -k1,1 > "$work/defines"
sort -k1,1 -o "$work/needs" "$work/needs"
# "needer definer" for every symbol a file takes from another.
join "$work/needs" "$work/defines" | awk '$2 != $3 { print $2, $3 }' | sort -u > "$work/edges"
if ! tsort "$work/edges" > /dev/null 2> "$work/loops"; then
  echo "object files that need each other (a link cycle):"
  sed -n 's/^tsort: \([^ ]*\)$/  \1/p' "$work/loops"
  exit 1
fi
echo "no link cycle among ${#objects[@]} object files ($(wc -l < "$work/edges") links)"
