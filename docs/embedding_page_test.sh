#!/usr/bin/env bash
# The page for device makers says of every service of a Platform what it must promise and what
# happens when it fails.   usage: embedding_page_test.sh SOURCE
set -euo pipefail
page=$1/docs/EMBEDDING.md
services=$(sed -n 's/^  \([A-Z][A-Za-z]*\)& .*/\1/p' "$1/platform/Platform.h")
[ "$(wc -w <<<"$services")" -gt 15 ] || { echo "FAILED: Platform.h is not understood" >&2; exit 1; }
for service in $services; do
  grep "^| .*\`$service\`.* | .* |" "$page" >/dev/null || { echo "FAILED: no row for $service" >&2; exit 1; }
done
echo "Every service has its row."
