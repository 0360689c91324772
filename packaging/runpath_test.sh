#!/usr/bin/env bash
# Sees to it that every program and library in FOLDER names only fixed places where the loader looks for
# libraries: an empty or relative one would be the current folder, where code of anybody's may lie.
# usage: runpath_test.sh FOLDER
set -euo pipefail
found=0 wrong=0
while read -r file; do
  sections=$(readelf -d "$file" 2>/dev/null) || continue
  [[ $sections == *NEEDED* ]] || continue
  found=$((found + 1))
  path=$(sed -n 's/.*(R[UN]*PATH).*\[\(.*\)\]$/\1:/p' <<<"$sections")
  while read -r -d : entry; do
    [[ $entry == /* || $entry == \$ORIGIN || $entry == \$ORIGIN/* ]] && continue
    echo "$file looks for libraries in '$entry'"
    wrong=1
  done <<<"$path"
done < <(find "$1" -name CMakeFiles -prune -o -type f \( -perm -u+x -o -name '*.so*' \) -print)
[ "$found" -gt 0 ] || { echo "there is no program in $1"; exit 1; }
[ "$wrong" -eq 0 ] && echo "$found programs and libraries look in fixed places."
