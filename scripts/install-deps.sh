#!/usr/bin/env bash
# Installs the Debian packages Zephyl builds and tests with. Asks apt only for
# what is missing, so a machine that has everything needs no network.
set -euo pipefail

packages=(
  build-essential cmake ninja-build ccache pkg-config git
  libsqlite3-dev sqlite3 zlib1g-dev libicu-dev
  libcli11-dev nlohmann-json3-dev libcurl4-openssl-dev libssl-dev
  libgtest-dev libgmock-dev libbenchmark-dev
  clang libclang-rt-14-dev clang-format
  libsecret-1-dev libarchive-dev libmd4c-dev libssl-dev
  dbus dbus-daemon gnome-keyring openssl
)

missing=()
for package in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q 'install ok installed'; then
    missing+=("$package")
  fi
done
# node and npm run the reference ACP agent in tests; a machine may already
# have them from elsewhere than Debian.
if ! command -v npm >/dev/null 2>&1; then missing+=(nodejs npm); fi
[ ${#missing[@]} -eq 0 ] && exit 0

sudo=""
if [ "$(id -u)" -ne 0 ]; then sudo="sudo"; fi
echo "Installing: ${missing[*]}" >&2
$sudo apt-get update -qq
DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
