#!/usr/bin/env bash
# Installs the packages in FOLDER in a copy of this system, uses them, upgrades them to the *.next.deb
# there, and purges them. To be run in a mount namespace of its own, in which everything is dropped.
# usage: unshare -m private_root.sh FOLDER
set -euo pipefail
packages=$1
mount --make-rprivate / && mount -t tmpfs tmpfs /mnt && mkdir /mnt/new /mnt/work /mnt/root &&
  mount -t overlay overlay -o lowerdir=/,upperdir=/mnt/new,workdir=/mnt/work /mnt/root ||
  { echo "no overlay of this system can be made"; exit 77; }
mkdir -p /mnt/root/packages
cp "$packages"/*.deb /mnt/root/packages
in_root() { chroot /mnt/root env DEBIAN_FRONTEND=noninteractive "$@"; }
installed() { in_root dpkg-query -W -f='${Package} ${Version} ${Status}\n' '*accountsettings*'; }
if installed 2>/dev/null | grep ' installed$'; then
  echo "the packages are installed on this system already"
  exit 77
fi

in_root sh -c 'dpkg -i /packages/*_*.deb'
in_root accountsettings sample /device --release oldest
in_root accountsettings migrate --root /device
in_root accountsettings show --root /device | grep 'version 12'
in_root sh -c 'g++ -std=c++20 /usr/share/doc/libaccountsettings-dev/examples/list_accounts.cc \
  -o /list $(pkg-config --cflags --libs accountsettings) && /list /device' | grep '\[Mail\]'

in_root sh -c 'dpkg -i /packages/*.next.deb'
[ "$(installed | grep -c '+next install ok installed')" -eq 3 ]
in_root accountsettings show --root /device | grep 'version 12'
in_root /list /device | grep '\[Mail\]'

in_root dpkg --purge accountsettings libaccountsettings-doc libaccountsettings-dev libaccountsettings1
[ -z "$(installed 2>/dev/null | grep ' installed$')" ]
left=$(find /mnt/new -path /mnt/new/device -prune -o -path /mnt/new/packages -prune -o -type f \
  -iname '*accountsettings*' ! -path '*/var/lib/dpkg/*' ! -path '*/var/log/*' -print)
[ -z "$left" ] || { echo "Left after the purge: $left"; exit 1; }
