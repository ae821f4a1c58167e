#!/usr/bin/env bash
# Runs every benchmark program of a built tree. Each program prints its own ratios against the
# baseline it measures in the same run. The benchmarks on PostgreSQL use a throw-away cluster
# (scripts/with-pg-cluster.sh).
set -euo pipefail
build_dir=${1:-build-bench}
scripts=$(cd "$(dirname "$0")" && pwd)
if [ -z "${DATAMODEL_TEST_POSTGRES:-}" ]; then
    exec bash "$scripts/with-pg-cluster.sh" bash "$0" "$@"
fi
status=0
for program in "$build_dir"/bench/*Bench; do
    [ -x "$program" ] || continue
    echo "== $(basename "$program")"
    "$program" --benchmark_repetitions=5 --benchmark_report_aggregates_only=true || status=1
done
exit $status
