#!/usr/bin/env bash
# Runs a command with a throw-away PostgreSQL cluster, whose connection string it finds in
# DATAMODEL_TEST_POSTGRES. The cluster is stopped and removed at the end, also when the command fails.
# If the cluster can't start, nothing runs and the reason is printed: a run that needs PostgreSQL never
# passes without it.
#
#   with-pg-cluster.sh COMMAND [ARGUMENTS...]
set -euo pipefail
scripts=$(cd "$(dirname "$0")" && pwd)

pg_dir=$(mktemp -d "${TMPDIR:-/tmp}/datamodel-pg.XXXXXX")
trap 'bash "$scripts/pg-cluster.sh" stop "$pg_dir"' EXIT
if ! DATAMODEL_TEST_POSTGRES=$(bash "$scripts/pg-cluster.sh" start "$pg_dir" 55432); then
    echo "with-pg-cluster: the PostgreSQL server could not start (see above)" >&2
    exit 1
fi
export DATAMODEL_TEST_POSTGRES
echo "with-pg-cluster: PostgreSQL at $DATAMODEL_TEST_POSTGRES"
"$@"
