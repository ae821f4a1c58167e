// Database chains on SQLite: the connection, the steps, the lists and the runner that keeps each module's
// version and stops at the first step that fails.

#include "platform/tessel/DBMigration.hpp"
#include "platform/tessel/DBMigrationRunner.hpp"
#include "platform/tessel/SqlConnection.hpp"

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QSet>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QTemporaryDir>
#include <QVariant>

#include <gtest/gtest.h>

#include <stdexcept>
#include <utility>

using Tessel::DBMigration;
using Tessel::DBMigrationCore;
using Tessel::DBMigrationList;
using Tessel::DBMigrationReport;
using Tessel::DBMigrationRunner;
using Tessel::DBTrivialMigration;
using Tessel::DummyMigration;
using Tessel::SqlConnection;

namespace {

/// A step that notes its module and number in the table "trail" (in the step's transaction) and then does
/// what it is told.
class Recording : public DBMigration {
public:
    enum class Outcome { Succeed, Fail, Throw, NestedCommit, LeaveOpen };
    Recording(QString const& module, int version, Outcome outcome = Outcome::Succeed)
        : DBMigration(module, version), m_outcome(outcome) {}

    bool migrate(SqlConnection& connection) override {
        if (m_outcome == Outcome::NestedCommit || m_outcome == Outcome::LeaveOpen) {
            if (!connection.begin()) {
                return false;
            }
        }
        QString error;
        if (!connection.exec(QStringLiteral("INSERT INTO trail (module, version) VALUES ('%1', %2)")
                                 .arg(moduleName())
                                 .arg(version()),
                             error)) {
            setLastError(error);
            return false;
        }
        switch (m_outcome) {
        case Outcome::Fail:
            setLastError(QStringLiteral("the disk is full"));
            return false;
        case Outcome::Throw:
            throw std::runtime_error("broken step");
        case Outcome::NestedCommit:
            return connection.commit();
        case Outcome::Succeed:
        case Outcome::LeaveOpen:
            break;
        }
        return true;
    }

private:
    Outcome m_outcome;
};

/// A SQLite file in a directory of its own, with the table that `Recording` writes to.
class DBMigrationStore : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(m_directory.isValid());
        ASSERT_TRUE(m_connection.openSqlite(m_directory.filePath(QStringLiteral("store.sqlite"))))
            << m_connection.lastError().toStdString();
        QString error;
        ASSERT_TRUE(
            m_connection.exec(QStringLiteral("CREATE TABLE trail (module TEXT, version INTEGER)"), error));
    }

    /// The (module, version) rows of "trail", in the order they were written.
    std::vector<std::pair<QString, int>> trail() {
        std::vector<std::pair<QString, int>> rows;
        QSqlQuery query(m_connection.database());
        EXPECT_TRUE(query.exec(QStringLiteral("SELECT module, version FROM trail ORDER BY rowid")));
        while (query.next()) {
            rows.emplace_back(query.value(0).toString(), query.value(1).toInt());
        }
        return rows;
    }

    /// Whether the store has a table of that name.
    bool hasTable(QString const& name) {
        QSqlQuery query(m_connection.database());
        query.prepare(
            QStringLiteral("SELECT count(*) FROM sqlite_master WHERE type = 'table' AND name = :name"));
        query.bindValue(QStringLiteral(":name"), name);
        EXPECT_TRUE(query.exec());
        return query.next() && query.value(0).toInt() == 1;
    }

    /// The column names of a table.
    QSet<QString> columns(QString const& table) {
        QSet<QString> names;
        QSqlQuery query(m_connection.database());
        EXPECT_TRUE(query.exec(QStringLiteral("PRAGMA table_info(%1)").arg(table)));
        while (query.next()) {
            names.insert(query.value(1).toString());
        }
        return names;
    }

    /// Whether the versions table holds a row for the module.
    bool hasVersionRow(QString const& module) {
        QSqlQuery query(m_connection.database());
        query.prepare(QStringLiteral("SELECT count(*) FROM schema_versions WHERE module = :module"));
        query.bindValue(QStringLiteral(":module"), module);
        EXPECT_TRUE(query.exec());
        return query.next() && query.value(0).toInt() == 1;
    }

    void setVersion(QString const& module, int version) {
        QString error;
        ASSERT_TRUE(
            m_connection.exec(QStringLiteral("CREATE TABLE IF NOT EXISTS schema_versions "
                                             "(module TEXT PRIMARY KEY NOT NULL, version INTEGER NOT NULL)"),
                              error));
        ASSERT_TRUE(m_connection.exec(
            QStringLiteral("INSERT INTO schema_versions (module, version) VALUES ('%1', %2)")
                .arg(module)
                .arg(version),
            error))
            << error.toStdString();
    }

    /// A file in the store's directory with `text`; its path.
    QString writeFile(QString const& name, QByteArray const& text) {
        QString const path = m_directory.filePath(name);
        QFile file(path);
        EXPECT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(text);
        return path;
    }

    QTemporaryDir m_directory;
    SqlConnection m_connection;
};

std::shared_ptr<DBMigrationList> chainOf(std::vector<std::shared_ptr<DBMigration>> const& steps) {
    auto list = std::make_shared<DBMigrationList>();
    for (auto const& step : steps) {
        EXPECT_TRUE(list->append(step));
    }
    return list;
}

/// A chain of `length` recording steps of `module` that succeed.
std::shared_ptr<DBMigrationList> recordingChain(QString const& module, int length) {
    auto list = std::make_shared<DBMigrationList>();
    for (int version = 1; version <= length; ++version) {
        list->append(std::make_shared<Recording>(module, version));
    }
    return list;
}

using Trail = std::vector<std::pair<QString, int>>;

QString const alpha = QStringLiteral("alpha");
QString const beta = QStringLiteral("beta");

} // namespace

// --- SqlConnection

TEST(DBMigrationSqlConnection, OpensASqliteFileAndRunsStatements) {
    QTemporaryDir directory;
    QString const path = directory.filePath(QStringLiteral("db.sqlite"));
    SqlConnection connection;
    ASSERT_TRUE(connection.openSqlite(path)) << connection.lastError().toStdString();
    EXPECT_TRUE(connection.isOpen());
    QString error;
    EXPECT_TRUE(connection.exec(QStringLiteral("CREATE TABLE t (x INTEGER)"), error));
    EXPECT_TRUE(connection.exec(QStringLiteral("INSERT INTO t VALUES (7)"), error));
    EXPECT_TRUE(QFile::exists(path));
    QSqlQuery query(connection.database());
    ASSERT_TRUE(query.exec(QStringLiteral("SELECT x FROM t")));
    ASSERT_TRUE(query.next());
    EXPECT_EQ(query.value(0).toInt(), 7);
}

TEST(DBMigrationSqlConnection, AFailingStatementGivesTheDatabasesReason) {
    SqlConnection connection;
    ASSERT_TRUE(connection.openSqlite(QStringLiteral(":memory:")));
    QString error;
    EXPECT_FALSE(connection.exec(QStringLiteral("SELECT * FROM no_such_table"), error));
    EXPECT_NE(error.indexOf(QStringLiteral("no_such_table")), -1) << error.toStdString();
    EXPECT_EQ(connection.lastError(), error);
}

TEST(DBMigrationSqlConnection, AStatementOnAConnectionNotOpenFails) {
    SqlConnection connection;
    QString error;
    EXPECT_FALSE(connection.exec(QStringLiteral("SELECT 1"), error));
    EXPECT_FALSE(error.isEmpty());
    EXPECT_FALSE(connection.begin());
}

TEST(DBMigrationSqlConnection, AFileThatCanNotBeMadeIsNamedInTheError) {
    QTemporaryDir directory;
    QString const path = directory.filePath(QStringLiteral("missing/dir/db.sqlite"));
    SqlConnection connection;
    EXPECT_FALSE(connection.openSqlite(path));
    EXPECT_NE(connection.lastError().indexOf(path), -1) << connection.lastError().toStdString();
    EXPECT_FALSE(connection.isOpen());
}

TEST(DBMigrationSqlConnection, AFileThatIsNoDatabaseIsRefused) {
    QTemporaryDir directory;
    QString const path = directory.filePath(QStringLiteral("notes.txt"));
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write(QByteArray(4096, 'x'));
    file.close();
    SqlConnection connection;
    EXPECT_FALSE(connection.openSqlite(path));
    EXPECT_NE(connection.lastError().indexOf(path), -1) << connection.lastError().toStdString();
}

TEST(DBMigrationSqlConnection, EachConnectionHasItsOwnNameWhichGoesWithIt) {
    QString name;
    {
        SqlConnection first;
        SqlConnection second;
        ASSERT_TRUE(first.openSqlite(QStringLiteral(":memory:")));
        ASSERT_TRUE(second.openSqlite(QStringLiteral(":memory:")));
        EXPECT_NE(first.connectionName(), second.connectionName());
        name = first.connectionName();
        EXPECT_TRUE(QSqlDatabase::contains(name));
    }
    EXPECT_FALSE(QSqlDatabase::contains(name));
}

TEST(DBMigrationSqlConnection, AnInnerTransactionRollsBackOnlyItsOwnPart) {
    SqlConnection connection;
    ASSERT_TRUE(connection.openSqlite(QStringLiteral(":memory:")));
    QString error;
    ASSERT_TRUE(connection.exec(QStringLiteral("CREATE TABLE t (x INTEGER)"), error));
    ASSERT_TRUE(connection.begin());
    ASSERT_TRUE(connection.exec(QStringLiteral("INSERT INTO t VALUES (1)"), error));
    ASSERT_TRUE(connection.begin());
    EXPECT_EQ(connection.transactionDepth(), 2);
    ASSERT_TRUE(connection.exec(QStringLiteral("INSERT INTO t VALUES (2)"), error));
    ASSERT_TRUE(connection.rollback());
    ASSERT_TRUE(connection.begin());
    ASSERT_TRUE(connection.exec(QStringLiteral("INSERT INTO t VALUES (3)"), error));
    ASSERT_TRUE(connection.commit());
    ASSERT_TRUE(connection.commit());
    EXPECT_EQ(connection.transactionDepth(), 0);
    EXPECT_FALSE(connection.commit()) << "nothing is left to commit";

    QSqlQuery query(connection.database());
    ASSERT_TRUE(query.exec(QStringLiteral("SELECT x FROM t ORDER BY x")));
    std::vector<int> values;
    while (query.next()) {
        values.push_back(query.value(0).toInt());
    }
    EXPECT_EQ(values, (std::vector<int>{1, 3}));
}

// --- DBMigrationCore

TEST(DBMigrationCore, StatementsEndAtLinesEndingWithASemicolonAndCommentLinesAreDropped) {
    QString const text = QStringLiteral("-- a comment; with a semicolon;\n"
                                        "CREATE TABLE a (\n"
                                        "    x INTEGER, y TEXT DEFAULT 'p;q'\n"
                                        ");\n"
                                        "\n"
                                        "  INSERT INTO a (x) VALUES (1) ;  \n"
                                        "INSERT INTO a (x)\n"
                                        "VALUES (2)\n");
    EXPECT_EQ(DBMigrationCore::splitStatements(text),
              (QStringList{QStringLiteral("CREATE TABLE a (\nx INTEGER, y TEXT DEFAULT 'p;q'\n)"),
                           QStringLiteral("INSERT INTO a (x) VALUES (1)"),
                           QStringLiteral("INSERT INTO a (x)\nVALUES (2)")}));
}

TEST(DBMigrationCore, TextWithoutStatementsGivesNone) {
    EXPECT_TRUE(DBMigrationCore::splitStatements(QString()).isEmpty());
    EXPECT_TRUE(DBMigrationCore::splitStatements(QStringLiteral("-- only a comment\n;\n\n")).isEmpty());
}

TEST(DBMigrationCore, MultisitePathsResolveToTheEmbeddedResources) {
    EXPECT_EQ(DBMigrationCore::resolveResourcePath(QStringLiteral("multisite:server/db/x/001_y.sql")),
              QStringLiteral(":/multisite/server/db/x/001_y.sql"));
    EXPECT_EQ(DBMigrationCore::resolveResourcePath(QStringLiteral("/tmp/001_y.sql")),
              QStringLiteral("/tmp/001_y.sql"));

    QString text;
    QString error;
    ASSERT_TRUE(DBMigrationCore::loadResource(
        QStringLiteral("multisite:server/db/core_sqlite/001_documents.sql"), text, error))
        << error.toStdString();
    EXPECT_NE(text.indexOf(QStringLiteral("CREATE TABLE documents")), -1);
}

TEST_F(DBMigrationStore, CoreAppliesCommandsInOrderAndStopsAtTheFirstFailure) {
    QString error;
    EXPECT_FALSE(DBMigrationCore::applyCommands(m_connection,
                                                {QStringLiteral("INSERT INTO trail VALUES ('m', 1)"),
                                                 QStringLiteral("INSERT INTO nowhere VALUES (2)"),
                                                 QStringLiteral("INSERT INTO trail VALUES ('m', 3)")},
                                                "m", &error));
    EXPECT_NE(error.indexOf(QStringLiteral("INSERT INTO nowhere VALUES (2)")), -1) << error.toStdString();
    EXPECT_EQ(trail(), (Trail{{QStringLiteral("m"), 1}}));
    EXPECT_TRUE(DBMigrationCore::applyCommands(m_connection,
                                               {QStringLiteral("INSERT INTO trail VALUES ('m', 4)")}, "m"));
    EXPECT_EQ(trail().size(), 2u);
}

// --- DBMigrationList

TEST(DBMigrationList, RefusesAStepThatIsNotTheNextOne) {
    DBMigrationList list;
    EXPECT_TRUE(list.moduleName().isNull());
    EXPECT_FALSE(list.append(std::make_shared<DummyMigration>(alpha, 2))) << "a chain starts at 1";
    EXPECT_TRUE(list.append(std::make_shared<DummyMigration>(alpha, 1)));
    EXPECT_FALSE(list.append(std::make_shared<DummyMigration>(alpha, 3))) << "2 is missing";
    EXPECT_FALSE(list.append(std::make_shared<DummyMigration>(alpha, 1))) << "1 is there already";
    EXPECT_FALSE(list.append(nullptr));
    EXPECT_EQ(list.lastVersion(), 1);
    EXPECT_TRUE(list.append(std::make_shared<DummyMigration>(alpha, 2)));
    EXPECT_EQ(list.lastVersion(), 2);
    EXPECT_EQ(list.moduleName(), alpha);
}

TEST(DBMigrationList, RefusesAStepOfAnotherModule) {
    DBMigrationList list;
    EXPECT_TRUE(list.append(std::make_shared<DummyMigration>(alpha, 1)));
    EXPECT_FALSE(list.append(std::make_shared<DummyMigration>(beta, 2)));
    EXPECT_EQ(list.migrations().size(), 1u);
}

TEST(DBMigrationList, UpToAVersionSharesTheFirstStepsAndNoMore) {
    DBMigrationList list;
    for (int version = 1; version <= 4; ++version) {
        ASSERT_TRUE(list.append(std::make_shared<DummyMigration>(alpha, version)));
    }
    auto const older = list.upTo(2);
    ASSERT_EQ(older->lastVersion(), 2);
    EXPECT_EQ(older->migrations().at(1), list.migrations().at(1)) << "the steps are shared, not copied";
    EXPECT_EQ(list.upTo(0)->lastVersion(), 0);
    EXPECT_EQ(list.upTo(9)->lastVersion(), 4);
}

// --- The steps

TEST(DBMigrationDummy, RunsNothingAndSucceeds) {
    DummyMigration step(alpha, 22);
    SqlConnection closed;
    EXPECT_TRUE(step.migrate(closed)) << "not even a connection is needed, since nothing runs";
    EXPECT_EQ(step.moduleName(), alpha);
    EXPECT_EQ(step.version(), 22);
}

TEST_F(DBMigrationStore, TrivialFailsOnAMissingResourceAndNamesItsPath) {
    QString const path = QStringLiteral("multisite:server/db/nowhere/001_missing.sql");
    DBTrivialMigration step(alpha, path, 1);
    EXPECT_FALSE(step.migrate(m_connection));
    EXPECT_NE(step.lastError().indexOf(path), -1) << step.lastError().toStdString();

    DBMigrationReport const report =
        DBMigrationRunner(m_connection).run(*chainOf({std::make_shared<DBTrivialMigration>(alpha, path, 1)}));
    EXPECT_TRUE(report.failed);
    EXPECT_NE(report.error.indexOf(path), -1) << report.error.toStdString();
}

TEST_F(DBMigrationStore, TrivialRunsEveryStatementOfItsText) {
    QString const path = writeFile(QStringLiteral("001_two.sql"),
                                   "CREATE TABLE one (x INTEGER);\nCREATE TABLE two (\n    y TEXT\n);\n");
    DBTrivialMigration step(alpha, path, 1);
    EXPECT_EQ(step.resourcePath(), path);
    ASSERT_TRUE(step.migrate(m_connection)) << step.lastError().toStdString();
    EXPECT_TRUE(hasTable(QStringLiteral("one")));
    EXPECT_TRUE(hasTable(QStringLiteral("two")));
}

// --- The runner

TEST_F(DBMigrationStore, RunnerRunsEveryStepOfAFreshStoreAndRecordsTheVersions) {
    DBMigrationRunner runner(m_connection);
    DBMigrationReport const report = runner.run({recordingChain(alpha, 3), recordingChain(beta, 2)});

    ASSERT_TRUE(report.succeeded()) << report.error.toStdString();
    EXPECT_EQ(trail(), (Trail{{alpha, 1}, {alpha, 2}, {alpha, 3}, {beta, 1}, {beta, 2}}));
    ASSERT_EQ(report.modules.size(), 2u);
    EXPECT_EQ(report.modules[0].moduleName, alpha);
    EXPECT_EQ(report.modules[0].fromVersion, 0);
    EXPECT_EQ(report.modules[0].toVersion, 3);
    EXPECT_EQ(report.modules[0].stepsRun, (std::vector<int>{1, 2, 3}));
    EXPECT_EQ(report.modules[1].moduleName, beta);
    EXPECT_EQ(report.modules[1].toVersion, 2);
    EXPECT_EQ(runner.reachedVersion(alpha), 3);
    EXPECT_EQ(runner.reachedVersion(beta), 2);
    EXPECT_TRUE(hasTable(QLatin1String(DBMigrationRunner::versionsTable)));
    EXPECT_EQ(m_connection.transactionDepth(), 0);
}

TEST_F(DBMigrationStore, RunnerRunsNothingTheSecondTime) {
    DBMigrationRunner runner(m_connection);
    ASSERT_TRUE(runner.run({recordingChain(alpha, 3), recordingChain(beta, 2)}).succeeded());
    DBMigrationReport const again = runner.run({recordingChain(alpha, 3), recordingChain(beta, 2)});

    ASSERT_TRUE(again.succeeded());
    EXPECT_EQ(trail().size(), 5u);
    ASSERT_EQ(again.modules.size(), 2u);
    for (auto const& module : again.modules) {
        EXPECT_TRUE(module.stepsRun.empty()) << module.moduleName.toStdString();
        EXPECT_EQ(module.fromVersion, module.toVersion);
    }
}

TEST_F(DBMigrationStore, RunnerRunsOnlyTheStepsAboveTheVersionReached) {
    setVersion(alpha, 2);
    DBMigrationRunner runner(m_connection);
    DBMigrationReport const report = runner.run(*recordingChain(alpha, 4));

    ASSERT_TRUE(report.succeeded()) << report.error.toStdString();
    EXPECT_EQ(trail(), (Trail{{alpha, 3}, {alpha, 4}}));
    EXPECT_EQ(report.modules.at(0).fromVersion, 2);
    EXPECT_EQ(runner.reachedVersion(alpha), 4);
}

TEST_F(DBMigrationStore, RunnerTellsOfEachStepBeforeItRuns) {
    setVersion(alpha, 2);
    DBMigrationRunner runner(m_connection);
    std::vector<int> told;
    runner.setStepStarting([&](Tessel::DBMigration const& step) {
        told.push_back(step.version());
        EXPECT_EQ(trail().size(), told.size() - 1) << "told before the step runs";
    });
    ASSERT_TRUE(runner.run(*recordingChain(alpha, 4)).succeeded());
    EXPECT_EQ(told, (std::vector<int>{3, 4})) << "only the steps that run";
}

TEST_F(DBMigrationStore, RunnerPassesADummyStepAt22FromAStoreAt21) {
    auto list = recordingChain(alpha, 21);
    ASSERT_TRUE(list->append(std::make_shared<DummyMigration>(alpha, 22)));
    ASSERT_TRUE(list->append(std::make_shared<Recording>(alpha, 23)));
    setVersion(alpha, 21);
    DBMigrationRunner runner(m_connection);
    DBMigrationReport const report = runner.run(*list);

    ASSERT_TRUE(report.succeeded()) << report.error.toStdString();
    EXPECT_EQ(report.modules.at(0).stepsRun, (std::vector<int>{22, 23}));
    EXPECT_EQ(trail(), (Trail{{alpha, 23}})) << "step 22 ran no statement";
    EXPECT_GT(runner.reachedVersion(alpha), 22);
}

TEST_F(DBMigrationStore, RunnerRollsBackAFailingStepAndStopsEveryLaterChain) {
    auto first = chainOf({std::make_shared<Recording>(alpha, 1),
                          std::make_shared<Recording>(alpha, 2, Recording::Outcome::Fail),
                          std::make_shared<Recording>(alpha, 3)});
    DBMigrationRunner runner(m_connection);
    DBMigrationReport const report = runner.run({first, recordingChain(beta, 1)});

    EXPECT_TRUE(report.failed);
    EXPECT_EQ(report.failedModule, alpha);
    EXPECT_EQ(report.failedVersion, 2);
    EXPECT_NE(report.error.indexOf(QStringLiteral("the disk is full")), -1) << report.error.toStdString();
    EXPECT_EQ(trail(), (Trail{{alpha, 1}})) << "what step 2 wrote is rolled back, and nothing ran after it";
    EXPECT_EQ(runner.reachedVersion(alpha), 1);
    EXPECT_FALSE(hasVersionRow(beta));
    ASSERT_EQ(report.modules.size(), 1u);
    EXPECT_EQ(report.modules[0].stepsRun, (std::vector<int>{1}));
    EXPECT_EQ(report.modules[0].toVersion, 1);
    EXPECT_EQ(m_connection.transactionDepth(), 0);

    DBMigrationReport const retry = runner.run({recordingChain(alpha, 3), recordingChain(beta, 1)});
    ASSERT_TRUE(retry.succeeded()) << "the store stays usable: " << retry.error.toStdString();
    EXPECT_EQ(trail(), (Trail{{alpha, 1}, {alpha, 2}, {alpha, 3}, {beta, 1}}));
}

TEST_F(DBMigrationStore, RunnerRollsBackTheStatementsBeforeABadOne) {
    QString const path = writeFile(QStringLiteral("001_half.sql"), "CREATE TABLE half (x INTEGER);\n"
                                                                   "INSERT INTO half VALUES (1);\n"
                                                                   "INSERT INTO nowhere VALUES (2);\n");
    DBMigrationRunner runner(m_connection);
    DBMigrationReport const report =
        runner.run({chainOf({std::make_shared<DBTrivialMigration>(alpha, path, 1)})});

    EXPECT_TRUE(report.failed);
    EXPECT_EQ(report.failedModule, alpha);
    EXPECT_EQ(report.failedVersion, 1);
    EXPECT_NE(report.error.indexOf(QStringLiteral("INSERT INTO nowhere VALUES (2)")), -1)
        << report.error.toStdString();
    EXPECT_NE(report.error.indexOf(path), -1) << report.error.toStdString();
    EXPECT_FALSE(hasTable(QStringLiteral("half")));
    EXPECT_FALSE(hasVersionRow(alpha));
}

TEST_F(DBMigrationStore, RunnerReportsAStepThatThrows) {
    DBMigrationRunner runner(m_connection);
    DBMigrationReport const report =
        runner.run(*chainOf({std::make_shared<Recording>(alpha, 1, Recording::Outcome::Throw)}));

    EXPECT_TRUE(report.failed);
    EXPECT_EQ(report.failedVersion, 1);
    EXPECT_NE(report.error.indexOf(QStringLiteral("broken step")), -1) << report.error.toStdString();
    EXPECT_TRUE(trail().empty());
    EXPECT_EQ(m_connection.transactionDepth(), 0);
}

TEST_F(DBMigrationStore, RunnerLetsAStepHoldATransactionOfItsOwn) {
    DBMigrationRunner runner(m_connection);
    DBMigrationReport const report =
        runner.run(*chainOf({std::make_shared<Recording>(alpha, 1, Recording::Outcome::NestedCommit)}));

    ASSERT_TRUE(report.succeeded()) << report.error.toStdString();
    EXPECT_EQ(trail(), (Trail{{alpha, 1}}));
    EXPECT_EQ(runner.reachedVersion(alpha), 1);
}

TEST_F(DBMigrationStore, RunnerFailsAStepThatLeavesATransactionOpen) {
    DBMigrationRunner runner(m_connection);
    DBMigrationReport const report =
        runner.run(*chainOf({std::make_shared<Recording>(alpha, 1, Recording::Outcome::LeaveOpen)}));

    EXPECT_TRUE(report.failed);
    EXPECT_EQ(report.failedVersion, 1);
    EXPECT_TRUE(trail().empty());
    EXPECT_EQ(m_connection.transactionDepth(), 0);
}

TEST_F(DBMigrationStore, RunnerRefusesAStoreAheadOfItsChain) {
    setVersion(alpha, 5);
    DBMigrationRunner runner(m_connection);
    DBMigrationReport const report = runner.run({recordingChain(alpha, 3), recordingChain(beta, 1)});

    EXPECT_TRUE(report.failed);
    EXPECT_EQ(report.failedModule, alpha);
    EXPECT_EQ(report.failedVersion, 5);
    EXPECT_TRUE(trail().empty());
    EXPECT_EQ(runner.reachedVersion(alpha), 5);
}

// --- The platform's own chains

TEST_F(DBMigrationStore, CoreChainCreatesTheServersTables) {
    auto const list = Tessel::coreServerMigrationsSqlite();
    EXPECT_EQ(list->moduleName(), QStringLiteral("core"));
    DBMigrationRunner runner(m_connection);
    DBMigrationReport const report = runner.run(*list);

    ASSERT_TRUE(report.succeeded()) << report.error.toStdString();
    EXPECT_TRUE(hasTable(QStringLiteral("documents")));
    EXPECT_TRUE(hasTable(QStringLiteral("assets")));
    EXPECT_TRUE(hasTable(QStringLiteral("document_assets")));
    EXPECT_EQ(columns(QStringLiteral("documents")),
              (QSet<QString>{"id", "type", "name", "state", "created", "modified", "size",
                             "has_main_password", "has_access_password"}));
    EXPECT_EQ(columns(QStringLiteral("assets")),
              (QSet<QString>{"public_hash", "size", "file_name", "created"}));
    EXPECT_EQ(runner.reachedVersion(QStringLiteral("core")), list->lastVersion());

    // A document's assets go with it.
    QString error;
    ASSERT_TRUE(m_connection.exec(QStringLiteral("INSERT INTO documents (id, type, created, modified) "
                                                 "VALUES ('d1', 'kx-tavola', 1, 1)"),
                                  error))
        << error.toStdString();
    ASSERT_TRUE(m_connection.exec(
        QStringLiteral("INSERT INTO assets (public_hash, size, created) VALUES ('h', 3, 1)"), error));
    ASSERT_TRUE(m_connection.exec(
        QStringLiteral("INSERT INTO document_assets (document_id, public_hash) VALUES ('d1', 'h')"), error));
    EXPECT_FALSE(m_connection.exec(
        QStringLiteral("INSERT INTO document_assets (document_id, public_hash) VALUES ('d2', 'h')"), error))
        << "a link to a document that doesn't exist is refused";
    ASSERT_TRUE(m_connection.exec(QStringLiteral("DELETE FROM documents WHERE id = 'd1'"), error));
    QSqlQuery query(m_connection.database());
    ASSERT_TRUE(query.exec(QStringLiteral("SELECT count(*) FROM document_assets")));
    ASSERT_TRUE(query.next());
    EXPECT_EQ(query.value(0).toInt(), 0);
}

TEST_F(DBMigrationStore, EveryResourceOfThePlatformChainsIsEmbedded) {
    for (auto const& list :
         {Tessel::coreServerMigrationsSqlite(), Tessel::assetMigrationsSqlite(QString(), QString()),
          Tessel::coreServerMigrationsPsql(QString())}) {
        for (auto const& step : list->migrations()) {
            auto const trivial = std::dynamic_pointer_cast<DBTrivialMigration>(step);
            if (!trivial) {
                continue;
            }
            EXPECT_TRUE(trivial->resourcePath().startsWith(QStringLiteral("multisite:server/db/")));
            QString text;
            QString error;
            EXPECT_TRUE(DBMigrationCore::loadResource(trivial->resourcePath(), text, error))
                << error.toStdString();
            EXPECT_FALSE(DBMigrationCore::splitStatements(text).isEmpty())
                << trivial->resourcePath().toStdString();
        }
    }
}

TEST_F(DBMigrationStore, AssetChainIndexesTheFilesOfTheAssetDirectoryAndRecordsTheDirectories) {
    QString const assetDir = m_directory.filePath(QStringLiteral("assets"));
    QString const documents = m_directory.filePath(QStringLiteral("documents"));
    ASSERT_TRUE(QDir().mkpath(assetDir));
    QByteArray const content("hello");
    QString const hash =
        QString::fromLatin1(QCryptographicHash::hash(content, QCryptographicHash::Sha256).toHex());
    for (QString const& name : {hash, QStringLiteral("import.tmp")}) {
        QFile file(QDir(assetDir).filePath(name));
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(content);
    }

    auto const list = Tessel::assetMigrationsSqlite(documents, assetDir);
    EXPECT_EQ(list->moduleName(), QStringLiteral("assets"));
    DBMigrationRunner runner(m_connection);
    DBMigrationReport const report = runner.run(*list);

    ASSERT_TRUE(report.succeeded()) << report.error.toStdString();
    EXPECT_TRUE(hasTable(QStringLiteral("asset_files")));
    EXPECT_TRUE(hasTable(QStringLiteral("asset_roots")));
    QSqlQuery files(m_connection.database());
    ASSERT_TRUE(files.exec(QStringLiteral("SELECT public_hash, size FROM asset_files")));
    ASSERT_TRUE(files.next());
    EXPECT_EQ(files.value(0).toString(), hash);
    EXPECT_EQ(files.value(1).toLongLong(), content.size());
    EXPECT_FALSE(files.next()) << "a file not named by a hash is no asset";

    QSqlQuery roots(m_connection.database());
    ASSERT_TRUE(roots.exec(QStringLiteral("SELECT role, path FROM asset_roots ORDER BY role")));
    std::vector<std::pair<QString, QString>> recorded;
    while (roots.next()) {
        recorded.emplace_back(roots.value(0).toString(), roots.value(1).toString());
    }
    EXPECT_EQ(recorded, (std::vector<std::pair<QString, QString>>{
                            {QStringLiteral("assets"), QDir(assetDir).absolutePath()},
                            {QStringLiteral("documents"), QDir(documents).absolutePath()}}));
}
