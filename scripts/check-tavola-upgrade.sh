#!/usr/bin/env bash
# `tavola upgrade` as a person runs it, on a copy of the example store:
#   check-tavola-upgrade.sh TAVOLA EXAMPLES_DIR
# A store with the old canvases of examples/, a file that is not JSON and a canvas of a later release: the
# database chains run, the old canvases reach the end of their chain, the two bad files are refused and left
# as they were, and the run fails. A second run finds everything current. With DATAMODEL_TEST_POSTGRES set,
# the database chains also run on a fresh PostgreSQL database of that cluster.
set -euo pipefail
tavola=$1
examples=$2
store=$(mktemp -d)
trap 'rm -rf "$store"' EXIT

fail() {
    echo "check-tavola-upgrade: $*" >&2
    exit 1
}

expect_in() {
    grep -qE -- "$1" <<<"$2" || fail "expected /$1/ in the output:"$'\n'"$2"
}

cp "$examples"/canvas-release-5.json "$examples"/canvas-release-15.json "$store"/
printf '{ "nodes": [' >"$store/not-json.json"
printf '{"documentType": "kx-tavola", "versions": {"kx-tavola": 99}, "nodes": []}' >"$store/later.json"

if output=$("$tavola" upgrade "$store" 2>&1); then
    fail "a store with bad documents must fail the run:"$'\n'"$output"
fi
expect_in 'database .*server.sqlite \(SQLite\)' "$output"
expect_in 'running step 1 of core' "$output"
expect_in 'core +version 0 -> 3 +\(steps 1 2 3\)' "$output"
expect_in 'client_states +version 0 -> 2' "$output"
expect_in '\[1/4\] canvas-release-15.json: "kx-tavola" version 15 -> 32 +\(steps 16 17 .* 32\)' "$output"
expect_in '\[2/4\] canvas-release-5.json: "kx-tavola" version 5 -> 32 +\(steps 6 7 8 9 10 .* 32\)' "$output"
expect_in '\[3/4\] later.json: refused, left as it was: .*version 99 of .kx-tavola., newer than this release knows \(32\)' "$output"
expect_in '\[4/4\] not-json.json: refused, left as it was: .*holds no stored document' "$output"
expect_in 'documents: 2 of 4 at this release' "$output"
if grep -q "doesn't know" <<<"$output"; then
    fail "the example canvases hold only types this release knows once their steps ran:"$'\n'"$output"
fi
[ "$(cat "$store/not-json.json")" = '{ "nodes": [' ] || fail "the file that is not JSON was changed"
grep -q '"kx-tavola": 99' "$store/later.json" || fail "the canvas of a later release was changed"

rm "$store/not-json.json" "$store/later.json"
output=$("$tavola" upgrade "$store" 2>&1) || fail "a second run must succeed:"$'\n'"$output"
expect_in 'core +version 3 -> 3 +\(nothing to run\)' "$output"
expect_in 'canvas-release-5.json: "kx-tavola" version 32, current' "$output"
expect_in 'documents: 2 of 2 at this release' "$output"

if [ -n "${DATAMODEL_TEST_POSTGRES:-}" ]; then
    database=upgrade_check_$$
    psql "$DATAMODEL_TEST_POSTGRES" -X -q -c "CREATE DATABASE $database" >/dev/null
    trap 'psql "$DATAMODEL_TEST_POSTGRES" -X -q -c "DROP DATABASE IF EXISTS $database WITH (FORCE)" >/dev/null; rm -rf "$store"' EXIT
    output=$("$tavola" upgrade --postgres "$DATAMODEL_TEST_POSTGRES dbname=$database" 2>&1) ||
        fail "the PostgreSQL chains must run:"$'\n'"$output"
    expect_in '\(PostgreSQL\)' "$output"
    expect_in 'tavola_data_model +version 0 -> 32' "$output"
    expect_in 'server_indexes +version 0 -> 5 +\(steps 1 2 3 4 5\)' "$output"
fi
echo "check-tavola-upgrade: ok"
