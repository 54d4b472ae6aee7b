#!/usr/bin/env bash
# Every exported function in the public headers carries a doc comment: a
# /** ... */ block right before its declaration, or before the family of
# declarations it belongs to (declarations separated only by blank lines).
# Usage: check_docs.sh HEADER...
set -euo pipefail
status=0
for header in "$@"; do
  awk -v file="$header" '
    function reset() { documented = 0 }
    /^[[:space:]]*\/\*\*/ { in_doc = 1 }
    /^[[:space:]]*\/\*/ && !/^[[:space:]]*\/\*\*/ { in_plain = 1 }
    in_doc || in_plain {
      if ($0 ~ /\*\//) { documented = in_doc; in_doc = 0; in_plain = 0 }
      next
    }
    /^PZ_API / {
      if (!documented) { printf "%s:%d: undocumented: %s\n", file, NR, $0; bad = 1 }
      in_decl = ($0 !~ /;/)
      next
    }
    in_decl { if ($0 ~ /;/) in_decl = 0; next }
    /^[[:space:]]*$/ { next }
    { reset() }
    END { exit bad }
  ' "$header" || status=1
done
[ "$status" = 0 ] && echo "every exported function is documented"
exit "$status"
