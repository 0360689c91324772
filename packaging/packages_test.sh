#!/usr/bin/env bash
# Builds the Debian packages, unpacks them into an empty folder, and uses what is there: the command,
# the plug-in, the libraries, the headers, the CMake package and the pkg-config file.
# usage: packages_test.sh BUILD SOURCE COMPILER
set -euo pipefail
build=$1 source=$2 compiler=$3
for program in dpkg-deb cpack pkg-config readelf nm; do
  command -v "$program" >/dev/null || { echo "NOT RUN: packages (no $program here)"; exit 77; }
done
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
fail() { echo "FAILED: $*" >&2; exit 1; }

# The packages, unpacked side by side under one root.
(cd "$work" && cpack -G DEB --config "$build/CPackConfig.cmake" -B "$work/packages") >"$work/log" 2>&1 ||
  { cat "$work/log"; fail "cpack"; }
mkdir "$work/root"
for package in accountsettings libaccountsettings-dev; do
  file=$(ls "$work"/packages/"$package"_*.deb) || fail "no package $package"
  [ "$(dpkg-deb -f "$file" Package)" = "$package" ] || fail "$file calls itself otherwise"
  dpkg-deb -x "$file" "$work/root"
done
usr=$work/root/usr
library=$(find "$usr" -name 'libaccountsettings.so.1')
libdir=$(dirname "$library")
tool=$usr/bin/accountsettings
for each in bin/accountsettings share/man/man1/accountsettings.1.gz lib/systemd/system/accountsettings-migrate.service \
  share/bash-completion/completions/accountsettings share/zsh/site-functions/_accountsettings \
  share/fish/vendor_completions.d/accountsettings.fish; do
  [ -s "$usr/$each" ] || fail "$each is not in the package"
done
gzip -cd "$usr/share/man/man1/accountsettings.1.gz" | cmp - "$build/accountsettings.1" || fail "the manual page"

# The service names the command so that it is found wherever an installation puts it.
grep '^ExecStart=accountsettings migrate ' "$usr/lib/systemd/system/accountsettings-migrate.service" >/dev/null ||
  fail "the service names a path"

# Nothing but the C++ standard library and libc is needed by the library and the plug-in.
for each in "$library" "$libdir/accountsettings/Ferrant.migrator/AccountsDataMigrator.so"; do
  readelf -d "$each" | sed -n 's/.*NEEDED.*\[\(.*\)\]/\1/p' |
    grep -v -e '^libaccountsettings\.so\.1$' -e '^libstdc++\.so' -e '^libgcc_s\.so' \
      -e '^libc\.so' -e '^libm\.so' -e '^ld-linux' && fail "$each needs more than it may"
done

# The library shows its own names alone.
nm -DC --defined-only "$library" | sed 's/^[0-9a-f]* . //' |
  grep -v -e 'accountsettings::' | grep . && fail "the library exports foreign names"

# The command works from where it was unpacked, with the bundle that lies beside the library.
"$tool" --version
"$tool" sample "$work/device" --release oldest >/dev/null
"$tool" migrate --root "$work/device" >/dev/null || fail "migrate from the unpacked package"
"$tool" show --root "$work/device" | grep 'version 12' >/dev/null || fail "the device was not migrated"

# A project of its own finds, builds and runs against the package.
cmake -S "$source/examples" -B "$work/examples" -DCMAKE_CXX_COMPILER="$compiler" \
  -DCMAKE_PREFIX_PATH="$usr" >"$work/log" 2>&1 || { cat "$work/log"; fail "find_package"; }
cmake --build "$work/examples" -j 2 >"$work/log" 2>&1 || { cat "$work/log"; fail "building the examples"; }
"$work/examples/example_list_accounts" "$work/device" | grep . >/dev/null || fail "list_accounts printed nothing"

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

# Each header can be included on its own, and no header of a program's own is taken for one of them
# or hides one, whichever folder comes first.
mkdir "$work/own" "$work/headers"
find "$usr/include/accountsettings" -mindepth 2 -name '*.h' -printf '%P\n' | sort >"$work/list"
while read -r header; do
  mkdir -p "$work/own/${header%/*}"
  echo "#define OWN_${header//[\/.]/_}" >"$work/own/$header"
  printf '#include <accountsettings/%s>\n#include "%s"\n#ifndef OWN_%s\n#error not the own one\n#endif\n' \
    "$header" "$header" "${header//[\/.]/_}" >"$work/headers/${header//[\/.]/_}.cc"
done <"$work/list"
[ "$(wc -l <"$work/list")" -gt 30 ] || fail "headers are missing"
cat "$work/headers"/*.cc >"$work/all.cc"
echo '#include <accountsettings/accountsettings.h>' >>"$work/all.cc"
ls "$work/headers"/*.cc | xargs -P 4 -n 4 "$compiler" -std=c++20 -fsyntax-only -Wall -Wextra -Werror \
  -I"$usr/include" -I"$work/own" || fail "a header does not stand alone"
"$compiler" -std=c++20 -fsyntax-only -Wall -Wextra -Werror -I"$work/own" -I"$usr/include" "$work/all.cc" ||
  fail "headers of a program's own are in the way"
echo "The packages hold what they promise."
