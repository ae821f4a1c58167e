// The database chains of a server whose documents and tables live in PostgreSQL, run on a real server.

#include "migrations/AnnotationDatabaseMigration.hpp"
#include "migrations/DatabaseChains.hpp"

#include "platform/tessel/DBMigrationRunner.hpp"
#include "platform/tessel/Settings.hpp"
#include "platform/tessel/SqlConnection.hpp"
#include "tests/support/CapturedLog.hpp"
#include "tests/support/PostgresTestDatabase.hpp"

#include <QRegularExpression>
#include <QSqlQuery>
#include <QVariant>

#include <algorithm>
#include <numeric>

#include <gtest/gtest.h>

using Tessel::DBMigrationList;
using Tessel::DBMigrationReport;
using Tessel::DBMigrationRunner;
using Tessel::DBTrivialMigration;
using Tessel::DummyMigration;
using Tessel::SqlConnection;
using TestSupport::CapturedLog;
using TestSupport::PostgresTestDatabase;

namespace {

constexpr char kDataModel[] = "tavola_data_model";

QStringList moduleNames(QList<std::shared_ptr<DBMigrationList>> const& lists) {
    QStringList names;
    for (auto const& list : lists) {
        names.append(list->moduleName());
    }
    return names;
}

std::string describe(DBMigrationReport const& report) {
    return QStringLiteral("%1 %2: %3")
        .arg(report.failedModule)
        .arg(report.failedVersion)
        .arg(report.error)
        .toStdString();
}

/// A store in a database of its own, at the versions an older release left.
class PostgresStore : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(m_database.isReady()) << m_database.error().toStdString();
        ASSERT_TRUE(m_connection.openPostgres(m_database.connectionInfo()))
            << m_connection.lastError().toStdString();
    }

    /// Brings the store to `version` of the data model, with every chain before it at its end.
    void reachDataModelVersion(int version) {
        auto lists = Datamodel::tavolaServerMigrationsPsql(QString());
        lists.removeLast(); // client states come after the data model
        lists.last() = lists.last()->upTo(version);
        DBMigrationReport const report = m_runner.run(lists);
        ASSERT_TRUE(report.succeeded()) << describe(report);
        ASSERT_EQ(m_runner.reachedVersion(QString::fromLatin1(kDataModel)), version);
    }

    DBMigrationReport runEveryChain() {
        return m_runner.run(Datamodel::tavolaServerMigrationsPsql(QString()));
    }

    QVariant scalar(QString const& statement) {
        QSqlQuery query(m_connection.database());
        EXPECT_TRUE(query.exec(statement)) << statement.toStdString();
        return query.next() ? query.value(0) : QVariant();
    }

    void exec(QString const& statement) {
        QString error;
        ASSERT_TRUE(m_connection.exec(statement, error))
            << statement.toStdString() << ": " << error.toStdString();
    }

    /// A column's entry of `field` in the schema: "data_type" ("real", "ARRAY" ...) or "udt_name" ("_point",
    /// "_bezier_node" ...); empty when there is no such column.
    QString columnInfo(QString const& table, QString const& column,
                       QString const& field = QStringLiteral("data_type")) {
        return scalar(QStringLiteral("SELECT %1 FROM information_schema.columns WHERE table_name = '%2' "
                                     "AND column_name = '%3'")
                          .arg(field, table, column))
            .toString();
    }
    QString columnType(QString const& table, QString const& column) { return columnInfo(table, column); }
    QString columnElementType(QString const& table, QString const& column) {
        return columnInfo(table, column, QStringLiteral("udt_name"));
    }

    /// A canvas with one stroke per path, each drawn with `lineWidth`; returns the strokes' ids in order.
    QStringList addStrokes(std::vector<QString> const& paths, float lineWidth) {
        exec(QStringLiteral(
            "INSERT INTO documents (id, type, created, modified) VALUES ('canvas', 'kx-tavola', 0, 0)"));
        exec(QStringLiteral(
            "INSERT INTO nodes (id, document_id, parent_id, type, name) VALUES "
            "('00000000-0000-0000-0000-000000000001', 'canvas', NULL, 'tavola_shared_canvas', 'root')"));
        QStringList ids;
        for (std::size_t i = 0; i < paths.size(); ++i) {
            QString const id = QStringLiteral("00000000-0000-0000-0001-%1").arg(i, 12, 10, QLatin1Char('0'));
            exec(QStringLiteral(
                     "INSERT INTO nodes (id, document_id, parent_id, type, name) VALUES "
                     "('%1', 'canvas', '00000000-0000-0000-0000-000000000001', 'tavola_annotation', "
                     "'stroke%2')")
                     .arg(id)
                     .arg(i));
            exec(QStringLiteral(
                     "INSERT INTO tavola_annotations (id, line_width, points) VALUES ('%1', %2, '%3')")
                     .arg(id)
                     .arg(static_cast<double>(lineWidth))
                     .arg(paths[i]));
            ids.append(id);
        }
        return ids;
    }

    /// The nine numbers of each node of a stroke's "points", as PostgreSQL holds them.
    std::vector<std::vector<float>> bezierNodesOf(QString const& id) {
        QString const text =
            scalar(QStringLiteral("SELECT points::text FROM tavola_annotations WHERE id = '%1'").arg(id))
                .toString();
        std::vector<std::vector<float>> nodes;
        static QRegularExpression const s_node(QStringLiteral("\\(([^)]*)\\)"));
        auto matches = s_node.globalMatch(text);
        while (matches.hasNext()) {
            std::vector<float> numbers;
            for (QString const& number : matches.next().captured(1).split(QLatin1Char(','))) {
                numbers.push_back(number.toFloat());
            }
            nodes.push_back(numbers);
        }
        return nodes;
    }

    bool nodeExists(QString const& id) {
        return scalar(QStringLiteral("SELECT count(*) FROM nodes WHERE id = '%1'").arg(id)).toInt() == 1;
    }

    PostgresTestDatabase m_database;
    SqlConnection m_connection;
    DBMigrationRunner m_runner{m_connection};
};

} // namespace

TEST(DatabaseChainsPostgres, TheServerListRunsCoreEmblemsIndexDataModelAndClientStatesInThatOrder) {
    EXPECT_EQ(moduleNames(Datamodel::tavolaServerMigrationsPsql(QStringLiteral("/srv/assets"))),
              (QStringList{QStringLiteral("core"), QStringLiteral("emblem_actions"),
                           QStringLiteral("server_indexes"), QStringLiteral("tavola_data_model"),
                           QStringLiteral("client_states")}));
}

TEST(DatabaseChainsPostgres, SettingsChooseThePostgresListWhenSqlIsEnabled) {
    Tessel::Settings settings;
    settings.setSqlEnabled(true);
    settings.setAssetDir(QStringLiteral("/srv/assets"));
    EXPECT_EQ(moduleNames(Datamodel::tavolaServerMigrations(settings)),
              moduleNames(Datamodel::tavolaServerMigrationsPsql(QStringLiteral("/srv/assets"))));
}

TEST(DatabaseChainsPostgres, WithSqlDisabledTheSettingsGiveThreeListsAndNoDataModel) {
    Tessel::Settings settings;
    settings.setJsonStorageRootDir(QStringLiteral("/srv/documents"));
    auto const lists = Datamodel::tavolaServerMigrations(settings);
    ASSERT_EQ(lists.size(), 3);
    EXPECT_FALSE(moduleNames(lists).contains(QString::fromLatin1(kDataModel)));
    EXPECT_EQ(moduleNames(lists), moduleNames(Datamodel::tavolaServerMigrationsSqlite(QString(), QString())));
}

TEST(DatabaseChainsPostgres, TheDataModelChainHasThirtyTwoStepsAndNoResourceAtThirteenOrTwentyTwo) {
    auto const chain = Datamodel::tavolaDataModelMigrationsPsql();
    ASSERT_EQ(chain->lastVersion(), 32);
    EXPECT_EQ(chain->moduleName(), QString::fromLatin1(kDataModel));
    for (auto const& step : chain->migrations()) {
        auto const trivial = std::dynamic_pointer_cast<DBTrivialMigration>(step);
        if (step->version() == 13) {
            EXPECT_TRUE(std::dynamic_pointer_cast<Datamodel::VaryingWidthAnnotationPSQLMigration>(step));
        } else if (step->version() == 22) {
            EXPECT_TRUE(std::dynamic_pointer_cast<DummyMigration>(step));
        } else {
            ASSERT_TRUE(trivial) << "step " << step->version() << " should run the SQL of a resource";
            QString const number = QStringLiteral("%1_").arg(step->version(), 3, 10, QLatin1Char('0'));
            EXPECT_TRUE(trivial->resourcePath().startsWith(
                QStringLiteral("multisite:server/db/tavola_data_model/") + number))
                << trivial->resourcePath().toStdString();
        }
    }
}

TEST(DatabaseChainsPostgres, TheEmblemAndIndexChainsKeepTheirStepsAndTheirEmptyStep) {
    auto const emblems = Datamodel::emblemActionServerMigrationsPsql();
    EXPECT_EQ(emblems->moduleName(), QStringLiteral("emblem_actions"));
    ASSERT_EQ(emblems->lastVersion(), 4);
    auto const index = Datamodel::serverIndexMigrationsPsql();
    EXPECT_EQ(index->moduleName(), QStringLiteral("server_indexes"));
    ASSERT_EQ(index->lastVersion(), 5);
    EXPECT_TRUE(std::dynamic_pointer_cast<DummyMigration>(index->migrations().at(1)));
}

TEST(DatabaseChainsPostgres, EveryResourceThatAChainNamesIsEmbeddedAndHoldsStatements) {
    for (auto const& list : Datamodel::tavolaServerMigrationsPsql(QString())) {
        for (auto const& step : list->migrations()) {
            auto const trivial = std::dynamic_pointer_cast<DBTrivialMigration>(step);
            if (!trivial) {
                continue;
            }
            QString text;
            QString error;
            EXPECT_TRUE(Tessel::DBMigrationCore::loadResource(trivial->resourcePath(), text, error))
                << error.toStdString();
            EXPECT_FALSE(Tessel::DBMigrationCore::splitStatements(text).isEmpty())
                << trivial->resourcePath().toStdString();
        }
    }
}

TEST(DatabaseChainsPostgres, AServerThatCanNotBeReachedIsNamedInTheError) {
    SqlConnection connection;
    EXPECT_FALSE(connection.openPostgres(QStringLiteral("host=/nonexistent port=1 user=nobody dbname=none")));
    EXPECT_TRUE(connection.lastError().contains(QStringLiteral("host=/nonexistent")))
        << connection.lastError().toStdString();
    EXPECT_FALSE(connection.isOpen());
}

TEST_F(PostgresStore, AFreshStoreRunsEveryChainToItsEndAndTheSecondRunRunsNothing) {
    DBMigrationReport const report = runEveryChain();
    ASSERT_TRUE(report.succeeded()) << describe(report);
    for (auto const& list : Datamodel::tavolaServerMigrationsPsql(QString())) {
        EXPECT_EQ(m_runner.reachedVersion(list->moduleName()), list->lastVersion())
            << list->moduleName().toStdString();
    }
    EXPECT_EQ(columnElementType(QStringLiteral("tavola_annotations"), QStringLiteral("points")),
              QStringLiteral("_bezier_node"));
    EXPECT_TRUE(columnType(QStringLiteral("tavola_annotations"), QStringLiteral("points_old")).isEmpty());

    DBMigrationReport const again = runEveryChain();
    ASSERT_TRUE(again.succeeded()) << describe(again);
    for (auto const& module : again.modules) {
        EXPECT_TRUE(module.stepsRun.empty()) << module.moduleName.toStdString();
    }
}

// Step 13 has no resource of its own: the store runs the step written in code, then the SQL of step 14.
TEST_F(PostgresStore, AStoreAtTwelveRunsTheStepInCodeAtThirteenAndCarriesOnWithFourteen) {
    reachDataModelVersion(12);
    EXPECT_EQ(columnElementType(QStringLiteral("tavola_annotations"), QStringLiteral("points")),
              QStringLiteral("_point"));
    EXPECT_EQ(columnType(QStringLiteral("tavola_annotations"), QStringLiteral("line_width")),
              QStringLiteral("real"));

    DBMigrationReport const report = runEveryChain();
    ASSERT_TRUE(report.succeeded()) << describe(report);
    auto const dataModel = std::find_if(report.modules.begin(), report.modules.end(), [](auto const& module) {
        return module.moduleName == QLatin1String(kDataModel);
    });
    ASSERT_NE(dataModel, report.modules.end());
    std::vector<int> expected(20);
    std::iota(expected.begin(), expected.end(), 13);
    EXPECT_EQ(dataModel->stepsRun, expected);
    EXPECT_EQ(dataModel->toVersion, 32);
    EXPECT_EQ(scalar(QStringLiteral("SELECT count(*) FROM pg_type WHERE typname = 'bezier_node'")).toInt(),
              1);
}

TEST_F(PostgresStore, AStoreAtTwentyOnePassesTheEmptyStepAndEndsAtTheEndOfTheChain) {
    reachDataModelVersion(21);
    DBMigrationReport const report = runEveryChain();
    ASSERT_TRUE(report.succeeded()) << describe(report);
    EXPECT_EQ(m_runner.reachedVersion(QString::fromLatin1(kDataModel)), 32);
    SqlConnection closed;
    EXPECT_TRUE(Datamodel::tavolaDataModelMigrationsPsql()->migrations().at(21)->migrate(closed))
        << "step 22 must run no statement, so it succeeds even without a database";
}

TEST_F(PostgresStore, OldStrokesBecomeBezierNodesWithHalfTheWidthAsDepth) {
    reachDataModelVersion(12);
    QStringList const ids = addStrokes(
        {QStringLiteral("{\"(0,0)\",\"(1,0)\",\"(2,0)\",\"(3,0)\"}"), QStringLiteral("{\"(5,6)\"}")}, 4.0f);
    DBMigrationReport const report = runEveryChain();
    ASSERT_TRUE(report.succeeded()) << describe(report);

    EXPECT_EQ(bezierNodesOf(ids[0]),
              (std::vector<std::vector<float>>{{0, 0, 2, 0, 0, 2, 1, 0, 2}, {2, 0, 2, 3, 0, 2, 3, 0, 2}}));
    EXPECT_EQ(bezierNodesOf(ids[1]), (std::vector<std::vector<float>>{{5, 6, 2, 5, 6, 2, 5, 6, 2}}))
        << "a path of one point is one node with both handles on the point";
    EXPECT_TRUE(columnType(QStringLiteral("tavola_annotations"), QStringLiteral("points_old")).isEmpty());
}

// The corner at (3, 0) has handles from (2, 1) and to (3.5, -2); they are laid along the chord from (0, 0)
// to (6, 0), at their lengths sqrt(2) and sqrt(4.25). The text form of the array carries six significant
// digits of each number.
TEST_F(PostgresStore, ACornerOfAStoredStrokeGetsHandlesAlongTheChordOfItsNeighbours) {
    reachDataModelVersion(12);
    QStringList const ids = addStrokes(
        {QStringLiteral("{\"(0,0)\",\"(1,1)\",\"(2,1)\",\"(3,0)\",\"(3.5,-2)\",\"(5,1)\",\"(6,0)\"}")}, 3.0f);
    ASSERT_TRUE(runEveryChain().succeeded());

    EXPECT_EQ(bezierNodesOf(ids[0]),
              (std::vector<std::vector<float>>{{0, 0, 1.5f, 0, 0, 1.5f, 1, 1, 1.5f},
                                               {1.58579f, 0, 1.5f, 3, 0, 1.5f, 5.06155f, 0, 1.5f},
                                               {5, 1, 1.5f, 6, 0, 1.5f, 6, 0, 1.5f}}));
}

TEST_F(PostgresStore, AStrokeThatIsNoPathIsDeletedWithItsNodeAndTheDeletionIsLogged) {
    reachDataModelVersion(12);
    QStringList const ids = addStrokes({QStringLiteral("{\"(0,0)\",\"(1,1)\"}"), QStringLiteral("{}"),
                                        QStringLiteral("{\"(0,0)\",\"(1,1)\",\"(2,2)\",\"(3,3)\"}")},
                                       2.0f);
    CapturedLog log;
    ASSERT_TRUE(runEveryChain().succeeded());

    EXPECT_FALSE(nodeExists(ids[0])) << "a path of 2 points is no path";
    EXPECT_FALSE(nodeExists(ids[1])) << "an empty path is no path";
    EXPECT_TRUE(nodeExists(ids[2]));
    EXPECT_EQ(scalar(QStringLiteral("SELECT count(*) FROM tavola_annotations")).toInt(), 1);
    auto const messages = log.messagesUpTo(Cobalt::Trace::LEVEL_INFO);
    for (int i : {0, 1}) {
        std::string const expected = "Deleting invalid/empty annotation stroke " + ids[i].toStdString();
        EXPECT_NE(std::find(messages.begin(), messages.end(), expected), messages.end()) << expected;
    }
}

// The view holds on to the old column, so the last statement of the step fails after every stroke was
// converted: all of it must go back.
TEST_F(PostgresStore, AStepThatFailsAtItsEndRollsBackAndLeavesTheOldPointsAsTheyWere) {
    reachDataModelVersion(12);
    QStringList const ids = addStrokes({QStringLiteral("{\"(0,0)\",\"(1,0)\",\"(2,0)\",\"(3,0)\"}"),
                                        QStringLiteral("{\"(0,0)\",\"(1,1)\"}")},
                                       4.0f);
    exec(QStringLiteral("CREATE VIEW stroke_points AS SELECT id, points FROM tavola_annotations"));

    DBMigrationReport const report = runEveryChain();
    EXPECT_FALSE(report.succeeded());
    EXPECT_EQ(report.failedModule, QString::fromLatin1(kDataModel));
    EXPECT_EQ(report.failedVersion, 13);
    EXPECT_TRUE(report.error.contains(QStringLiteral("points_old"))) << report.error.toStdString();
    EXPECT_EQ(m_runner.reachedVersion(QString::fromLatin1(kDataModel)), 12);
    EXPECT_EQ(columnElementType(QStringLiteral("tavola_annotations"), QStringLiteral("points")),
              QStringLiteral("_point"));
    EXPECT_TRUE(columnType(QStringLiteral("tavola_annotations"), QStringLiteral("points_old")).isEmpty());
    EXPECT_EQ(scalar(QStringLiteral("SELECT count(*) FROM pg_type WHERE typname = 'bezier_node'")).toInt(),
              0);
    EXPECT_EQ(
        scalar(QStringLiteral("SELECT points::text FROM tavola_annotations WHERE id = '%1'").arg(ids[0]))
            .toString(),
        QStringLiteral("{\"(0,0)\",\"(1,0)\",\"(2,0)\",\"(3,0)\"}"));
    EXPECT_TRUE(nodeExists(ids[1])) << "the deletion of an invalid stroke goes back too";
}

TEST_F(PostgresStore, TheStepFailsAndChangesNothingWhenTheTableOfStrokesIsNotThere) {
    reachDataModelVersion(12);
    exec(QStringLiteral("DROP TABLE tavola_annotations"));
    CapturedLog log;
    Datamodel::VaryingWidthAnnotationPSQLMigration step(QString::fromLatin1(kDataModel), 13);
    ASSERT_TRUE(m_connection.begin());
    EXPECT_FALSE(step.migrate(m_connection));
    EXPECT_TRUE(step.lastError().contains(QStringLiteral("tavola_annotations")))
        << step.lastError().toStdString();
    EXPECT_EQ(m_connection.transactionDepth(), 1) << "the step closes what it opened";
    ASSERT_TRUE(m_connection.commit());
    EXPECT_EQ(scalar(QStringLiteral("SELECT count(*) FROM pg_type WHERE typname = 'bezier_node'")).toInt(), 0)
        << "the type made before the failing statement goes back with it";
    EXPECT_FALSE(log.messagesUpTo(Cobalt::Trace::LEVEL_ERROR).empty());
}

TEST_F(PostgresStore, TheStepSaysSoWhenItCanNotStartATransaction) {
    CapturedLog log;
    SqlConnection closed;
    Datamodel::VaryingWidthAnnotationPSQLMigration step(QString::fromLatin1(kDataModel), 13);
    EXPECT_FALSE(step.migrate(closed));
    auto const errors = log.messagesUpTo(Cobalt::Trace::LEVEL_ERROR);
    ASSERT_EQ(errors.size(), 1u);
    EXPECT_EQ(errors[0], "VaryingWidthAnnotationPSQLMigration # Failed to start transaction");
}

namespace {

/// A canvas stored by release 5 of the tables: strokes in a container, a note, an anchor and a table.
class PostgresReleaseFiveStore : public PostgresStore {
protected:
    void SetUp() override {
        PostgresStore::SetUp();
        reachDataModelVersion(5);
        exec(QStringLiteral(
            "INSERT INTO documents (id, type, created, modified) VALUES ('canvas', 'kx-tavola', 0, 0)"));
        addNode(kRoot, QString(), QStringLiteral("tavola_shared_canvas"));
        addNode(kContainer, kRoot, QStringLiteral("tavola_annotation_container"));
        addNode(kStroke, kContainer, QStringLiteral("tavola_annotation"));
        addNode(kNote, kRoot, QStringLiteral("tavola_note"));
        addNode(kAnchor, kRoot, QStringLiteral("tavola_anchor"));
        addNode(kTable, kRoot, QStringLiteral("tavola_table"));
        exec(QStringLiteral("INSERT INTO tavola_annotations (id, line_width, points) VALUES ('%1', 2, "
                            "'{\"(0,0)\",\"(1,0)\",\"(2,0)\",\"(3,0)\"}')")
                 .arg(kStroke));
        exec(QStringLiteral(
                 "INSERT INTO tavola_notes (id, location, size) VALUES ('%1', '{100,100}', '{200,150}')")
                 .arg(kNote));
        exec(QStringLiteral("INSERT INTO tavola_anchors (id, location, size, scale) VALUES ('%1', "
                            "'{100,100}', '{40,20}', 2)")
                 .arg(kAnchor));
        // A grid of 3 columns and 2 rows: two little-endian 32-bit integers.
        exec(QStringLiteral("INSERT INTO tavola_tables (id, location, size, scale, grid_size) VALUES "
                            "('%1', '{100,100}', '{400,300}', 2, '\\x0300000002000000')")
                 .arg(kTable));
    }

    void addNode(QString const& id, QString const& parent, QString const& type) {
        exec(QStringLiteral("INSERT INTO nodes (id, document_id, parent_id, type, name) VALUES ('%1', "
                            "'canvas', %2, '%3', '%1')")
                 .arg(id, parent.isEmpty() ? QStringLiteral("NULL") : QStringLiteral("'%1'").arg(parent),
                      type));
    }

    QString text(QString const& statement) { return scalar(statement).toString(); }

    static inline QString const kRoot = QStringLiteral("00000000-0000-0000-0000-000000000001");
    static inline QString const kContainer = QStringLiteral("00000000-0000-0000-0000-000000000002");
    static inline QString const kStroke = QStringLiteral("00000000-0000-0000-0000-000000000003");
    static inline QString const kNote = QStringLiteral("00000000-0000-0000-0000-000000000004");
    static inline QString const kAnchor = QStringLiteral("00000000-0000-0000-0000-000000000005");
    static inline QString const kTable = QStringLiteral("00000000-0000-0000-0000-000000000006");
};

} // namespace

TEST_F(PostgresReleaseFiveStore, StrokesMoveUpToWhereTheirContainerHungAndTheContainersGo) {
    ASSERT_TRUE(runEveryChain().succeeded());
    EXPECT_EQ(text(QStringLiteral("SELECT parent_id::text FROM nodes WHERE id = '%1'").arg(kStroke)), kRoot);
    EXPECT_FALSE(nodeExists(kContainer));
    EXPECT_TRUE(columnType(QStringLiteral("tavola_annotations"), QStringLiteral("finished")).isEmpty());
    EXPECT_EQ(bezierNodesOf(kStroke),
              (std::vector<std::vector<float>>{{0, 0, 1, 0, 0, 1, 1, 0, 1}, {2, 0, 1, 3, 0, 1, 3, 0, 1}}));
}

TEST_F(PostgresReleaseFiveStore, ATableGetsEqualSharesOfItsGridAndLosesItsBorder) {
    ASSERT_TRUE(runEveryChain().succeeded());
    EXPECT_EQ(text(QStringLiteral("SELECT column_widths::text FROM tavola_tables")),
              QStringLiteral("{0.33333334,0.33333334,0.33333334}"));
    EXPECT_EQ(text(QStringLiteral("SELECT row_heights::text FROM tavola_tables")),
              QStringLiteral("{0.5,0.5}"));
    EXPECT_EQ(text(QStringLiteral("SELECT location::text FROM tavola_tables")), QStringLiteral("{130,130}"));
    EXPECT_EQ(text(QStringLiteral("SELECT size::text FROM tavola_tables")), QStringLiteral("{370,270}"));
}

TEST_F(PostgresReleaseFiveStore, ANoteTakesInItsPaddingAndAnAnchorMovesToItsCorner) {
    ASSERT_TRUE(runEveryChain().succeeded());
    EXPECT_EQ(text(QStringLiteral("SELECT location::text FROM tavola_notes")), QStringLiteral("{70,70}"));
    EXPECT_EQ(text(QStringLiteral("SELECT size::text FROM tavola_notes")), QStringLiteral("{260,210}"));
    EXPECT_EQ(text(QStringLiteral("SELECT location::text FROM tavola_anchors")), QStringLiteral("{60,80}"));
}

TEST_F(PostgresReleaseFiveStore, ANoteWithoutASizeMovesByItsPaddingAndThenGetsTheSizeOfANewNote) {
    exec(QStringLiteral("UPDATE tavola_notes SET size = NULL"));
    ASSERT_TRUE(runEveryChain().succeeded());
    EXPECT_EQ(text(QStringLiteral("SELECT location::text FROM tavola_notes")), QStringLiteral("{70,70}"));
    EXPECT_EQ(text(QStringLiteral("SELECT size::text FROM tavola_notes")), QStringLiteral("{360,360}"));
}

TEST_F(PostgresReleaseFiveStore, AnAnchorWithoutASizeMovesByHalfItsScaleTheOtherWay) {
    exec(QStringLiteral("UPDATE tavola_anchors SET size = NULL, scale = 1"));
    ASSERT_TRUE(runEveryChain().succeeded());
    EXPECT_EQ(text(QStringLiteral("SELECT location::text FROM tavola_anchors")),
              QStringLiteral("{100.5,100.5}"));
}

TEST_F(PostgresReleaseFiveStore, AGridThatIsNotEightBytesCountsAsOneByOne) {
    exec(QStringLiteral("UPDATE tavola_tables SET grid_size = '\\x03000000'"));
    ASSERT_TRUE(runEveryChain().succeeded());
    EXPECT_EQ(text(QStringLiteral("SELECT column_widths::text || row_heights::text FROM tavola_tables")),
              QStringLiteral("{1}{1}"));
}
