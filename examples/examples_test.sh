#!/usr/bin/env bash
# Runs every example on sample devices, the two modules from a private copy of the libraries, beside
# whose bundle lie files that name them.   usage: examples_test.sh PROGRAMS LIBRARIES TOOL
set -euo pipefail
programs=$1 libraries=$2 tool=$3
source=$(dirname "$0")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
fail() { echo "FAILED: $*" >&2; exit 1; }

"$tool" sample "$work/device" >/dev/null
"$programs/example_list_accounts" "$work/device" >"$work/out"
grep 'Home \[Mail\]' "$work/out" >/dev/null || fail "list_accounts does not list the account Home"

mail=5A0DE000-0001-4000-8000-000000000001
"$programs/example_edit_account" "$work/device" $mail "New name" >/dev/null || fail "edit_account"
[ "$("$tool" get $mail DisplayName --root "$work/device")" = "New name" ] || fail "the name was not saved"
if "$programs/example_edit_account" "$work/device" none "New name" 2>/dev/null; then
  fail "edit_account edits an account that is not there"
fi

[ "$("$programs/example_listen_to_saves" "$work/device" $mail "Told name")" = "change 1 of $mail" ] ||
  fail "listen_to_saves is not told of its own save"

"$programs/example_watch_accounts" "$work/device" 1 >"$work/watched" &
watcher=$!
until grep -q Watching "$work/watched"; do
  kill -0 $watcher || fail "watch_accounts has ended"
  sleep 0.05
done
"$tool" set $mail DisplayName "Name of another" --root "$work/device" >/dev/null
wait $watcher || fail "watch_accounts"
grep "^change 1 of $mail\$" "$work/watched" >/dev/null || fail "watch_accounts: $(cat "$work/watched")"

"$tool" sample "$work/old" --release oldest >/dev/null
"$programs/example_migrate_myself" "$work/old" >"$work/out" 2>/dev/null || fail "migrate_myself"
grep '^Version 12, 10 accounts$' "$work/out" >/dev/null || fail "migrate_myself: $(cat "$work/out")"

cp -a "$libraries" "$work/lib"
mkdir -p "$work/lib/accountsettings/modules"
cp "$work"/lib/example_*_module.so "$work/lib/accountsettings/modules/"
# What packages of modules bring: a file each in the folder beside the bundle.
cp -r "$source/AccountCreators.d" "$work/lib/accountsettings/"
"$tool" enable $mail Mail --root "$work/device" >/dev/null
LD_LIBRARY_PATH=$work/lib EXAMPLE_NOTIFIER_OUTPUT=$work/heard \
  "$programs/example_use_modules" "$work/device" Mail >"$work/out" || fail "use_modules"
grep '^2 full accounts$' "$work/out" >/dev/null || fail "use_modules: $(cat "$work/out")"
[ "$(cat "$work/heard")" = "1 Mail $mail" ] || fail "the notifier heard: $(cat "$work/heard")"
echo "Every example does what it says."
