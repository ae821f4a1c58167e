#include "tests/support/PostgresTestDatabase.hpp"

#include "platform/tessel/SqlConnection.hpp"

#include <QCoreApplication>
#include <QDir>
#include <QProcess>
#include <QRandomGenerator>
#include <QRegularExpression>

#include <cstdlib>
#include <mutex>

namespace TestSupport {

namespace {

constexpr char s_clusterVariable[] = "DATAMODEL_TEST_POSTGRES";

QString clusterScript() {
    return QStringLiteral(DATAMODEL_SOURCE_DIR "/scripts/pg-cluster.sh");
}

/// A cluster that this process started because none was given; stopped when the process exits.
struct OwnCluster {
    QString directory;
    QString connectionInfo;
    QString error;

    OwnCluster() {
        directory = QDir::temp().filePath(QStringLiteral("datamodel-pg-%1-%2")
                                              .arg(QCoreApplication::applicationPid())
                                              .arg(QRandomGenerator::global()->generate()));
        QProcess script;
        script.start(QStringLiteral("bash"),
                     {clusterScript(), QStringLiteral("start"), directory, QStringLiteral("55432")});
        if (!script.waitForFinished(120000) || script.exitStatus() != QProcess::NormalExit ||
            script.exitCode() != 0) {
            error = QStringLiteral("The throw-away PostgreSQL cluster did not start: %1")
                        .arg(QString::fromLocal8Bit(script.readAllStandardError()).trimmed());
            return;
        }
        connectionInfo = QString::fromLocal8Bit(script.readAllStandardOutput()).trimmed();
    }

    ~OwnCluster() {
        QProcess::execute(QStringLiteral("bash"), {clusterScript(), QStringLiteral("stop"), directory});
    }
};

/// The connection string of the cluster's administrative database, or an error.
bool clusterConnection(QString& connectionInfo, QString& error) {
    char const* const given = std::getenv(s_clusterVariable);
    if (given && *given) {
        connectionInfo = QString::fromLocal8Bit(given);
        return true;
    }
    static OwnCluster s_own;
    connectionInfo = s_own.connectionInfo;
    error = s_own.error;
    return error.isEmpty();
}

/// The connection string with its "dbname" replaced by `database`.
QString withDatabase(QString connectionInfo, QString const& database) {
    connectionInfo.remove(QRegularExpression(QStringLiteral("\\bdbname=\\S*")));
    return connectionInfo.simplified() + QStringLiteral(" dbname=") + database;
}

bool runAsAdministrator(QString const& statement, QString& error) {
    QString connectionInfo;
    if (!clusterConnection(connectionInfo, error)) {
        return false;
    }
    Tessel::SqlConnection administrator;
    if (!administrator.openPostgres(withDatabase(connectionInfo, QStringLiteral("postgres")))) {
        error = administrator.lastError();
        return false;
    }
    return administrator.exec(statement, error);
}

} // namespace

PostgresTestDatabase::PostgresTestDatabase()
    : m_name(QStringLiteral("test_%1_%2")
                 .arg(QCoreApplication::applicationPid())
                 .arg(QRandomGenerator::global()->generate64(), 0, 16)) {
    QString connectionInfo;
    if (!clusterConnection(connectionInfo, m_error) ||
        !runAsAdministrator(QStringLiteral("CREATE DATABASE %1").arg(m_name), m_error)) {
        m_error = QStringLiteral("No PostgreSQL database for the test: %1").arg(m_error);
        return;
    }
    m_connectionInfo = withDatabase(connectionInfo, m_name);
}

PostgresTestDatabase::~PostgresTestDatabase() {
    if (isReady()) {
        QString ignored;
        runAsAdministrator(QStringLiteral("DROP DATABASE IF EXISTS %1 WITH (FORCE)").arg(m_name), ignored);
    }
}

} // namespace TestSupport
