#!/usr/bin/env bash
# Runs every test of a configured and built tree with ctest. Failures fail the run.
set -euo pipefail
build_dir=${1:-build}
cd "$build_dir"
ctest --output-on-failure -j2 --timeout 600
