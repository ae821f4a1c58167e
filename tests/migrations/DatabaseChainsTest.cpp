// The database chains that a server or a client built on SQLite runs.

#include "migrations/DatabaseChains.hpp"

#include "platform/tessel/DBMigrationRunner.hpp"
#include "platform/tessel/SqlConnection.hpp"

#include <QDir>
#include <QSqlQuery>
#include <QTemporaryDir>
#include <QVariant>

#include <gtest/gtest.h>

using Tessel::DBMigrationList;
using Tessel::DBMigrationReport;
using Tessel::DBMigrationRunner;
using Tessel::SqlConnection;

namespace {

QStringList moduleNames(QList<std::shared_ptr<DBMigrationList>> const& lists) {
    QStringList names;
    for (auto const& list : lists) {
        names.append(list ? list->moduleName() : QStringLiteral("<null>"));
    }
    return names;
}

/// The (role, path) rows of the asset chain's record of directories.
std::vector<std::pair<QString, QString>> assetRoots(SqlConnection& connection) {
    std::vector<std::pair<QString, QString>> rows;
    QSqlQuery query(connection.database());
    EXPECT_TRUE(query.exec(QStringLiteral("SELECT role, path FROM asset_roots ORDER BY role")));
    while (query.next()) {
        rows.emplace_back(query.value(0).toString(), query.value(1).toString());
    }
    return rows;
}

bool hasTable(SqlConnection& connection, QString const& name) {
    QSqlQuery query(connection.database());
    query.prepare(QStringLiteral("SELECT count(*) FROM sqlite_master WHERE type = 'table' AND name = :name"));
    query.bindValue(QStringLiteral(":name"), name);
    EXPECT_TRUE(query.exec());
    return query.next() && query.value(0).toInt() == 1;
}

} // namespace

TEST(DatabaseChains, TheServerSqliteListHoldsCoreAssetsAndClientStatesInThatOrder) {
    auto const lists = Datamodel::tavolaServerMigrationsSqlite(QStringLiteral("/srv/documents"),
                                                               QStringLiteral("/srv/assets"));
    EXPECT_EQ(moduleNames(lists), (QStringList{QStringLiteral("core"), QStringLiteral("assets"),
                                               QStringLiteral("client_states")}));
    EXPECT_FALSE(moduleNames(lists).contains(QStringLiteral("tavola_data_model")));
}

TEST(DatabaseChains, TheClientStateChainHoldsTwoStepsThatRunNothing) {
    auto const lists = Datamodel::tavolaServerMigrationsSqlite(QString(), QString());
    ASSERT_EQ(lists.size(), 3);
    auto const& clientStates = lists.at(2);
    ASSERT_EQ(clientStates->migrations().size(), 2u);
    for (int index = 0; index < 2; ++index) {
        auto const& step = clientStates->migrations()[static_cast<std::size_t>(index)];
        EXPECT_NE(std::dynamic_pointer_cast<Tessel::DummyMigration>(step), nullptr);
        EXPECT_EQ(step->version(), index + 1);
        EXPECT_EQ(step->moduleName(), QStringLiteral("client_states"));
    }
}

TEST(DatabaseChains, EachCallBuildsNewLists) {
    auto const first = Datamodel::tavolaServerMigrationsSqlite(QString(), QString());
    auto const second = Datamodel::tavolaServerMigrationsSqlite(QString(), QString());
    ASSERT_EQ(first.size(), second.size());
    for (int index = 0; index < first.size(); ++index) {
        EXPECT_NE(first.at(index).get(), second.at(index).get());
    }
}

TEST(DatabaseChains, AFreshServerStoreRunsEveryChainOnceAndHasItsTables) {
    QTemporaryDir directory;
    QString const documents = directory.filePath(QStringLiteral("documents"));
    QString const assets = directory.filePath(QStringLiteral("assets"));
    SqlConnection connection;
    ASSERT_TRUE(connection.openSqlite(directory.filePath(QStringLiteral("server.sqlite"))))
        << connection.lastError().toStdString();
    DBMigrationRunner runner(connection);

    auto const lists = Datamodel::tavolaServerMigrationsSqlite(documents, assets);
    DBMigrationReport const report = runner.run(lists);

    ASSERT_TRUE(report.succeeded()) << report.failedModule.toStdString() << " " << report.failedVersion
                                    << ": " << report.error.toStdString();
    ASSERT_EQ(report.modules.size(), 3u);
    for (auto const& list : lists) {
        EXPECT_EQ(runner.reachedVersion(list->moduleName()), list->lastVersion())
            << list->moduleName().toStdString();
    }
    EXPECT_EQ(runner.reachedVersion(QStringLiteral("client_states")), 2);
    for (QString const& table :
         {QStringLiteral("documents"), QStringLiteral("assets"), QStringLiteral("document_assets"),
          QStringLiteral("asset_files"), QStringLiteral("asset_roots")}) {
        EXPECT_TRUE(hasTable(connection, table)) << table.toStdString();
    }
    EXPECT_EQ(assetRoots(connection), (std::vector<std::pair<QString, QString>>{
                                          {QStringLiteral("assets"), QDir(assets).absolutePath()},
                                          {QStringLiteral("documents"), QDir(documents).absolutePath()}}));

    DBMigrationReport const again = runner.run(Datamodel::tavolaServerMigrationsSqlite(documents, assets));
    ASSERT_TRUE(again.succeeded()) << again.error.toStdString();
    for (auto const& module : again.modules) {
        EXPECT_TRUE(module.stepsRun.empty()) << module.moduleName.toStdString();
    }
}

TEST(DatabaseChains, TheClientListIsTheAssetChainWithoutADocumentDirectory) {
    QTemporaryDir directory;
    QString const assets = directory.filePath(QStringLiteral("assets"));
    auto const lists = Datamodel::tavolaClientMigrationsSqlite(assets);
    EXPECT_EQ(moduleNames(lists), (QStringList{QStringLiteral("assets")}));

    SqlConnection connection;
    ASSERT_TRUE(connection.openSqlite(directory.filePath(QStringLiteral("client.sqlite"))));
    DBMigrationRunner runner(connection);
    DBMigrationReport const report = runner.run(lists);

    ASSERT_TRUE(report.succeeded()) << report.error.toStdString();
    EXPECT_EQ(assetRoots(connection), (std::vector<std::pair<QString, QString>>{
                                          {QStringLiteral("assets"), QDir(assets).absolutePath()}}))
        << "a client records no directory of documents";
    EXPECT_FALSE(hasTable(connection, QStringLiteral("documents"))) << "a client has no server tables";
}
