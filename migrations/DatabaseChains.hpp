#pragma once

#include "platform/tessel/DBMigration.hpp"

#include <QList>
#include <QString>

#include <memory>

namespace Datamodel {

/// The database chains of a server whose tables live in SQLite, in the order they run: the server's own
/// tables (module "core"), the index of its asset files (module "assets", with `jsonStorageRoot` the
/// directory of its stored documents and `assetDir` that of its asset files), and the client states (module
/// "client_states", whose steps run nothing). Documents lie under the JSON storage root on this path, and
/// their JSON chains are what carry them forward, so no chain of the data model is here.
QList<std::shared_ptr<Tessel::DBMigrationList>> tavolaServerMigrationsSqlite(QString const& jsonStorageRoot,
                                                                             QString const& assetDir);

/// The database chains of a client: only the index of its asset files in `assetDir` (module "assets"),
/// made with a null JSON storage root since a client keeps no documents.
QList<std::shared_ptr<Tessel::DBMigrationList>> tavolaClientMigrationsSqlite(QString const& assetDir);

} // namespace Datamodel
