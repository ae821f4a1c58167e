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

bool SqlConnection::addDatabase(QString const& driver, QString const& what) {
    if (m_database.isValid()) {
        m_database.close();
        m_database = QSqlDatabase();
        QSqlDatabase::removeDatabase(m_name);
        m_depth = 0;
    }
    if (!QSqlDatabase::isDriverAvailable(driver)) {
        return fail(
            QStringLiteral("The %1 driver (%2) is not available; install Qt's %1 plugin").arg(what, driver));
    }
    m_database = QSqlDatabase::addDatabase(driver, m_name);
    if (!m_database.isValid()) {
        return fail(QStringLiteral("The %1 driver (%2) could not be loaded").arg(what, driver));
    }
    return true;
}

bool SqlConnection::openSqlite(QString const& path) {
    if (!addDatabase(QStringLiteral("QSQLITE"), QStringLiteral("SQLite"))) {
        return false;
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

bool SqlConnection::openPostgres(QString const& connectionInfo) {
    if (!addDatabase(QStringLiteral("QPSQL"), QStringLiteral("PostgreSQL"))) {
        return false;
    }
    // The driver appends its connect options to the connection string it hands to libpq, so a whole
    // connection string passes through them unchanged.
    m_database.setConnectOptions(connectionInfo);
    if (!m_database.open()) {
        return fail(QStringLiteral("Can't connect to PostgreSQL (%1): %2")
                        .arg(connectionInfo, errorText(m_database.lastError())));
    }
    // Notices of the server (a table that is dropped only if it exists ...) are not failures. Floats must
    // come back as text that reads back to the same value, which the driver's own setting doesn't give.
    QString error;
    if (!exec(QStringLiteral("SET client_min_messages TO WARNING"), error) ||
        !exec(QStringLiteral("SET extra_float_digits TO 3"), error)) {
        m_database.close();
        return fail(
            QStringLiteral("Can't set up the PostgreSQL connection (%1): %2").arg(connectionInfo, error));
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
