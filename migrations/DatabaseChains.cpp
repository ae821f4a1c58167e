#include "migrations/DatabaseChains.hpp"

namespace Datamodel {

namespace {

/// Client states keep no tables: their steps only hold the numbers that stores already reached.
std::shared_ptr<Tessel::DBMigrationList> clientStateMigrations() {
    QString const module = QStringLiteral("client_states");
    auto list = std::make_shared<Tessel::DBMigrationList>();
    list->append(std::make_shared<Tessel::DummyMigration>(module, 1));
    list->append(std::make_shared<Tessel::DummyMigration>(module, 2));
    return list;
}

} // namespace

QList<std::shared_ptr<Tessel::DBMigrationList>> tavolaServerMigrationsSqlite(QString const& jsonStorageRoot,
                                                                             QString const& assetDir) {
    return {Tessel::coreServerMigrationsSqlite(), Tessel::assetMigrationsSqlite(jsonStorageRoot, assetDir),
            clientStateMigrations()};
}

QList<std::shared_ptr<Tessel::DBMigrationList>> tavolaClientMigrationsSqlite(QString const& assetDir) {
    return {Tessel::assetMigrationsSqlite(QString(), assetDir)};
}

} // namespace Datamodel
