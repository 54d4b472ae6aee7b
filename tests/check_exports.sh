#!/usr/bin/env bash
# The shared library exports exactly the functions that the installed headers
# declare with PZ_API: nothing internal leaks out, nothing public is missing.
# And it calls no operator new, in any form: every block comes from
# HAL_Malloc, so that a port's allocator sees them all and no std::bad_alloc
# can cross the C interface.
# Usage: check_exports.sh LIBRARY HEADER...
set -euo pipefail
lib=$1
shift
exported=$(nm -D --defined-only "$lib" | awk 'NF == 3 { print $3 }' | grep -v -E '^(_init|_fini)$' | sort -u)
declared=$(grep -h -E '^PZ_API ' "$@" | sed -E 's/^PZ_API [^(]*[ *]([A-Za-z_][A-Za-z0-9_]*)\(.*/\1/' | sort -u)
if ! diff <(echo "$declared") <(echo "$exported") >/tmp/pz_exports.$$; then
  echo "exports differ from the public headers (< declared only, > exported only):"
  cat /tmp/pz_exports.$$
  rm -f /tmp/pz_exports.$$
  exit 1
fi
rm -f /tmp/pz_exports.$$
if nm -D --undefined-only "$lib" | grep -E ' _Zn[wa]'; then
  echo "the library calls operator new"
  exit 1
fi
echo "exports match: $(echo "$exported" | wc -l) functions"
