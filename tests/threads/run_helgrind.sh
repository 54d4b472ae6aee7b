#!/usr/bin/env bash
# Runs a program under valgrind's helgrind and fails on any report it makes.
# Skips (exit 77) where valgrind is not installed.
# Usage: run_helgrind.sh [VALGRIND OPTIONS...] PROGRAM [ARGS...]
set -u
if ! command -v valgrind >/dev/null 2>&1; then
  echo "valgrind is not installed: skipped"
  exit 77
fi
exec valgrind --tool=helgrind --error-exitcode=1 -q "$@"
