#include "platform/tessel/DBMigration.hpp"

#include "platform/cobalt/Trace.hpp"
#include "platform/tessel/SqlConnection.hpp"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QSqlError>
#include <QSqlQuery>
#include <QVariant>

namespace Tessel {

namespace {

// Plain characters rather than QStrings: nothing here waits on the order in which statics are made.
constexpr char s_multisitePrefix[] = "multisite:";
constexpr char s_coreModule[] = "core";
constexpr char s_coreFolder[] = "multisite:server/db/core_sqlite/";
constexpr char s_assetModule[] = "assets";
constexpr char s_assetFolder[] = "multisite:server/db/assets_sqlite/";
constexpr char s_corePsqlFolder[] = "multisite:server/db/core_psql/";

/// Records where the asset files (and a server's documents) lie, and indexes the asset files that are in
/// the asset directory already, so that a store of files kept before the index existed is known to it.
/// Files are named by their public hash; others (temporary files of an import) are left out.
class AssetDirectoryMigration : public DBMigration {
public:
    AssetDirectoryMigration(QString const& moduleName, int version, QString jsonStorageRoot, QString assetDir)
        : DBMigration(moduleName, version), m_jsonStorageRoot(std::move(jsonStorageRoot)),
          m_assetDir(std::move(assetDir)) {}

    bool migrate(SqlConnection& connection) override {
        if (!m_assetDir.isEmpty() && !recordRoot(connection, QStringLiteral("assets"), m_assetDir)) {
            return false;
        }
        if (!m_jsonStorageRoot.isNull() &&
            !recordRoot(connection, QStringLiteral("documents"), m_jsonStorageRoot)) {
            return false;
        }
        return m_assetDir.isEmpty() || indexFiles(connection);
    }

private:
    bool recordRoot(SqlConnection& connection, QString const& role, QString const& path) {
        QSqlQuery query(connection.database());
        query.prepare(QStringLiteral("INSERT INTO asset_roots (role, path) VALUES (:role, :path) "
                                     "ON CONFLICT (role) DO UPDATE SET path = excluded.path"));
        query.bindValue(QStringLiteral(":role"), role);
        query.bindValue(QStringLiteral(":path"), QDir(path).absolutePath());
        return execute(query);
    }

    bool indexFiles(SqlConnection& connection) {
        static QRegularExpression const s_hashName(QStringLiteral("^[0-9a-f]{64}$"));
        QSqlQuery query(connection.database());
        query.prepare(
            QStringLiteral("INSERT INTO asset_files (public_hash, size, file_name, imported) "
                           "VALUES (:hash, :size, '', :imported) ON CONFLICT (public_hash) DO NOTHING"));
        for (QFileInfo const& file : QDir(m_assetDir).entryInfoList(QDir::Files)) {
            if (!s_hashName.match(file.fileName()).hasMatch()) {
                continue;
            }
            query.bindValue(QStringLiteral(":hash"), file.fileName());
            query.bindValue(QStringLiteral(":size"), file.size());
            // Microseconds since the epoch, as the platform counts time.
            query.bindValue(QStringLiteral(":imported"), file.lastModified().toMSecsSinceEpoch() * 1000);
            if (!execute(query)) {
                return false;
            }
        }
        return true;
    }

    bool execute(QSqlQuery& query) {
        if (query.exec()) {
            return true;
        }
        setLastError(
            QStringLiteral("Statement \"%1\" failed: %2").arg(query.lastQuery(), query.lastError().text()));
        return false;
    }

    QString m_jsonStorageRoot;
    QString m_assetDir;
};

std::shared_ptr<DBMigration> sqlStep(char const* module, char const* folder, char const* file, int version) {
    return std::make_shared<DBTrivialMigration>(
        QString::fromLatin1(module), QString::fromLatin1(folder) + QString::fromLatin1(file), version);
}

} // namespace

DBMigration::DBMigration(QString const& moduleName, int version)
    : m_moduleName(moduleName), m_version(version) {}

DBMigration::~DBMigration() = default;

DBTrivialMigration::DBTrivialMigration(QString const& moduleName, QString const& resourcePath, int version)
    : DBMigration(moduleName, version), m_resourcePath(resourcePath) {}

bool DBTrivialMigration::migrate(SqlConnection& connection) {
    QString text;
    QString error;
    if (!DBMigrationCore::loadResource(m_resourcePath, text, error)) {
        Cobalt::Trace::error("DBTrivialMigration::migrate # %s", qUtf8Printable(error));
        setLastError(error);
        return false;
    }
    if (!DBMigrationCore::applyCommands(connection, DBMigrationCore::splitStatements(text),
                                        moduleName().toUtf8(), &error)) {
        setLastError(QStringLiteral("%1: %2").arg(m_resourcePath, error));
        return false;
    }
    setLastError(QString());
    return true;
}

DummyMigration::DummyMigration(QString const& moduleName, int version) : DBMigration(moduleName, version) {}

bool DummyMigration::migrate(SqlConnection&) {
    return true;
}

bool DBMigrationList::append(std::shared_ptr<DBMigration> migration) {
    if (!migration) {
        Cobalt::Trace::error("DBMigrationList::append # A null step is dropped");
        return false;
    }
    if (migration->version() != lastVersion() + 1) {
        Cobalt::Trace::error("DBMigrationList::append # Step %d of '%s' doesn't follow step %d; dropped",
                             migration->version(), qUtf8Printable(migration->moduleName()), lastVersion());
        return false;
    }
    if (!m_migrations.empty() && migration->moduleName() != moduleName()) {
        Cobalt::Trace::error(
            "DBMigrationList::append # Step %d of '%s' doesn't belong to the chain of '%s'; dropped",
            migration->version(), qUtf8Printable(migration->moduleName()), qUtf8Printable(moduleName()));
        return false;
    }
    m_migrations.push_back(std::move(migration));
    return true;
}

QString DBMigrationList::moduleName() const {
    return m_migrations.empty() ? QString() : m_migrations.front()->moduleName();
}

QString DBMigrationCore::resolveResourcePath(QString const& resourcePath) {
    QLatin1String const prefix(s_multisitePrefix);
    if (resourcePath.startsWith(prefix)) {
        return QStringLiteral(":/multisite/") + resourcePath.mid(prefix.size());
    }
    return resourcePath;
}

bool DBMigrationCore::loadResource(QString const& resourcePath, QString& text, QString& error) {
    QString const resolved = resolveResourcePath(resourcePath);
    QFile file(resolved);
    if (!file.exists()) {
        error = QStringLiteral("No SQL resource '%1' (looked for '%2')").arg(resourcePath, resolved);
        return false;
    }
    if (!file.open(QIODevice::ReadOnly)) {
        error = QStringLiteral("Can't read the SQL resource '%1': %2").arg(resourcePath, file.errorString());
        return false;
    }
    text = QString::fromUtf8(file.readAll());
    return true;
}

QStringList DBMigrationCore::splitStatements(QString const& text) {
    QStringList statements;
    QStringList lines;
    auto const finish = [&statements, &lines] {
        QString const statement = lines.join(QLatin1Char('\n')).trimmed();
        if (!statement.isEmpty()) {
            statements.append(statement);
        }
        lines.clear();
    };
    for (QString const& line : text.split(QLatin1Char('\n'))) {
        QString const trimmed = line.trimmed();
        if (trimmed.startsWith(QLatin1String("--"))) {
            continue;
        }
        if (trimmed.endsWith(QLatin1Char(';'))) {
            lines.append(trimmed.left(trimmed.size() - 1));
            finish();
        } else {
            lines.append(trimmed);
        }
    }
    finish();
    return statements;
}

bool DBMigrationCore::applyCommands(SqlConnection& connection, QStringList const& commands,
                                    QByteArray const& moduleName, QString* error) {
    for (QString const& command : commands) {
        QString reason;
        if (!connection.exec(command, reason)) {
            Cobalt::Trace::error("DBMigrationCore::applyCommands # %s: Failed: \"%s\" (%s)",
                                 moduleName.constData(), qUtf8Printable(command), qUtf8Printable(reason));
            if (error) {
                *error = QStringLiteral("Statement \"%1\" failed: %2").arg(command, reason);
            }
            return false;
        }
    }
    return true;
}

std::shared_ptr<DBMigrationList> DBMigrationList::upTo(int version) const {
    auto list = std::make_shared<DBMigrationList>();
    for (auto const& step : m_migrations) {
        if (step->version() <= version) {
            list->append(step);
        }
    }
    return list;
}

std::shared_ptr<DBMigrationList> coreServerMigrationsSqlite() {
    auto list = std::make_shared<DBMigrationList>();
    list->append(sqlStep(s_coreModule, s_coreFolder, "001_documents.sql", 1));
    list->append(sqlStep(s_coreModule, s_coreFolder, "002_assets.sql", 2));
    list->append(sqlStep(s_coreModule, s_coreFolder, "003_document_passwords.sql", 3));
    return list;
}

std::shared_ptr<DBMigrationList> coreServerMigrationsPsql(QString const& assetDir) {
    auto list = std::make_shared<DBMigrationList>();
    list->append(sqlStep(s_coreModule, s_corePsqlFolder, "001_documents.sql", 1));
    list->append(sqlStep(s_coreModule, s_corePsqlFolder, "002_nodes.sql", 2));
    list->append(sqlStep(s_coreModule, s_corePsqlFolder, "003_assets.sql", 3));
    list->append(
        std::make_shared<AssetDirectoryMigration>(QString::fromLatin1(s_coreModule), 4, QString(), assetDir));
    return list;
}

std::shared_ptr<DBMigrationList> assetMigrationsSqlite(QString const& jsonStorageRoot,
                                                       QString const& assetDir) {
    auto list = std::make_shared<DBMigrationList>();
    list->append(sqlStep(s_assetModule, s_assetFolder, "001_asset_files.sql", 1));
    list->append(sqlStep(s_assetModule, s_assetFolder, "002_asset_roots.sql", 2));
    list->append(std::make_shared<AssetDirectoryMigration>(QString::fromLatin1(s_assetModule), 3,
                                                           jsonStorageRoot, assetDir));
    return list;
}

} // namespace Tessel
