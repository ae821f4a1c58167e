// A server that keeps its canvases in PostgreSQL: stored in the tables of the data model, read back by a
// server that starts later, and served as those tables say.

#include "canvas/Anchor.hpp"
#include "canvas/Annotation.hpp"
#include "canvas/Note.hpp"
#include "canvas/Table.hpp"
#include "media/ImageAsset.hpp"
#include "migrations/DatabaseChains.hpp"
#include "platform/tessel/DBMigrationRunner.hpp"
#include "platform/tessel/PostgresDocumentStore.hpp"
#include "platform/tessel/ServerAttribute.hpp"
#include "platform/tessel/ServerNode.hpp"
#include "platform/tessel/SqlConnection.hpp"
#include "tests/support/LiveSites.hpp"
#include "tests/support/PostgresTestDatabase.hpp"

#include <QSqlQuery>
#include <QVariant>

#include <gtest/gtest.h>

using TestSupport::LiveSites;
using TestSupport::PostgresTestDatabase;

namespace {

/// Every node of a server tree with its guid, type and values, a line each, values sorted by name: the
/// store gives no promise on the order of a node's values.
QStringList describe(Tessel::ServerNode const& node) {
    QStringList values;
    for (auto const& attribute : node.childAttributes()) {
        values << QStringLiteral("%1:%2=%3")
                      .arg(QString::fromUtf8(attribute->name()))
                      .arg(attribute->typeCode(), 0, 16)
                      .arg(QString::fromLatin1(attribute->encodedValue().bytes.toHex()));
    }
    values.sort();
    QStringList lines{QString::fromUtf8(node.guid() + " " + node.name() + " " + node.typeKey()) +
                      QLatin1Char(' ') + values.join(QLatin1Char(' '))};
    for (auto const& child : node.childNodes()) {
        lines << describe(*child.second);
    }
    return lines;
}

/// Sets up a server to keep its documents in the PostgreSQL database that `connectionInfo` names.
LiveSites::Configure storeIn(QString const& connectionInfo) {
    return [connectionInfo](Tessel::TesselServer::Options& options) {
        options.store = std::make_shared<Tessel::PostgresDocumentStore>(
            connectionInfo, Datamodel::tavolaServerMigrationsPsql(QString()));
    };
}

class PostgresStoreLiveTest : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(m_database.isReady()) << m_database.error().toStdString(); }

    /// A server whose store is this test's database, brought forward by the server's chains.
    std::unique_ptr<LiveSites> server() const {
        return std::make_unique<LiveSites>(QStringLiteral("26.07.5"), nullptr, QString(),
                                           storeIn(m_database.connectionInfo()));
    }

    /// A canvas with a note, an anchor, a table, a stroke and an image, stored; returns its server tree.
    QStringList storeACanvas() {
        auto sites = server();
        auto& a = sites->join("a");
        auto& note = sites->addToCanvas<Datamodel::Note>(a);
        note.text = QStringLiteral("kept in the tables");
        note.location = Fathom::Vector2T<float>(12.5f, -34.25f);
        note.size = Fathom::SizeT<float>(300, 200);
        note.textColor = Cobalt::ColorPMA(0.25f, 0.5f, 0, 1);
        sites->addToCanvas<Datamodel::Anchor>(a).location = Fathom::Vector2T<float>(1, 2);
        {
            auto* table = new Datamodel::Table(Fathom::SizeT<int>(2, 3));
            Tessel::NodeTransaction transaction(*a.document);
            transaction.addNode(*table, a.canvas());
            transaction.commit();
            sites->deliver();
            table->columnWidths.setValues({0.25f, 0.75f});
        }
        auto& stroke = sites->addToCanvas<Datamodel::Annotation>(a);
        stroke.lineWidth = 3.0f;
        stroke.points.setValues({Sienna::BezierNode{{0, 0, 1.5f}, {1, 1, 1.5f}, {2, 0.1f, 1.5f}}});
        auto& image = sites->addToCanvas<Datamodel::ImageAsset>(a);
        image.modelYaw = 0.1f;
        sites->deliver();
        QString error;
        EXPECT_TRUE(sites->server()->storeDocument("canvas", error)) << error.toStdString();
        return describe(*sites->serverDocument()->rootNode());
    }

    QVariant scalar(QString const& statement) const {
        Tessel::SqlConnection connection;
        EXPECT_TRUE(connection.openPostgres(m_database.connectionInfo()))
            << connection.lastError().toStdString();
        QSqlQuery query(connection.database());
        EXPECT_TRUE(query.exec(statement)) << statement.toStdString();
        return query.next() ? query.value(0) : QVariant();
    }

    PostgresTestDatabase m_database;
};

} // namespace

TEST_F(PostgresStoreLiveTest, AStoredCanvasComesBackEqualFromAServerThatStartsLater) {
    QStringList const before = storeACanvas();
    auto later = server();
    later->join("b");
    EXPECT_EQ(describe(*later->serverDocument()->rootNode()), before)
        << "guids, names, types and every value come back";
}

TEST_F(PostgresStoreLiveTest, TheCanvasLiesInTheTablesOfTheDataModel) {
    storeACanvas();
    EXPECT_EQ(scalar(QStringLiteral("SELECT text FROM tavola_notes")).toString(),
              QStringLiteral("kept in the tables"));
    EXPECT_EQ(scalar(QStringLiteral("SELECT location::text FROM tavola_notes")).toString(),
              QStringLiteral("{12.5,-34.25}"));
    EXPECT_EQ(scalar(QStringLiteral("SELECT line_width FROM tavola_annotations")).toFloat(), 3.0f);
    EXPECT_EQ(scalar(QStringLiteral("SELECT points::text FROM tavola_annotations")).toString(),
              QStringLiteral("{\"(0,0,1.5,1,1,1.5,2,0.1,1.5)\"}"));
    EXPECT_EQ(scalar(QStringLiteral("SELECT column_widths::text FROM tavola_tables")).toString(),
              QStringLiteral("{0.25,0.75}"));
    EXPECT_GT(scalar(QStringLiteral("SELECT count(*) FROM nodes WHERE document_id = 'canvas'")).toInt(), 5);
}

TEST_F(PostgresStoreLiveTest, AClientOfTheLaterServerGetsTheValuesThatJoinAnElementOnlyInInitialize) {
    storeACanvas();
    auto later = server();
    auto& b = later->join("b");
    auto* const note = b.firstOnCanvas<Datamodel::Note>();
    auto* const image = b.firstOnCanvas<Datamodel::ImageAsset>();
    ASSERT_NE(note, nullptr);
    ASSERT_NE(image, nullptr);
    EXPECT_EQ(note->text.value(), QStringLiteral("kept in the tables"));
    EXPECT_EQ(note->textColor.value(), Cobalt::ColorPMA(0.25f, 0.5f, 0, 1));
    EXPECT_EQ(image->modelYaw.value(), 0.1f);
}

// What the tables say is what the server serves: a step of a later release that rewrites a column shows.
TEST_F(PostgresStoreLiveTest, AMigrationOfTheTablesChangesWhatTheServerServes) {
    storeACanvas();
    {
        Tessel::SqlConnection connection;
        ASSERT_TRUE(connection.openPostgres(m_database.connectionInfo()));
        Tessel::DBMigrationList chain;
        struct Rewrite : Tessel::DBMigration {
            Rewrite() : DBMigration(QStringLiteral("later_release"), 1) {}
            bool migrate(Tessel::SqlConnection& connection) override {
                QString error;
                return connection.exec(
                    QStringLiteral("UPDATE tavola_notes SET text = 'rewritten by a later release', "
                                   "location = '{1,2}'"),
                    error);
            }
        };
        chain.append(std::make_shared<Rewrite>());
        ASSERT_TRUE(Tessel::DBMigrationRunner(connection).run(chain).succeeded());
    }
    auto later = server();
    auto& b = later->join("b");
    auto* const note = b.firstOnCanvas<Datamodel::Note>();
    ASSERT_NE(note, nullptr);
    EXPECT_EQ(note->text.value(), QStringLiteral("rewritten by a later release"));
    EXPECT_EQ(note->location.value(), Fathom::Vector2T<float>(1, 2));
}

// Text with a NUL character has no place in a text column: it stays in the node's own attributes.
TEST_F(PostgresStoreLiveTest, AValueThatNoColumnCanHoldIsKeptWithItsNodeAndComesBack) {
    QString const withNul = QStringLiteral("before") + QChar(0) + QStringLiteral("after");
    QStringList before;
    {
        auto sites = server();
        auto& a = sites->join("a");
        sites->addToCanvas<Datamodel::Note>(a).text = withNul;
        sites->deliver();
        QString error;
        ASSERT_TRUE(sites->server()->storeDocument("canvas", error)) << error.toStdString();
        before = describe(*sites->serverDocument()->rootNode());
    }
    EXPECT_TRUE(scalar(QStringLiteral("SELECT text FROM tavola_notes")).isNull());
    EXPECT_EQ(scalar(QStringLiteral("SELECT count(*) FROM nodes WHERE attributes IS NOT NULL")).toInt(), 1);
    auto later = server();
    later->join("b");
    EXPECT_EQ(describe(*later->serverDocument()->rootNode()), before);
}

TEST_F(PostgresStoreLiveTest, ARemovedDocumentLeavesNoRows) {
    storeACanvas();
    auto later = server();
    later->join("b");
    ASSERT_TRUE(later->server()->removeDocument("canvas"));
    EXPECT_EQ(scalar(QStringLiteral("SELECT count(*) FROM nodes")).toInt(), 0);
    EXPECT_EQ(scalar(QStringLiteral("SELECT count(*) FROM tavola_notes")).toInt(), 0);
    EXPECT_EQ(scalar(QStringLiteral("SELECT count(*) FROM documents")).toInt(), 0);
}

TEST_F(PostgresStoreLiveTest, AStoreThatCanNotBeReachedFailsTheOpenAndSaysWhy) {
    LiveSites sites(QStringLiteral("26.07.5"), nullptr, QString(),
                    storeIn(QStringLiteral("host=/nonexistent port=1")));
    QString error;
    EXPECT_EQ(sites.server()->openDocument("canvas", Datamodel::SharedCanvas::documentType(), error),
              nullptr);
    EXPECT_TRUE(error.contains(QStringLiteral("host=/nonexistent"))) << error.toStdString();
}
