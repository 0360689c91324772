#!/usr/bin/env bash
# Joins the pieces of the guide's program, compiles them without a warning, and runs them on a sample
# device.   usage: guide_test.sh INCLUDES LIBRARIES SOURCE COMPILER TOOL
set -euo pipefail
includes=$1 libraries=$2 source=$3 compiler=$4 tool=$5
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
fail() { echo "FAILED: $*" >&2; cat "$work/out" >&2; exit 1; }

sed -n '/^```cpp$/,/^```$/{s/^```.*//;p}' "$source/docs/GUIDE.md" >"$work/guide.cc"
"$compiler" -std=c++20 -Wall -Wextra -Werror -I"$includes" "$work/guide.cc" -o "$work/guide" \
  -L"$libraries" -laccountsettings-host -laccountsettings "-Wl,-rpath,$libraries" >"$work/out" 2>&1 ||
  fail "compiling the guide"

"$tool" sample "$work/device" --release oldest >/dev/null
"$work/guide" "$work/device" >"$work/out" 2>&1 || fail "running the guide's program"
"$tool" show --root "$work/device" | grep -q 'version 12' || fail "the device was not migrated"
grep -q '^added ' "$work/out" || fail "the guide's program did not hear of the new account"
grep -q '^A calendar \[CalDAV\]' "$work/out" || fail "the guide's program does not list the new account"
home=$(sed -n 's/^Home \[Mail\] //p' "$work/out")
"$work/guide" "$work/device" "$home" "My mail" >"$work/out" 2>&1 || fail "editing with the guide's program"
grep -q "^changed $home\$" "$work/out" || fail "the guide's program did not hear of the change"
[ "$("$tool" get "$home" DisplayName --root "$work/device")" = "My mail" ] || fail "the name was not saved"
if "$work/guide" "$work/nowhere" >"$work/out" 2>&1; then fail "the guide's program ran without a root"; fi
grep -q nowhere "$work/out" || fail "the guide's program does not say what is missing"
echo "The guide's program does what the guide says."
