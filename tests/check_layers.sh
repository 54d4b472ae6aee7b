#!/usr/bin/env bash
# A file in src/ includes headers of its own folder, of the folders its layer
# may use, and the public headers (pzvariant/...), nothing else.
#
# The layers come from the table in ARCHITECTURE.md, one row per folder of
# src/: | `folder/` | what it holds | what it may use |. The last cell names the
# folders the layer uses (`io/`, or `core/` and below, or nothing); a layer may
# also use whatever those use. A new layer is one new row there.
# Usage: check_layers.sh PROJECT_DIR
set -euo pipefail
root=${1:-.}
table=$(awk -F'|' '/^\| *`[a-z0-9_]+\/` *\|/ {
    gsub(/[ `\/]/, "", $2); uses = ""
    rest = $(NF - 1)
    while (match(rest, /`[a-z0-9_]+\/`/)) {
      uses = uses " " substr(rest, RSTART + 1, RLENGTH - 3); rest = substr(rest, RSTART + RLENGTH)
    }
    print $2 ":" uses
  }' "$root/ARCHITECTURE.md")
[ -n "$table" ] || { echo "ARCHITECTURE.md: no table of layers (| \`folder/\` | holds | may use |)"; exit 1; }
declare -A uses
while IFS=: read -r layer used; do uses[$layer]=$used; done <<< "$table"

# The folders `layer` may include from: itself and all it uses, to the bottom.
reachable() {
  local todo=("$1") seen=" " l
  while [ ${#todo[@]} -gt 0 ]; do
    l=${todo[0]}; todo=("${todo[@]:1}")
    [[ $seen == *" $l "* ]] && continue
    seen="$seen$l "
    for u in ${uses[$l]:-}; do todo+=("$u"); done
  done
  echo "$seen"
}

status=0
for dir in "$root"/src/*/; do
  layer=$(basename "$dir")
  if [ -z "${uses[$layer]+set}" ]; then
    echo "src/$layer/: no row in ARCHITECTURE.md's table of layers"; status=1; continue
  fi
  for u in ${uses[$layer]}; do
    [ -n "${uses[$u]+set}" ] || { echo "ARCHITECTURE.md: $layer/ uses $u/, which has no row"; status=1; }
  done
  allowed=$(reachable "$layer")
  while IFS=: read -r file line text; do
    target=$(sed -E 's/^[[:space:]]*#[[:space:]]*include[[:space:]]*["<]([^">]*)[">].*/\1/' <<< "$text")
    folder=${target%%/*}
    [ "$folder" = pzvariant ] && continue
    if [ "$folder" = "$target" ] || [ -z "${uses[$folder]+set}" ]; then
      # A system header, or a quoted one that names no layer.
      [[ $text == *'"'* ]] || continue
      echo "${file#"$root"/}:$line: include \"$target\" as \"layer/file.h\" (or pzvariant/...)"; status=1
    elif [[ $allowed != *" $folder "* ]]; then
      echo "${file#"$root"/}:$line: $layer/ may not include $target (see ARCHITECTURE.md)"; status=1
    fi
  done < <(grep -Hn -E '^[[:space:]]*#[[:space:]]*include' "$dir"* || true)
done
[ "$status" = 0 ] && echo "every include in src/ keeps to the layers of ARCHITECTURE.md"
exit "$status"
