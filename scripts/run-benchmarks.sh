#!/usr/bin/env bash
# Runs every benchmark program of a built tree. Each program prints its own ratios against the
# baseline it measures in the same run.
set -euo pipefail
build_dir=${1:-build-bench}
status=0
for program in "$build_dir"/bench/*Bench; do
    [ -x "$program" ] || continue
    echo "== $(basename "$program")"
    "$program" --benchmark_repetitions=5 --benchmark_report_aggregates_only=true || status=1
done
exit $status
