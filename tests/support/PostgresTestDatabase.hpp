#pragma once

#include <QString>

namespace TestSupport {

/// A database of its own for one test, made in the test run's throw-away PostgreSQL cluster and dropped
/// again at the end of the test.
///
/// The cluster is the one whose connection string `make test` exports in DATAMODEL_TEST_POSTGRES. A test
/// program run by hand, without it, starts a cluster of its own on first use (scripts/pg-cluster.sh) and
/// stops it when it exits. When no cluster can be had the database is not ready, and `error()` says why:
/// a test asserts `isReady()`, so it fails and never passes without a server.
class PostgresTestDatabase {
public:
    PostgresTestDatabase();
    ~PostgresTestDatabase();
    PostgresTestDatabase(PostgresTestDatabase const&) = delete;
    PostgresTestDatabase& operator=(PostgresTestDatabase const&) = delete;

    bool isReady() const { return m_error.isEmpty(); }
    QString const& error() const { return m_error; }
    /// The connection string of this test's database.
    QString const& connectionInfo() const { return m_connectionInfo; }
    QString const& name() const { return m_name; }

private:
    QString m_name;
    QString m_connectionInfo;
    QString m_error;
};

} // namespace TestSupport
