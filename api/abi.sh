#!/usr/bin/env bash
# Compares what the interface of the built libraries looks like, types and all, with the last release.
#   api/abi.sh dump BUILD     writes api/abi/LIBRARY.abi.xz; done once for each release
#   api/abi.sh check BUILD    names what an older program would stumble over, and ends with status 1
# BUILD was built with debugging information (preset debug).
set -euo pipefail
[ $# -eq 2 ] || { sed -n '2,5s/^# //p' "$0" >&2; exit 2; }
what=$1 build=$2 dumps=$(dirname "$0")/abi
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
not_run() { echo "NOT RUN: comparison with the last release's interface ($*)"; exit 77; }
libraries=$build/$(sed -n 's/^CMAKE_INSTALL_LIBDIR:[A-Z]*=//p' "$build/CMakeCache.txt")
command -v abidw >/dev/null || not_run "no abidw here; it is in the package abigail-tools"
readelf -S "$libraries/libaccountsettings.so" | grep -F .debug_info >/dev/null ||
  not_run "$build has no debugging information"

# What the plug-in, the host library and the command of the same version share is nobody else's.
printf '[suppress_function]\nsymbol_version_regexp = _PRIVATE$\ndrop = yes\n' >"$work/private"

for library in libaccountsettings libaccountsettings-host; do
  dump=$dumps/$library.abi.xz
  [ "$what" = dump ] || [ -s "$dump" ] || not_run "nothing was released yet"
  abidw --headers-dir "$build/include" --drop-private-types --no-show-locs --no-corpus-path \
    --no-comp-dir-path --suppressions "$work/private" --out-file "$work/now.abi" "$(readlink -f "$libraries/$library.so")"
  if [ "$what" = dump ]; then
    mkdir -p "$dumps"
    xz -9 -c "$work/now.abi" >"$dump"
  else
    xz -dc "$dump" >"$work/then.abi"
    abidiff --no-added-syms "$work/then.abi" "$work/now.abi" || exit 1
  fi
done
