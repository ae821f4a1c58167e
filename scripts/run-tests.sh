#!/usr/bin/env bash
# Runs every test of a configured and built tree with ctest. Failures fail the run.
# The PostgreSQL tests share one throw-away cluster (scripts/with-pg-cluster.sh).
set -euo pipefail
build_dir=${1:-build}
scripts=$(cd "$(dirname "$0")" && pwd)
cd "$build_dir"
bash "$scripts/with-pg-cluster.sh" ctest --output-on-failure -j2 --timeout 600
