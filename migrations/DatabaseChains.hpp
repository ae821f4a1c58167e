#pragma once

#include "platform/tessel/DBMigration.hpp"

#include <QList>
#include <QString>

#include <memory>

namespace Tessel {
class Settings;
}

namespace Datamodel {

/// The database chains of a server, as its settings store it: in PostgreSQL when SQL is enabled
/// (`tavolaServerMigrationsPsql`), else in SQLite beside the JSON files of its documents
/// (`tavolaServerMigrationsSqlite`). Each call builds new lists.
QList<std::shared_ptr<Tessel::DBMigrationList>> tavolaServerMigrations(Tessel::Settings const& settings);

/// The database chains of a server whose documents and tables live in PostgreSQL, in the order they run:
/// the server's own tables with the index of the asset files in `assetDir` (module "core"), the emblem
/// actions ("emblem_actions"), the server index ("server_indexes"), the tables of the data model
/// ("tavola_data_model", 32 steps) and the client states ("client_states").
QList<std::shared_ptr<Tessel::DBMigrationList>> tavolaServerMigrationsPsql(QString const& assetDir);

/// The tables of the data model in PostgreSQL: module "tavola_data_model", one table per stored element type
/// (its type key plus "s"), one column per attribute. Step 13 converts the strokes
/// (`VaryingWidthAnnotationPSQLMigration`); step 22 runs nothing.
std::shared_ptr<Tessel::DBMigrationList> tavolaDataModelMigrationsPsql();
/// The table of the emblem actions in PostgreSQL: module "emblem_actions", 4 steps.
std::shared_ptr<Tessel::DBMigrationList> emblemActionServerMigrationsPsql();
/// The tables of the server index in PostgreSQL: module "server_indexes", 5 steps, of which 2 runs nothing.
std::shared_ptr<Tessel::DBMigrationList> serverIndexMigrationsPsql();

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
