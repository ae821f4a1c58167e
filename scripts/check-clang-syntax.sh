#!/usr/bin/env bash
# Fails when clang rejects a library source that the build's own compiler accepted. The fuzz build compiles
# with clang, so a gcc build alone would not notice. Each source goes through clang's front end only, with
# the flags of the build (from its compile_commands.json); sources unchanged since they last passed are not
# checked again.
set -euo pipefail
build_dir=$(cd "$1" && pwd)
clangxx=${2:-clang++}
source_dir=$(cd "$(dirname "$0")/.." && pwd)
work="$build_dir/clang-syntax"
mkdir -p "$work"
cmake -DBUILD_DIR="$build_dir" -DSOURCE_DIR="$source_dir" -DWORK_DIR="$work" -DCLANGXX="$clangxx" \
    -P "$source_dir/cmake/ClangSyntaxCheck.cmake"
make -f "$work/Makefile" -k -j"${JOBS:-2}" --no-print-directory
