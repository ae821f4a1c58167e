#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <memory>
#include <vector>

namespace Tessel {

class SqlConnection;

/// One step of a database chain: it carries the tables of its module from the version before it to its own.
/// The runner holds a transaction around each step, together with the record of the version reached.
class DBMigration {
public:
    DBMigration(QString const& moduleName, int version);
    virtual ~DBMigration();

    /// Does the step's work on `connection`. False, with the reason in `lastError()`, when it failed; the
    /// runner then rolls the step back.
    virtual bool migrate(SqlConnection& connection) = 0;

    QString const& moduleName() const { return m_moduleName; }
    int version() const { return m_version; }
    /// Why the last `migrate` failed; empty when it gave no reason.
    QString const& lastError() const { return m_lastError; }

protected:
    void setLastError(QString error) { m_lastError = std::move(error); }

private:
    QString m_moduleName;
    int m_version;
    QString m_lastError;
};

/// A step given by SQL text: the statements of one resource, run in order. A path that begins "multisite:"
/// names an embedded resource ("multisite:server/db/core_sqlite/001_documents.sql" is the resource
/// ":/multisite/server/db/core_sqlite/001_documents.sql"); any other path is read as it is.
class DBTrivialMigration : public DBMigration {
public:
    DBTrivialMigration(QString const& moduleName, QString const& resourcePath, int version);

    bool migrate(SqlConnection& connection) override;

    QString const& resourcePath() const { return m_resourcePath; }

private:
    QString m_resourcePath;
};

/// A step that runs nothing and still holds its number in the chain.
class DummyMigration : public DBMigration {
public:
    DummyMigration(QString const& moduleName, int version);

    bool migrate(SqlConnection& connection) override;
};

/// The chain of one module: its steps in version order, numbered from 1 without gaps.
class DBMigrationList {
public:
    DBMigrationList() = default;

    /// Adds the next step. A step whose version isn't one above the last, or whose module differs from the
    /// chain's, is logged and dropped (false), so that the chain stays one gapless sequence.
    bool append(std::shared_ptr<DBMigration> migration);

    /// The module of the chain's steps; null while the chain is empty.
    QString moduleName() const;
    std::vector<std::shared_ptr<DBMigration>> const& migrations() const { return m_migrations; }
    /// The version a store reaches at the end of the chain; 0 for an empty chain.
    int lastVersion() const { return static_cast<int>(m_migrations.size()); }
    /// The chain up to `version`, as the release that ended there had it: the same steps, shared.
    std::shared_ptr<DBMigrationList> upTo(int version) const;

private:
    std::vector<std::shared_ptr<DBMigration>> m_migrations;
};

/// What the steps share: reading SQL resources and running statements.
class DBMigrationCore {
public:
    /// The Qt resource path of a "multisite:" path; any other path unchanged.
    static QString resolveResourcePath(QString const& resourcePath);
    /// Reads the UTF-8 text of a resource or file. False, with a reason naming the path, when there is none.
    static bool loadResource(QString const& resourcePath, QString& text, QString& error);
    /// Splits SQL text into statements. A statement ends with the line whose last character (blanks aside)
    /// is ';'; a semicolon elsewhere in a line does not end it. Lines that begin with "--" are comments and
    /// dropped. The ';' itself is not part of a statement, and empty statements are left out; text after
    /// the last ';' is a statement of its own.
    static QStringList splitStatements(QString const& text);
    /// Runs `commands` in order on `connection`, stopping at the first that fails. A failure is logged
    /// under `moduleName` (UTF-8) and its reason, naming the statement, goes to `error` when given.
    /// Transactions are the caller's.
    static bool applyCommands(SqlConnection& connection, QStringList const& commands,
                              QByteArray const& moduleName, QString* error = nullptr);
};

/// The server's own tables when they live in SQLite (documents, the assets documents use, ...): module
/// "core", resources under "multisite:server/db/core_sqlite/".
std::shared_ptr<DBMigrationList> coreServerMigrationsSqlite();

/// The server's own tables when they live in PostgreSQL: module "core", resources under
/// "multisite:server/db/core_psql/". They hold the documents ("documents"), every stored node ("nodes",
/// which the data model's tables extend by node id), the assets, and the index of the asset files in
/// `assetDir`, whose last step records that directory and indexes the files found there already.
std::shared_ptr<DBMigrationList> coreServerMigrationsPsql(QString const& assetDir);

/// The index of a store of asset files: module "assets", resources under
/// "multisite:server/db/assets_sqlite/", and a last step that records where the files lie and indexes the
/// files found there already. `assetDir` is the directory of the asset files, each named by its public hash;
/// `jsonStorageRoot` is the directory of a server's stored documents. A null `jsonStorageRoot` means a
/// client, which keeps no documents: only the asset directory is recorded.
std::shared_ptr<DBMigrationList> assetMigrationsSqlite(QString const& jsonStorageRoot,
                                                       QString const& assetDir);

} // namespace Tessel
