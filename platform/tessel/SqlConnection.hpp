#pragma once

#include <QSqlDatabase>
#include <QString>

namespace Tessel {

/// One connection to a database, under a connection name of its own that no other connection of the process
/// shares, so that connections never see each other's state. Used from the thread that made it.
///
/// Transactions nest: the outermost `begin` starts a transaction and every inner one a savepoint, so that a
/// migration step may open a transaction of its own inside the one its runner holds, and roll back only its
/// part.
class SqlConnection {
public:
    SqlConnection();
    /// Rolls back what is not committed, closes the database and forgets the connection name.
    ~SqlConnection();
    SqlConnection(SqlConnection const&) = delete;
    SqlConnection& operator=(SqlConnection const&) = delete;

    /// Opens the SQLite database at `path`, made when missing; ":memory:" gives a private database in
    /// memory. Foreign keys are enforced. False, with the reason in `lastError()`, when the SQLite driver is
    /// missing, the file can't be opened or made, or it is no SQLite database.
    bool openSqlite(QString const& path);
    /// Connects to PostgreSQL with a libpq connection string ("host=/run/db port=5432 user=tavola
    /// dbname=tavola"). False, with the reason in `lastError()`, when the PostgreSQL driver is missing or the
    /// server can't be reached or refuses the connection.
    bool openPostgres(QString const& connectionInfo);
    bool isOpen() const { return m_database.isOpen(); }

    /// Runs one statement; false, with the database's reason in `error` and in `lastError()`, when it fails.
    bool exec(QString const& statement, QString& error);

    /// Starts a transaction, or a savepoint inside the current one.
    bool begin();
    /// Commits the innermost transaction or savepoint.
    bool commit();
    /// Rolls back the innermost transaction or savepoint.
    bool rollback();
    /// How many `begin`s are open: 0 outside a transaction.
    int transactionDepth() const { return m_depth; }

    /// The reason the last operation that failed gave.
    QString const& lastError() const { return m_lastError; }
    /// The connection name, unique in the process.
    QString const& connectionName() const { return m_name; }
    /// The database, for queries of the caller's own.
    QSqlDatabase database() const { return m_database; }

private:
    bool fail(QString error);
    /// Closes what the connection had open and adds a database of `driver` under the connection's name.
    bool addDatabase(QString const& driver, QString const& what);
    QString savepointName() const;

    QString m_name;
    QSqlDatabase m_database;
    int m_depth = 0;
    QString m_lastError;
};

} // namespace Tessel
