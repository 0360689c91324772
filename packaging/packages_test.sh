#!/usr/bin/env bash
# Makes the Debian packages of the built tree, lets lintian judge them, and uses what they hold: the
# command, the plug-in, the libraries, the headers, the CMake package and the pkg-config file, unpacked
# into an empty folder. Then it installs, upgrades and purges them in a private copy of this system.
# usage: packages_test.sh BUILD SOURCE COMPILER
set -euo pipefail
build=$1 source=$2 compiler=$3
for program in dpkg-deb dh pkg-config readelf nm; do
  command -v "$program" >/dev/null || { echo "NOT RUN: packages (no $program here)"; exit 77; }
done
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
fail() { echo "FAILED: $*" >&2; exit 1; }
not_run() { echo "NOT RUN: $*"; }

# Where libraries go is for whoever builds to say, as a distribution does.
cmake -S "$source" -B "$work/elsewhere" -DCMAKE_CXX_COMPILER="$compiler" -DAS_BUILD_TESTS=OFF \
  -DCMAKE_INSTALL_LIBDIR=lib/elsewhere >"$work/log" 2>&1 || { cat "$work/log"; fail "configuring"; }
grep '"${CMAKE_INSTALL_PREFIX}/lib/elsewhere"' "$work/elsewhere/cmake_install.cmake" >/dev/null ||
  fail "libraries do not go where they are told"

# The packages, made without touching the sources and without building anything twice.
if command -v doxygen >/dev/null; then
  cmake --build "$build" --target reference >"$work/log" 2>&1 || { cat "$work/log"; fail "the reference"; }
else
  not_run "the package of the reference (no doxygen here)"
fi
mkdir "$work/source"
cp -r "$source/debian" "$source/CHANGELOG.md" "$work/source"
(cd "$work/source" && BUILT=$build DEB_BUILD_OPTIONS=noautodbgsym debian/rules binary) >"$work/log" 2>&1 ||
  { cat "$work/log"; fail "making the packages"; }

# lintian finds nothing but that no licence has been chosen yet, for which the copyright file waits.
if command -v lintian >/dev/null; then
  lintian --allow-root --tag-display-limit 0 "$work"/*.deb >"$work/lintian" || true
  grep '^[EW]:' "$work/lintian" | grep -v ' no-copyright-file$' && fail "lintian"
  [ ! -e "$source/debian/copyright" ] || ! grep no-copyright-file "$work/lintian" || fail "the copyright file"
else
  not_run "lintian over the packages (no lintian here)"
fi

# All of them, unpacked side by side under one root.
mkdir "$work/root"
for package in accountsettings libaccountsettings1 libaccountsettings-dev libaccountsettings-doc; do
  file=$(ls "$work/$package"_*.deb) || fail "no package $package"
  dpkg-deb -x "$file" "$work/root"
done
dpkg-deb --ctrl-tarfile "$work"/libaccountsettings1_*.deb | tar -t >"$work/log"
grep -q shlibs "$work/log" && grep -q symbols "$work/log" || fail "shlibs and symbols are not in the package"
usr=$work/root/usr
library=$(find "$usr" -name 'libaccountsettings.so.1')
libdir=$(dirname "$library")
tool=$usr/bin/accountsettings
[ "$libdir" = "$usr/lib/$(dpkg-architecture -qDEB_HOST_MULTIARCH)" ] || fail "the libraries are in $libdir"
for each in bin/accountsettings ../lib/systemd/system/accountsettings-migrate.service \
  share/bash-completion/completions/accountsettings share/zsh/vendor-completions/_accountsettings \
  share/fish/vendor_completions.d/accountsettings.fish share/accountsettings/schema \
  share/man/man1/accountsettings.1.gz share/man/man3/libaccountsettings.3.gz \
  share/man/man5/accountsettings-host.plist.5.gz share/doc/libaccountsettings-dev/examples/list_accounts.cc \
  share/doc/libaccountsettings-doc/GUIDE.md; do
  [ -s "$usr/$each" ] || fail "$each is not in the packages"
done
gzip -cd "$usr/share/man/man1/accountsettings.1.gz" | cmp - "$build/accountsettings.1" || fail "the manual page"

# The service names the command so that it is found wherever an installation puts it.
grep '^ExecStart=accountsettings migrate ' "$work/root/lib/systemd/system/accountsettings-migrate.service" >/dev/null ||
  fail "the service names a path"

# Nothing but the C++ standard library and libc is needed by the library and the plug-in.
for each in "$library" "$libdir/accountsettings/Ferrant.migrator/AccountsDataMigrator.so"; do
  readelf -d "$each" | sed -n 's/.*NEEDED.*\[\(.*\)\]/\1/p' |
    grep -v -e '^libaccountsettings\.so\.1$' -e '^libstdc++\.so' -e '^libgcc_s\.so' \
      -e '^libc\.so' -e '^libm\.so' -e '^ld-linux' && fail "$each needs more than it may"
done

# Libraries, plug-in and command are hardened as the distribution wants it.
for each in "$library" "$libdir/libaccountsettings-host.so.1" \
  "$libdir/accountsettings/Ferrant.migrator/AccountsDataMigrator.so" "$tool"; do
  readelf -Wld "$each" >"$work/log"
  grep GNU_RELRO "$work/log" >/dev/null && grep NOW "$work/log" >/dev/null || fail "$each is not bound at once"
  nm -D --undefined-only "$each" | grep __stack_chk_fail >/dev/null || fail "$each has no stack protector"
done
readelf -h "$tool" | grep 'DYN' >/dev/null || fail "the command is at a fixed address"

# In the system's own folders the loader knows where libraries are, and is told of no other place.
if find "$usr/bin" "$libdir" -type f -exec readelf -d {} + 2>/dev/null | grep 'R[UN]*PATH)'; then
  fail "the packages tell the loader where to look"
fi
# Beneath another prefix the command finds its library without the loader's index.
cmake --install "$build" --prefix "$work/prefix" >"$work/log" || { cat "$work/log"; fail "installing"; }
"$source/packaging/runpath_test.sh" "$work/prefix" || fail "where the loader looks"
"$work/prefix/bin/accountsettings" --version || fail "the command beneath a prefix"

# The command works from where it was unpacked, with the bundle that lies beside the library.
export LD_LIBRARY_PATH=$libdir
"$tool" --version
"$tool" sample "$work/device" --release oldest >/dev/null
"$tool" migrate --root "$work/device" >/dev/null || fail "migrate from the unpacked package"
"$tool" show --root "$work/device" | grep 'version 12' >/dev/null || fail "the device was not migrated"

# A project of its own finds, builds and runs against the package.
cmake -S "$usr/share/doc/libaccountsettings-dev/examples" -B "$work/examples" -DCMAKE_CXX_COMPILER="$compiler" \
  -DCMAKE_PREFIX_PATH="$usr" >"$work/log" 2>&1 || { cat "$work/log"; fail "find_package"; }
cmake --build "$work/examples" -j 2 >"$work/log" 2>&1 || { cat "$work/log"; fail "building the examples"; }
"$work/examples/example_list_accounts" "$work/device" | grep . >/dev/null || fail "list_accounts printed nothing"
if [ -x "$work/examples/example_own_platform" ]; then
  "$work/examples/example_own_platform" >"$work/log" || { cat "$work/log"; fail "a platform of one's own"; }
else
  not_run "the conformance suite over a platform of one's own (no GoogleTest here)"
fi

# So does the program that the README shows, without a warning. It says what is missing.
mkdir "$work/readme"
sed -n '/^```cmake$/,/^```$/{/^```/!p}' "$source/README.md" >"$work/readme/CMakeLists.txt"
sed -n '/^```cpp$/,/^```$/{/^```/!p}' "$source/README.md" >"$work/readme/program.cc"
{ cmake -S "$work/readme" -B "$work/readme" -DCMAKE_CXX_COMPILER="$compiler" \
    -DCMAKE_CXX_FLAGS="-Wall -Wextra -Werror" -DCMAKE_PREFIX_PATH="$usr" &&
  cmake --build "$work/readme"; } >"$work/log" 2>&1 ||
  { cat "$work/log"; fail "building the README's program"; }
(cd "$work" && readme/program) | grep '^CalDAV$' >/dev/null || fail "the README's program printed no type"
if (cd "$work/readme" && ./program) 2>"$work/log"; then fail "the README's program found a root"; fi
grep 'device' "$work/log" >/dev/null || fail "the README's program does not say that the root is missing"

# A component that there is not is refused by name.
sed 's/COMPONENTS host/COMPONENTS host bus/' "$work/readme/CMakeLists.txt" >"$work/log" &&
  mkdir "$work/component" && mv "$work/log" "$work/component/CMakeLists.txt"
if cmake -S "$work/component" -B "$work/component" -DCMAKE_PREFIX_PATH="$usr" >"$work/log" 2>&1; then
  fail "find_package found a component that there is not"
fi
grep 'bus' "$work/log" >/dev/null || { cat "$work/log"; fail "find_package does not name the component"; }

# The same through pkg-config.
flags=$(PKG_CONFIG_PATH="$libdir/pkgconfig" pkg-config --cflags --libs accountsettings)
# shellcheck disable=SC2086 - the flags are words
"$compiler" "$source/examples/list_accounts.cc" -o "$work/by_pkg_config" $flags \
  "-Wl,-rpath,$libdir" || fail "building with pkg-config"
"$work/by_pkg_config" "$work/device" | grep . >/dev/null || fail "the pkg-config build printed nothing"

# The include path that is handed out holds nothing but accountsettings/.
[ "$(ls "$usr/include")" = accountsettings ] || fail "the include path holds more than accountsettings/"

# No header of a program's own is taken for one of them or hides one, whichever folder comes first.
mkdir "$work/own"
find "$usr/include/accountsettings" -mindepth 2 -name '*.h' -printf '%P\n' | sort >"$work/list"
[ "$(wc -l <"$work/list")" -gt 30 ] || fail "headers are missing"
echo '#include <accountsettings/accountsettings.h>' >"$work/all.cc"
while read -r header; do
  name=${header//[\/.]/_}
  mkdir -p "$work/own/${header%/*}"
  echo "#define OWN_$name" >"$work/own/$header"
  printf '#include <accountsettings/%s>\n#include "%s"\n#ifndef OWN_%s\n#error not the own one\n#endif\n' \
    "$header" "$header" "$name" >>"$work/all.cc"
done <"$work/list"
for order in "-I$usr/include -I$work/own" "-I$work/own -I$usr/include"; do
  # shellcheck disable=SC2086 - the order is two words
  "$compiler" -std=c++20 -fsyntax-only -Wall -Wextra -Werror $order "$work/all.cc" ||
    fail "headers of a program's own are in the way ($order)"
done

# Installed, used, upgraded and purged in a private copy of this system, of which nothing stays.
if [ "$(id -u)" -ne 0 ] || ! unshare -m true 2>/dev/null; then
  not_run "installing, upgrading and purging the packages (no right to a private root)"
else
  cp "$work"/*.deb "$work/root"
  for package in accountsettings libaccountsettings1 libaccountsettings-dev; do
    dpkg-deb -R "$work/$package"_*.deb "$work/next"
    sed -i -E 's/^Version: .*/&+next/; s/\(= [^)]*/&+next/' "$work/next/DEBIAN/control"
    dpkg-deb --root-owner-group -b "$work/next" "$work/root/$package.next.deb" >/dev/null
    rm -rf "$work/next"
  done
  unshare -m "$(dirname "$0")/private_root.sh" "$work/root" >"$work/log" 2>&1 || status=$?
  if [ "${status:-0}" -eq 77 ]; then
    not_run "installing, upgrading and purging the packages ($(tail -1 "$work/log"))"
  elif [ "${status:-0}" -ne 0 ]; then
    cat "$work/log"
    fail "installing, upgrading and purging the packages"
  fi
fi
echo "The packages hold what they promise."
