#!/usr/bin/env bash
# Every exported function in the public headers carries a doc comment: a
# /** ... */ block right before its declaration, or before the family of
# declarations it belongs to (declarations separated only by blank lines).
# C++ headers (.hpp) are read by doxygen, which names each public member,
# class or function without a description.
# Usage: check_docs.sh HEADER...
set -euo pipefail
status=0
cpp_headers=()
for header in "$@"; do
  if [[ $header == *.hpp ]]; then
    cpp_headers+=("$header")
    continue
  fi
  awk -v file="$header" '
    function reset() { documented = 0 }
    /^[[:space:]]*\/\*\*/ { in_doc = 1; marker = ($0 ~ /^[[:space:]]*\/\*\*[[:space:]]*@(\{|\}|name|defgroup)/) }
    /^[[:space:]]*\/\*/ && !/^[[:space:]]*\/\*\*/ { in_plain = 1 }
    in_doc || in_plain {
      # A group marker (@{, @}, @name, @defgroup) documents no function.
      if ($0 ~ /\*\//) { documented = in_doc && !marker; in_doc = 0; in_plain = 0 }
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
if [ ${#cpp_headers[@]} -gt 0 ]; then
  command -v doxygen >/dev/null || { echo "doxygen is needed to check ${cpp_headers[*]}"; exit 1; }
  out=$(mktemp -d)
  trap 'rm -rf "$out"' EXIT
  undocumented=$(printf '%s\n' "INPUT = ${cpp_headers[*]}" "OUTPUT_DIRECTORY = $out" \
      "GENERATE_HTML = NO" "GENERATE_LATEX = NO" "GENERATE_XML = YES" "QUIET = YES" \
      "EXTRACT_ALL = NO" "WARN_IF_UNDOCUMENTED = YES" "ENABLE_PREPROCESSING = YES" \
      "MACRO_EXPANSION = YES" "PREDEFINED = PZ_API= __cplusplus=202002L" |
    doxygen - 2>&1 | grep -i 'not documented' || true)
  if [ -n "$undocumented" ]; then
    echo "$undocumented"
    status=1
  fi
fi
[ "$status" = 0 ] && echo "every exported function and public C++ member is documented"
exit "$status"
