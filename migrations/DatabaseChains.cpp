#include "migrations/DatabaseChains.hpp"

#include "migrations/AnnotationDatabaseMigration.hpp"
#include "platform/tessel/Settings.hpp"

#include <initializer_list>

namespace Datamodel {

namespace {

using MakeStep = std::shared_ptr<Tessel::DBMigration> (*)(QString const& moduleName, int version);

/// One row of a chain: its version and either the file of its SQL under the chain's folder, or the step
/// that `make` builds when no SQL text is the step.
struct ChainRow {
    int version;
    char const* file;
    MakeStep make;
};

std::shared_ptr<Tessel::DBMigration> dummy(QString const& moduleName, int version) {
    return std::make_shared<Tessel::DummyMigration>(moduleName, version);
}

std::shared_ptr<Tessel::DBMigration> varyingWidthAnnotations(QString const& moduleName, int version) {
    return std::make_shared<VaryingWidthAnnotationPSQLMigration>(moduleName, version);
}

std::shared_ptr<Tessel::DBMigrationList> chain(char const* module, char const* folder,
                                               std::initializer_list<ChainRow> rows) {
    QString const moduleName = QString::fromLatin1(module);
    auto list = std::make_shared<Tessel::DBMigrationList>();
    for (ChainRow const& row : rows) {
        list->append(row.file ? std::make_shared<Tessel::DBTrivialMigration>(
                                    moduleName, QLatin1String(folder) + QLatin1String(row.file), row.version)
                              : row.make(moduleName, row.version));
    }
    return list;
}

/// Client states keep no tables: their steps only hold the numbers that stores already reached.
std::shared_ptr<Tessel::DBMigrationList> clientStateMigrations() {
    return chain("client_states", "", {{1, nullptr, dummy}, {2, nullptr, dummy}});
}

} // namespace

std::shared_ptr<Tessel::DBMigrationList> tavolaDataModelMigrationsPsql() {
    return chain("tavola_data_model", "multisite:server/db/tavola_data_model/",
                 {
                     {1, "001_tavola_data_model.sql", nullptr},
                     {2, "002_anchor_data.sql", nullptr},
                     {3, "003_tavola_tables.sql", nullptr},
                     {4, "004_video_output_areas.sql", nullptr},
                     {5, "005_asset_original_filename.sql", nullptr},
                     {6, "006_streamlined_annotations.sql", nullptr},
                     {7, "007_non_uniform_tables.sql", nullptr},
                     {8, "008_personal_folders.sql", nullptr},
                     {9, "009_presentations.sql", nullptr},
                     {10, "010_tavola_bookmarks.sql", nullptr},
                     {11, "011_background.sql", nullptr},
                     {12, "012_browser_title.sql", nullptr},
                     {13, nullptr, varyingWidthAnnotations},
                     {14, "014_background.sql", nullptr},
                     {15, "015_rdp_connection.sql", nullptr},
                     {16, "016_note_padding.sql", nullptr},
                     {17, "017_canvas_item_titles.sql", nullptr},
                     {18, "018_anchor_origin.sql", nullptr},
                     {19, "019_remote_touch_enabled.sql", nullptr},
                     {20, "020_table_border.sql", nullptr},
                     {21, "021_broken_note_size.sql", nullptr},
                     {22, nullptr, dummy},
                     {23, "023_canvas_link.sql", nullptr},
                     {24, "024_connectors.sql", nullptr},
                     {25, "025_color_presets.sql", nullptr},
                     {26, "026_note_text_color.sql", nullptr},
                     {27, "027_video_duration_muted.sql", nullptr},
                     {28, "028_reset_color_presets_request.sql", nullptr},
                     {29, "029_model3d_pose.sql", nullptr},
                     {30, "030_model3d_camera.sql", nullptr},
                     {31, "031_model3d_roll.sql", nullptr},
                     {32, "032_model3d_companions.sql", nullptr},
                 });
}

std::shared_ptr<Tessel::DBMigrationList> emblemActionServerMigrationsPsql() {
    // Step 3 takes back what step 2 did; both keep their places, since stores passed through them.
    return chain("emblem_actions", "multisite:server/db/emblem_action/",
                 {
                     {1, "001_emblem_action.sql", nullptr},
                     {2, "002_not_null.sql", nullptr},
                     {3, "003_revert_not_null.sql", nullptr},
                     {4, "004_constraints.sql", nullptr},
                 });
}

std::shared_ptr<Tessel::DBMigrationList> serverIndexMigrationsPsql() {
    return chain("server_indexes", "multisite:server/db/server_index/",
                 {
                     {1, "001_server_index.sql", nullptr},
                     {2, nullptr, dummy},
                     {3, "003_folder_owner.sql", nullptr},
                     {4, "004_canvas_preview.sql", nullptr},
                     {5, "005_canvas_link_permission.sql", nullptr},
                 });
}

QList<std::shared_ptr<Tessel::DBMigrationList>> tavolaServerMigrations(Tessel::Settings const& settings) {
    if (settings.isSqlEnabled()) {
        return tavolaServerMigrationsPsql(settings.assetDir());
    }
    return tavolaServerMigrationsSqlite(settings.jsonStorageRootDir(), settings.assetDir());
}

QList<std::shared_ptr<Tessel::DBMigrationList>> tavolaServerMigrationsPsql(QString const& assetDir) {
    return {Tessel::coreServerMigrationsPsql(assetDir), emblemActionServerMigrationsPsql(),
            serverIndexMigrationsPsql(), tavolaDataModelMigrationsPsql(), clientStateMigrations()};
}

QList<std::shared_ptr<Tessel::DBMigrationList>> tavolaServerMigrationsSqlite(QString const& jsonStorageRoot,
                                                                             QString const& assetDir) {
    return {Tessel::coreServerMigrationsSqlite(), Tessel::assetMigrationsSqlite(jsonStorageRoot, assetDir),
            clientStateMigrations()};
}

QList<std::shared_ptr<Tessel::DBMigrationList>> tavolaClientMigrationsSqlite(QString const& assetDir) {
    return {Tessel::assetMigrationsSqlite(QString(), assetDir)};
}

} // namespace Datamodel
