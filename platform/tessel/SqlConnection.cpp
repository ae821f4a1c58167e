#include "platform/tessel/SqlConnection.hpp"

#include <QSqlError>
#include <QSqlQuery>

#include <atomic>

namespace Tessel {

namespace {

QString uniqueConnectionName() {
    static std::atomic<unsigned long long> s_counter{0};
    return QStringLiteral("tessel-sql-%1").arg(++s_counter);
}

QString errorText(QSqlError const& error) {
    QString const text = error.text().trimmed();
    return text.isEmpty() ? QStringLiteral("unknown database error") : text;
}

} // namespace

SqlConnection::SqlConnection() : m_name(uniqueConnectionName()) {}

SqlConnection::~SqlConnection() {
    if (m_depth > 0 && m_database.isOpen()) {
        m_database.rollback();
    }
    m_database.close();
    // The handle must be gone before the name is removed, or Qt reports the connection as still in use.
    m_database = QSqlDatabase();
    if (QSqlDatabase::contains(m_name)) {
        QSqlDatabase::removeDatabase(m_name);
    }
}

bool SqlConnection::fail(QString error) {
    m_lastError = std::move(error);
    return false;
}

bool SqlConnection::openSqlite(QString const& path) {
    if (m_database.isValid()) {
        m_database.close();
        m_database = QSqlDatabase();
        QSqlDatabase::removeDatabase(m_name);
        m_depth = 0;
    }
    if (!QSqlDatabase::isDriverAvailable(QStringLiteral("QSQLITE"))) {
        return fail(
            QStringLiteral("The SQLite driver (QSQLITE) is not available; install Qt's SQLite plugin"));
    }
    m_database = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), m_name);
    if (!m_database.isValid()) {
        return fail(QStringLiteral("The SQLite driver (QSQLITE) could not be loaded"));
    }
    m_database.setDatabaseName(path);
    if (!m_database.open()) {
        return fail(QStringLiteral("Can't open the SQLite database '%1': %2")
                        .arg(path, errorText(m_database.lastError())));
    }
    // SQLite opens any file lazily; reading the schema is what finds out that a file is no database.
    QString error;
    if (!exec(QStringLiteral("SELECT count(*) FROM sqlite_master"), error) ||
        !exec(QStringLiteral("PRAGMA foreign_keys = ON"), error)) {
        m_database.close();
        return fail(QStringLiteral("Can't open the SQLite database '%1': %2").arg(path, error));
    }
    return true;
}

bool SqlConnection::exec(QString const& statement, QString& error) {
    if (!m_database.isOpen()) {
        error = QStringLiteral("The database connection is not open");
        return fail(error);
    }
    QSqlQuery query(m_database);
    if (!query.exec(statement)) {
        error = errorText(query.lastError());
        return fail(error);
    }
    return true;
}

QString SqlConnection::savepointName() const {
    return QStringLiteral("tessel_savepoint_%1").arg(m_depth);
}

bool SqlConnection::begin() {
    if (m_depth == 0) {
        if (!m_database.isOpen()) {
            return fail(QStringLiteral("The database connection is not open"));
        }
        if (!m_database.transaction()) {
            return fail(
                QStringLiteral("Can't start a transaction: %1").arg(errorText(m_database.lastError())));
        }
        ++m_depth;
        return true;
    }
    QString error;
    if (!exec(QStringLiteral("SAVEPOINT %1").arg(savepointName()), error)) {
        return fail(QStringLiteral("Can't start a nested transaction: %1").arg(error));
    }
    ++m_depth;
    return true;
}

bool SqlConnection::commit() {
    if (m_depth == 0) {
        return fail(QStringLiteral("There is no transaction to commit"));
    }
    if (m_depth == 1) {
        if (!m_database.commit()) {
            return fail(QStringLiteral("Can't commit: %1").arg(errorText(m_database.lastError())));
        }
        m_depth = 0;
        return true;
    }
    --m_depth;
    QString error;
    if (!exec(QStringLiteral("RELEASE SAVEPOINT %1").arg(savepointName()), error)) {
        ++m_depth;
        return fail(QStringLiteral("Can't commit a nested transaction: %1").arg(error));
    }
    return true;
}

bool SqlConnection::rollback() {
    if (m_depth == 0) {
        return fail(QStringLiteral("There is no transaction to roll back"));
    }
    if (m_depth == 1) {
        m_depth = 0;
        if (!m_database.rollback()) {
            return fail(QStringLiteral("Can't roll back: %1").arg(errorText(m_database.lastError())));
        }
        return true;
    }
    --m_depth;
    // Rolling back to a savepoint keeps it open; releasing it closes this level.
    QString const name = savepointName();
    QString error;
    if (!exec(QStringLiteral("ROLLBACK TO SAVEPOINT %1").arg(name), error) ||
        !exec(QStringLiteral("RELEASE SAVEPOINT %1").arg(name), error)) {
        return fail(QStringLiteral("Can't roll back a nested transaction: %1").arg(error));
    }
    return true;
}

} // namespace Tessel
