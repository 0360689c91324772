#!/usr/bin/env bash
# systemd reads the unit without a complaint and finds it well enough locked in; the migration ends
# before a shutdown, and a failed one shows.   usage: unit_test.sh TOOL UNIT
set -euo pipefail
tool=$1 unit=$2
command -v systemd-analyze >/dev/null || { echo "NOT RUN: the unit (no systemd-analyze here)"; exit 77; }
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
fail() { echo "FAILED: $*" >&2; exit 1; }

# Where it is built, the command has another place than where it is installed.
sed "s|^ExecStart=accountsettings |ExecStart=$tool |" "$unit" >"$work/${unit##*/}"
systemd-analyze --man=no verify "$work/${unit##*/}" >"$work/out" 2>&1 || { cat "$work/out"; fail "the unit"; }
[ ! -s "$work/out" ] || { cat "$work/out"; fail "systemd warns of the unit"; }
# Exposure in tenths, of 100; below 50 systemd calls it "OK".
systemd-analyze security --offline=true --threshold=30 "$work/${unit##*/}" >"$work/out" ||
  { tail -1 "$work/out"; fail "the unit is open to more than it needs"; }

has() { grep -x -e "$1" "$unit" >/dev/null || fail "the unit has no line $1"; }
has 'Conflicts=shutdown.target'
has 'Before=shutdown.target'
has 'ConditionPathExistsGlob=|/var/mobile/Library/Preferences/.accountsettings-\*.tmp'
has 'EnvironmentFile=-/etc/default/accountsettings'
grep '^ExecStart=accountsettings migrate .*\$OPTIONS$' "$unit" >/dev/null || fail "the site's options"
! grep '^SuccessExitStatus=' "$unit" || fail "a failed migration counts as a good one"
echo "The unit is as it should be."
