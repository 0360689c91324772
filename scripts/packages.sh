# Sourced by the other scripts: need_packages PACKAGE... installs what is missing from the
# distribution where it may, and otherwise prints the exact command and ends.

# ask_for PACKAGE... prints the command that installs them, and ends.
ask_for() {
  echo "These packages are missing. Install them and run this again:" >&2
  echo "  sudo apt-get update && sudo apt-get install -y --no-install-recommends $*" >&2
  exit 3
}

need_packages() {
  local missing=() package
  if ! command -v dpkg-query >/dev/null; then
    echo "This is no Debian-like system; these Debian packages, or their like, are needed: $*" >&2
    return 0
  fi
  for package in "$@"; do
    dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q '^install ok installed$' ||
      missing+=("$package")
  done
  [ ${#missing[@]} -eq 0 ] && return 0

  local as_root=()
  if [ "$(id -u)" -ne 0 ]; then
    sudo -n true 2>/dev/null || ask_for "${missing[@]}"
    as_root=(sudo)
  fi
  echo "Installing: ${missing[*]}"
  local log
  log=$(mktemp)
  if ! { "${as_root[@]}" apt-get update -qq &&
    "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq \
      --no-install-recommends "${missing[@]}"; } >"$log" 2>&1; then
    cat "$log" >&2
    rm -f "$log"
    ask_for "${missing[@]}"
  fi
  rm -f "$log"
}

BUILD_PACKAGES=(g++ cmake ninja-build pkg-config libcli11-dev nlohmann-json3-dev
                libsystemd-dev)
TEST_PACKAGES=("${BUILD_PACKAGES[@]}" clang-14 lld-14 llvm-14 libclang-rt-14-dev clang-tidy-14
               clang-format-14 libgtest-dev libgmock-dev libbenchmark-dev python3
               python3-jsonschema dbus-daemon dpkg-dev doxygen zsh fish
               debhelper lintian abigail-tools chromium-headless-shell)
