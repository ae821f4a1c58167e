#!/usr/bin/env bash
# Installs every Debian package that the build, the tests and the benchmarks need.
# Idempotent: when everything is present it does nothing and touches no package list.
set -euo pipefail

packages=(
    build-essential cmake pkg-config
    qtbase5-dev libqt5sql5-sqlite libqt5sql5-psql libqt5websockets5-dev
    libboost-dev
    libgtest-dev libgmock-dev googletest
    libbenchmark-dev
    postgresql
    clang-format
    python3
    clang
)

missing=()
for package in "${packages[@]}"; do
    if ! dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q 'install ok installed'; then
        missing+=("$package")
    fi
done

if [ "${#missing[@]}" -eq 0 ]; then
    exit 0
fi

echo "install-deps: installing ${missing[*]}"
sudo=""
if [ "$(id -u)" -ne 0 ]; then
    sudo="sudo"
fi
export DEBIAN_FRONTEND=noninteractive
$sudo apt-get update -qq
$sudo apt-get install -y -qq --no-install-recommends "${missing[@]}"
