#!/usr/bin/env bash
# Installs the Debian packages that building and testing need; packages that are there are skipped.
#   cmake/dependencies.sh [extra package ...]
set -euo pipefail

packages=(g++ cmake make ninja-build ccache pkg-config
  libpg-query-dev libprotobuf-c-dev libsimdjson-dev libicu-dev libboost-dev
  libsqlite3-dev libre2-dev libssl-dev libisal-dev zlib1g-dev libzstd-dev libcli11-dev libedit-dev libfmt-dev libflatbuffers-dev libgtest-dev libgmock-dev "$@")

missing=()
for package in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q 'install ok installed' || missing+=("$package")
done
[ ${#missing[@]} -eq 0 ] && exit 0

if ! command -v apt-get >/dev/null; then
  echo "missing: ${missing[*]} (no apt-get here: install them by your system's own means)" >&2
  exit 1
fi
sudo=
if [ "$(id -u)" -ne 0 ]; then
  # Asking for a password takes a person at a terminal.
  if ! command -v sudo >/dev/null || ! { [ -t 0 ] || sudo -n true 2>/dev/null; }; then
    echo "missing: ${missing[*]} (as root: apt-get install ${missing[*]})" >&2
    exit 1
  fi
  sudo=sudo
fi
echo "installing: ${missing[*]}"
$sudo apt-get update -qq
DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
