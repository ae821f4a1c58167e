#!/usr/bin/env bash
# Installs a built tree into a scratch prefix, then configures, builds and runs a user's project that finds
# the package with find_package(Datamodel) and links Datamodel::datamodel; and checks the pkg-config file.
set -euo pipefail
build_dir=$(cd "$1" && pwd)
source_dir=$(cd "$(dirname "$0")/.." && pwd)
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
cmake --install "$build_dir" --prefix "$scratch/prefix" > "$scratch/install.log"
cmake -S "$source_dir/tests/install" -B "$scratch/consumer" -DCMAKE_PREFIX_PATH="$scratch/prefix" \
    -DCMAKE_BUILD_TYPE=Release > "$scratch/configure.log"
cmake --build "$scratch/consumer" -j2 > "$scratch/build.log"
LD_LIBRARY_PATH="$scratch/prefix/lib:${LD_LIBRARY_PATH:-}" "$scratch/consumer/consumer"
PKG_CONFIG_PATH="$scratch/prefix/lib/pkgconfig" pkg-config --exists datamodel
PKG_CONFIG_PATH="$scratch/prefix/lib/pkgconfig" pkg-config --libs datamodel | grep -q -- '-ldatamodel'
echo "pkg-config: $(PKG_CONFIG_PATH="$scratch/prefix/lib/pkgconfig" pkg-config --modversion datamodel)"
