#!/usr/bin/env bash
# Runs every fuzz target of a fuzzing build for a while, each from a copy of its seed corpus. A crash fails
# the run and leaves the input that caused it in the build tree (add it to fuzz/corpus/ once fixed).
set -euo pipefail
build_dir=$(cd "$1" && pwd)
seconds=${2:-60}
source_dir=$(cd "$(dirname "$0")/.." && pwd)
export LSAN_OPTIONS="suppressions=$source_dir/fuzz/lsan.supp${LSAN_OPTIONS:+:$LSAN_OPTIONS}"
for fuzzer in "$build_dir"/fuzz/*Fuzz; do
    [ -x "$fuzzer" ] || continue
    name=$(basename "$fuzzer")
    corpus_name=$(echo "${name%Fuzz}" | tr '[:upper:]' '[:lower:]')
    work="$build_dir/fuzz/corpus-$corpus_name"
    mkdir -p "$work"
    cp -n "$source_dir/fuzz/corpus/$corpus_name"/* "$work"/ 2>/dev/null || true
    echo "== $name for ${seconds}s"
    (cd "$build_dir/fuzz" && "$fuzzer" -max_total_time="$seconds" -print_final_stats=1 "$work")
done
