#!/usr/bin/env bash
# Every key that the host's configuration knows stands in its manual page and in FORMATS.md.
# usage: configuration_page_test.sh SOURCE
set -euo pipefail
source=$1
keys=$(grep -oE '"[A-Z][A-Za-z]+"' "$source/host/HostConfiguration.cc" | tr -d '"' | sort -u)
[ "$(wc -w <<<"$keys")" -gt 20 ] || { echo "FAILED: the keys are not found where they are read"; exit 1; }
missing=()
for key in $keys; do
  for page in docs/accountsettings-host.plist.5.in docs/FORMATS.md; do
    grep -qw "$key" "$source/$page" || missing+=("$key ($page)")
  done
done
[ ${#missing[@]} -eq 0 ] || { printf 'FAILED: not documented: %s\n' "${missing[@]}"; exit 1; }
