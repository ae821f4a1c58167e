#include "platform/tessel/DBMigrationRunner.hpp"

#include "platform/cobalt/Trace.hpp"
#include "platform/tessel/SqlConnection.hpp"

#include <QSqlError>
#include <QSqlQuery>
#include <QVariant>

#include <exception>

namespace Tessel {

namespace {

QLatin1String const s_versionsTable(DBMigrationRunner::versionsTable);

void fail(DBMigrationReport& report, QString const& moduleName, int version, QString const& error) {
    report.failed = true;
    report.failedModule = moduleName;
    report.failedVersion = version;
    report.error = error;
    Cobalt::Trace::error("DBMigrationRunner::run # Module '%s' stopped at version %d: %s",
                         qUtf8Printable(moduleName), version, qUtf8Printable(error));
}

} // namespace

bool DBMigrationRunner::ensureVersionsTable(QString& error) {
    return m_connection.exec(QStringLiteral("CREATE TABLE IF NOT EXISTS %1 ("
                                            "module TEXT PRIMARY KEY NOT NULL, version INTEGER NOT NULL)")
                                 .arg(s_versionsTable),
                             error);
}

bool DBMigrationRunner::reachedVersion(QString const& moduleName, int& version, QString& error) const {
    version = 0;
    QSqlQuery query(m_connection.database());
    query.prepare(QStringLiteral("SELECT version FROM %1 WHERE module = :module").arg(s_versionsTable));
    query.bindValue(QStringLiteral(":module"), moduleName);
    if (!query.exec()) {
        error =
            QStringLiteral("Can't read the version of '%1': %2").arg(moduleName, query.lastError().text());
        return false;
    }
    if (query.next()) {
        version = query.value(0).toInt();
    }
    return true;
}

int DBMigrationRunner::reachedVersion(QString const& moduleName) const {
    int version = 0;
    QString error;
    return reachedVersion(moduleName, version, error) ? version : 0;
}

bool DBMigrationRunner::recordVersion(QString const& moduleName, int version, QString& error) {
    // An update first and an insert when there was no row: plain statements that every SQL database knows.
    QSqlQuery update(m_connection.database());
    update.prepare(
        QStringLiteral("UPDATE %1 SET version = :version WHERE module = :module").arg(s_versionsTable));
    update.bindValue(QStringLiteral(":version"), version);
    update.bindValue(QStringLiteral(":module"), moduleName);
    if (!update.exec()) {
        error = QStringLiteral("Can't record version %1 of '%2': %3")
                    .arg(version)
                    .arg(moduleName, update.lastError().text());
        return false;
    }
    if (update.numRowsAffected() > 0) {
        return true;
    }
    QSqlQuery insert(m_connection.database());
    insert.prepare(
        QStringLiteral("INSERT INTO %1 (module, version) VALUES (:module, :version)").arg(s_versionsTable));
    insert.bindValue(QStringLiteral(":module"), moduleName);
    insert.bindValue(QStringLiteral(":version"), version);
    if (!insert.exec()) {
        error = QStringLiteral("Can't record version %1 of '%2': %3")
                    .arg(version)
                    .arg(moduleName, insert.lastError().text());
        return false;
    }
    return true;
}

DBMigrationReport DBMigrationRunner::run(DBMigrationList const& list) {
    DBMigrationReport report;
    QString error;
    if (!ensureVersionsTable(error)) {
        fail(report, list.moduleName(), 0, QStringLiteral("Can't make the table of versions: %1").arg(error));
        return report;
    }
    runList(list, report);
    return report;
}

DBMigrationReport DBMigrationRunner::run(QList<std::shared_ptr<DBMigrationList>> const& lists) {
    DBMigrationReport report;
    QString error;
    if (!ensureVersionsTable(error)) {
        fail(report, QString(), 0, QStringLiteral("Can't make the table of versions: %1").arg(error));
        return report;
    }
    for (auto const& list : lists) {
        if (!list) {
            Cobalt::Trace::warning("DBMigrationRunner::run # A null chain is passed over");
            continue;
        }
        if (!runList(*list, report)) {
            break;
        }
    }
    return report;
}

bool DBMigrationRunner::runList(DBMigrationList const& list, DBMigrationReport& report) {
    if (list.migrations().empty()) {
        return true;
    }
    report.modules.emplace_back();
    DBMigrationReport::Module& module = report.modules.back();
    module.moduleName = list.moduleName();

    QString error;
    if (!reachedVersion(module.moduleName, module.fromVersion, error)) {
        fail(report, module.moduleName, 0, error);
        return false;
    }
    module.toVersion = module.fromVersion;
    if (module.fromVersion > list.lastVersion()) {
        fail(report, module.moduleName, module.fromVersion,
             QStringLiteral(
                 "The store is at version %1 of '%2', above the last step %3 that this release knows")
                 .arg(module.fromVersion)
                 .arg(module.moduleName)
                 .arg(list.lastVersion()));
        return false;
    }

    for (auto const& step : list.migrations()) {
        if (step->version() <= module.fromVersion) {
            continue;
        }
        if (m_stepStarting) {
            m_stepStarting(*step);
        }
        if (!m_connection.begin()) {
            fail(report, module.moduleName, step->version(), m_connection.lastError());
            return false;
        }
        int const depth = m_connection.transactionDepth();
        bool migrated = false;
        QString reason;
        try {
            migrated = step->migrate(m_connection);
            reason = step->lastError();
        } catch (std::exception const& failure) {
            reason = QString::fromUtf8(failure.what());
        }
        if (m_connection.transactionDepth() != depth) {
            // The step left a transaction of its own open, or closed the runner's: nothing it did can be
            // trusted.
            migrated = false;
            reason = QStringLiteral("The step left its transactions unbalanced");
        } else if (migrated && !recordVersion(module.moduleName, step->version(), reason)) {
            migrated = false;
        } else if (migrated && !m_connection.commit()) {
            migrated = false;
            reason = m_connection.lastError();
        }
        if (!migrated) {
            while (m_connection.transactionDepth() > depth - 1 && m_connection.transactionDepth() > 0) {
                if (!m_connection.rollback()) {
                    break;
                }
            }
            fail(report, module.moduleName, step->version(),
                 reason.isEmpty() ? QStringLiteral("The step failed without a reason") : reason);
            return false;
        }
        module.stepsRun.push_back(step->version());
        module.toVersion = step->version();
    }
    return true;
}

} // namespace Tessel
