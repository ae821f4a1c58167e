#!/usr/bin/env bash
# Runs every test of a configured and built tree with ctest. Failures fail the run.
#
# The PostgreSQL tests share one throw-away cluster, made here and stopped at the end, also on failure. If
# it can't start, the run fails and says why: those tests never pass without a server.
set -euo pipefail
build_dir=${1:-build}
scripts=$(cd "$(dirname "$0")" && pwd)

pg_dir=$(mktemp -d "${TMPDIR:-/tmp}/datamodel-pg.XXXXXX")
trap 'bash "$scripts/pg-cluster.sh" stop "$pg_dir"' EXIT
if ! DATAMODEL_TEST_POSTGRES=$(bash "$scripts/pg-cluster.sh" start "$pg_dir" 55432); then
    echo "run-tests: the PostgreSQL server for the tests could not start (see above)" >&2
    exit 1
fi
export DATAMODEL_TEST_POSTGRES
echo "run-tests: PostgreSQL for the tests: $DATAMODEL_TEST_POSTGRES"

cd "$build_dir"
ctest --output-on-failure -j2 --timeout 600
