// Server documents written to their stored JSON form and read back, on live servers.

#include "tests/support/CapturedLog.hpp"
#include "tests/support/LiveSites.hpp"
#include "tests/support/OperatorSites.hpp"

#include "canvas/Note.hpp"
#include "media/ImageAsset.hpp"
#include "platform/tessel/DBMigration.hpp"
#include "platform/tessel/DocumentInfo.hpp"
#include "platform/tessel/DocumentStore.hpp"
#include "platform/tessel/Documents.hpp"
#include "platform/tessel/JSONMigration.hpp"
#include "platform/tessel/NodeTransaction.hpp"
#include "platform/tessel/SqlConnection.hpp"
#include "platform/tessel/StoredDocument.hpp"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QSqlQuery>
#include <QTemporaryDir>
#include <QVariant>

#include <gtest/gtest.h>

#include <chrono>
#include <thread>

using Tessel::StoredDocument;
using TestSupport::LiveSites;

namespace {

QByteArray const kCanvas = Datamodel::SharedCanvas::documentType();

/// Live sites whose server stores its documents in a directory of the test's own.
class StoredDocumentTest : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(m_directory.isValid()); }

    std::unique_ptr<LiveSites> server() const {
        return std::make_unique<LiveSites>(QStringLiteral("26.07.5"), nullptr, m_directory.path());
    }
    /// The texts of the values stored in the file of `id`, decoded, one after the other.
    QString storedText(QByteArray const& id = "canvas") const {
        QJsonObject stored;
        QString error;
        if (!StoredDocument::read(fileOf(id), stored, error)) {
            return QString();
        }
        QString text;
        for (QJsonValue const& node : stored.value("nodes").toArray()) {
            for (QJsonValue const& attribute : node.toObject().value("attributes").toArray()) {
                text += QString::fromUtf8(
                    QByteArray::fromBase64(attribute.toObject().value("value").toString().toLatin1()));
            }
        }
        return text;
    }
    QString fileOf(QByteArray const& id = "canvas") const {
        return QDir(m_directory.path()).filePath(QString::fromUtf8(id) + QStringLiteral(".json"));
    }

    /// A server document filled from `stored` through the loader of an open.
    static std::shared_ptr<Tessel::ServerDocument> restored(LiveSites& sites, QJsonObject const& stored,
                                                            bool* ok = nullptr) {
        QString error;
        bool restoredWell = false;
        auto document =
            sites.server()->openDocument("restored", kCanvas, error, [&](Tessel::ServerDocument& opened) {
                restoredWell = StoredDocument::restore(stored, opened, error);
            });
        if (ok) {
            *ok = restoredWell;
        }
        return document;
    }

    /// Sets up a server to keep JSON files in the test's directory, listed in its SQLite file.
    LiveSites::Configure listedStore() const {
        auto store = std::make_shared<Tessel::JsonDocumentStore>(
            m_directory.path(),
            QList<std::shared_ptr<Tessel::DBMigrationList>>{Tessel::coreServerMigrationsSqlite()});
        return [store](Tessel::TesselServer::Options& options) { options.store = store; };
    }

    QTemporaryDir m_directory;
};

QJsonObject node(char const* id, char const* parent, char const* type, QJsonArray attributes = QJsonArray()) {
    QJsonObject object{{"id", id}, {"type", type}, {"name", id}, {"attributes", attributes}};
    if (parent) {
        object.insert("parentId", parent);
    }
    return object;
}

QJsonObject floatValue(char const* name, float value) {
    QByteArray bytes(reinterpret_cast<char const*>(&value), sizeof value);
    return QJsonObject{{"name", name}, {"value", QString::fromLatin1(bytes.toBase64())}};
}

} // namespace

TEST_F(StoredDocumentTest, AStoredCanvasReadBackByAnotherServerHoldsTheSameTree) {
    QString before;
    {
        auto sites = server();
        auto& a = sites->join("a");
        auto* note = new Datamodel::Note();
        note->text = QStringLiteral("kept");
        note->location = Fathom::Vector2T<float>(12.0f, 34.0f);
        Tessel::NodeTransaction transaction(*a.document);
        transaction.addNode(*note, a.canvas());
        transaction.commit();
        sites->deliver();
        a.canvas().annotationColorPresets.setValues({Cobalt::ColorPMA(0.5f, 0, 0, 1)});
        sites->deliver();
        QString error;
        ASSERT_TRUE(sites->server()->storeDocument("canvas", error)) << error.toStdString();
        before = TestSupport::describeTree(*sites->serverDocument()->rootNode());
    }
    auto later = server();
    auto& b = later->join("b");

    EXPECT_EQ(TestSupport::describeTree(*later->serverDocument()->rootNode()), before)
        << "guids, names, types and every value come back";
    auto* note = dynamic_cast<Datamodel::Note*>(b.canvas().attributes().back().second);
    ASSERT_NE(note, nullptr);
    EXPECT_EQ(note->text.value(), QStringLiteral("kept"));
    EXPECT_EQ(b.canvas().annotationColorPresets.values(),
              std::vector<Cobalt::ColorPMA>{Cobalt::ColorPMA(0.5f, 0, 0, 1)});
}

TEST_F(StoredDocumentTest, AWriteLeavesOnlyTheWholeFile) {
    auto sites = server();
    sites->join("a");
    QString error;
    ASSERT_TRUE(sites->server()->storeDocument("canvas", error));
    ASSERT_TRUE(sites->server()->storeDocument("canvas", error)) << "a second write replaces the first";
    EXPECT_EQ(QDir(m_directory.path()).entryList(QDir::Files), QStringList{QStringLiteral("canvas.json")})
        << "no temporary file is left beside it";
    QJsonObject stored;
    ASSERT_TRUE(StoredDocument::read(fileOf(), stored, error)) << error.toStdString();
    EXPECT_EQ(stored.value("documentType").toString(), QString::fromUtf8(kCanvas));
    EXPECT_FALSE(stored.value("nodes").toArray().isEmpty());
}

TEST_F(StoredDocumentTest, ACorruptStoredFileIsRefusedAndLeftAsItIs) {
    TestSupport::CapturedLog log;
    QFile file(fileOf());
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write("{ not json");
    file.close();
    auto sites = server();
    QString error;
    EXPECT_EQ(sites->server()->openDocument("canvas", kCanvas, error), nullptr);
    EXPECT_TRUE(error.contains(fileOf())) << error.toStdString();
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    EXPECT_EQ(file.readAll(), QByteArray("{ not json")) << "nothing is lost: the file stays as it was";
}

TEST_F(StoredDocumentTest, NodesThatHangFromNothingAndBrokenAttributesAreLeftOutAndTheRestLoads) {
    TestSupport::CapturedLog log;
    QJsonArray nodes{
        node("root", nullptr, "tavola_shared_canvas"),
        node("note", "root", "tavola_note", QJsonArray{floatValue("depth", 2.5f)}),
        node("orphan", "nowhere", "tavola_note"),
        node("loop-a", "loop-b", "tavola_folder"),
        node("loop-b", "loop-a", "tavola_folder"),
        node("note", "root", "tavola_note"),
        node("broken", "root", "tavola_note",
             QJsonArray{
                 QJsonObject{{"name", "unknown-key"}, {"value", "AAAA"}}, QJsonObject{{"name", "depth"}},
                 QJsonObject{
                     {"name", "anchor-ids"}, {"typeCode", 0x100000b}, {"values", "AAA="}, {"size", 3}}})};
    auto sites = server();
    bool ok = false;
    auto document = restored(*sites, QJsonObject{{"nodes", nodes}}, &ok);
    ASSERT_TRUE(ok);
    auto const root = document->rootNode();
    EXPECT_EQ(root->guid(), QByteArray("root")) << "the root keeps its stored guid";
    ASSERT_NE(root->childNode("note"), nullptr);
    EXPECT_EQ(TestSupport::storedValue<float>(*root->childNode("note"), "depth"), 2.5f)
        << "an attribute stored without its type code takes the one its node's type declares";
    EXPECT_NE(root->childNode("broken"), nullptr);
    EXPECT_TRUE(root->childNode("broken")->childAttributes().empty());
    EXPECT_EQ(document->persistentNodeCount(), 3) << "the root, the note and the node with broken attributes";
    EXPECT_EQ(log.messagesUpTo(Cobalt::Trace::LEVEL_WARNING).size(), 5u)
        << "the repeated id, three broken attributes and the nodes that hang from nothing";
}

TEST_F(StoredDocumentTest, AStoredFormWithoutARootIsRefused) {
    auto sites = server();
    bool ok = true;
    restored(*sites, QJsonObject{{"nodes", QJsonArray{node("child", "missing", "tavola_note")}}}, &ok);
    EXPECT_FALSE(ok);
}

TEST_F(StoredDocumentTest, AListInTheOldFormOfOneStringPerValueIsRead) {
    float const values[] = {1.0f, 2.0f};
    QJsonArray perValue;
    for (float value : values) {
        perValue.append(QString::fromLatin1(QByteArray(reinterpret_cast<char const*>(&value), 4).toBase64()));
    }
    QJsonArray nodes{
        node("root", nullptr, "tavola_shared_canvas",
             QJsonArray{QJsonObject{{"name", "widths"}, {"typeCode", 0x100000d}, {"values", perValue}}})};
    auto sites = server();
    auto document = restored(*sites, QJsonObject{{"nodes", nodes}});
    auto const list = document->rootNode()->childAttribute("widths");
    ASSERT_NE(list, nullptr);
    EXPECT_EQ(list->vectorContainer()->count(), 2u);
}

TEST_F(StoredDocumentTest, AnIdCantReachOutsideTheStorageDirectory) {
    auto sites = server();
    QString const path = sites->server()->storedPath("../../etc/passwd");
    EXPECT_EQ(QFileInfo(path).absolutePath(), QFileInfo(m_directory.path()).absoluteFilePath());
}

TEST_F(StoredDocumentTest, ARemovedDocumentLosesItsStoredFile) {
    auto sites = server();
    sites->join("a");
    QString error;
    ASSERT_TRUE(sites->server()->storeDocument("canvas", error));
    ASSERT_TRUE(QFile::exists(fileOf()));
    sites->server()->removeDocument("canvas");
    EXPECT_FALSE(QFile::exists(fileOf()));
}

TEST_F(StoredDocumentTest, AServerWithoutAStorageDirectoryStoresNothing) {
    LiveSites sites;
    sites.join("a");
    QString error;
    EXPECT_FALSE(sites.server()->storeDocument("canvas", error));
    EXPECT_EQ(error, QStringLiteral("the server stores no documents"));
    EXPECT_FALSE(sites.server()->storeDocument("absent", error));
}

TEST_F(StoredDocumentTest, ADocumentIsStoredWhenItsLastClientLeaves) {
    auto sites = server();
    auto& a = sites->join("a");
    auto& b = sites->join("b");
    sites->addToCanvas<Datamodel::Note>(a).text = QStringLiteral("written before leaving");
    sites->deliver();
    EXPECT_FALSE(storedText().contains(QStringLiteral("written before leaving"))) << "not stored before";
    a.connection->disconnect();
    sites->deliver();
    EXPECT_FALSE(storedText().contains(QStringLiteral("written before leaving"))) << "b still has it open";
    b.connection->disconnect();
    sites->deliver();
    EXPECT_TRUE(storedText().contains(QStringLiteral("written before leaving")))
        << "stored as the last client left";
}

TEST_F(StoredDocumentTest, ANewDocumentIsStoredAsSoonAsItOpens) {
    auto sites = server();
    sites->join("a");
    EXPECT_TRUE(QFile::exists(fileOf())) << "its root is kept from the start";
}

TEST_F(StoredDocumentTest, EveryOpenDocumentIsStoredWhenTheServerGoes) {
    TestSupport::ManualExecutor executor;
    Tessel::TesselServer::Options options;
    options.executor = folly::getKeepAliveToken(&executor);
    options.typeRegistry = TestSupport::modelTypeRegistry();
    options.storageDirectory = m_directory.path();
    Tessel::ServerDocumentTypeOperators none;
    options.operators = &none;
    auto server = Tessel::TesselServer::create(options);
    Datamodel::registerServerDocumentTypes(*server);
    QString error;
    // Open with no client at all: only the server's end can store them.
    ASSERT_NE(server->openDocument("first", kCanvas, error), nullptr);
    ASSERT_NE(server->openDocument("second", kCanvas, error), nullptr);
    server.reset();
    EXPECT_TRUE(QFile::exists(fileOf("first")));
    EXPECT_TRUE(QFile::exists(fileOf("second")));
}

TEST_F(StoredDocumentTest, ADocumentsNameStateAndTimesOutliveTheServer) {
    Cobalt::TimeStamp created;
    {
        auto sites = server();
        sites->join("a");
        auto const info = sites->server()->documentInfo("canvas");
        info->nameAttribute = QStringLiteral("Quarterly planning");
        info->stateAttribute = Tessel::DOCUMENT_STATE_DEMO;
        created = info->createdTimestamp();
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    auto later = server();
    auto& b = later->join("b");
    auto const info = b.connection->documents()->findDocumentInfoById("canvas");
    ASSERT_NE(info, nullptr);
    EXPECT_EQ(info->documentName(), QStringLiteral("Quarterly planning"));
    EXPECT_EQ(info->documentState(), Tessel::DOCUMENT_STATE_DEMO);
    EXPECT_EQ(info->createdTimestamp().ticks(), created.ticks())
        << "created when first made, not when reopened";
    EXPECT_EQ(info->size(), static_cast<unsigned long>(later->serverDocument()->persistentNodeCount()));
}

// With an event loop, a change is stored once the delay passed, however many changes came meanwhile.
TEST_F(StoredDocumentTest, AChangedDocumentIsStoredOnceTheDelayPassed) {
    int argc = 0;
    QCoreApplication application(argc, nullptr);
    LiveSites sites(
        QStringLiteral("26.07.5"), nullptr, m_directory.path(),
        [](Tessel::TesselServer::Options& options) { options.storeDelay = std::chrono::milliseconds(30); });
    auto& a = sites.join("a");
    auto* note = new Datamodel::Note();
    Tessel::NodeTransaction transaction(*a.document);
    transaction.addNode(*note, a.canvas());
    transaction.commit();
    sites.deliver();
    note->text = QStringLiteral("first");
    note->text = QStringLiteral("second");
    sites.deliver();
    EXPECT_FALSE(storedText().contains(QStringLiteral("second"))) << "nothing is stored before the delay";

    QElapsedTimer clock;
    clock.start();
    while (!storedText().contains(QStringLiteral("second")) && clock.elapsed() < 5000) {
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
    }
    EXPECT_TRUE(storedText().contains(QStringLiteral("second"))) << "the last value of the burst is stored";
}

TEST_F(StoredDocumentTest, AStoreWithChainsListsItsDocumentsInItsSqliteFile) {
    {
        LiveSites sites(QStringLiteral("26.07.5"), nullptr, QString(), listedStore());
        sites.join("a");
        sites.server()->documentInfo("canvas")->nameAttribute = QStringLiteral("Plans");
        QString error;
        ASSERT_TRUE(sites.server()->storeDocument("canvas", error)) << error.toStdString();
    }
    Tessel::SqlConnection connection;
    ASSERT_TRUE(connection.openSqlite(QDir(m_directory.path()).filePath(QStringLiteral("server.sqlite"))));
    QSqlQuery query(connection.database());
    ASSERT_TRUE(query.exec(QStringLiteral("SELECT id, type, name FROM documents")));
    ASSERT_TRUE(query.next());
    EXPECT_EQ(query.value(0).toString(), QStringLiteral("canvas"));
    EXPECT_EQ(query.value(1).toString(), QString::fromUtf8(kCanvas));
    EXPECT_EQ(query.value(2).toString(), QStringLiteral("Plans"));
    EXPECT_FALSE(query.next()) << "one row per document";
    EXPECT_TRUE(QFile::exists(fileOf())) << "the document itself is a JSON file beside it";
}

TEST_F(StoredDocumentTest, AStoreWhoseChainsFailRefusesToStoreAndSaysWhy) {
    QFile database(QDir(m_directory.path()).filePath(QStringLiteral("server.sqlite")));
    ASSERT_TRUE(database.open(QIODevice::WriteOnly));
    database.write("this is no database");
    database.close();
    LiveSites sites(QStringLiteral("26.07.5"), nullptr, QString(), listedStore());
    sites.join("a");
    QString error;
    EXPECT_FALSE(sites.server()->storeDocument("canvas", error));
    EXPECT_TRUE(error.contains(QStringLiteral("server.sqlite"))) << error.toStdString();
}

// "text-color" of a note and the pose of an image join their elements only in `initialize`: a client of a
// later server must get their stored values all the same.
TEST_F(StoredDocumentTest, ValuesOfAttributesThatJoinInInitializeReachTheClientsOfALaterServer) {
    {
        auto sites = server();
        auto& a = sites->join("a");
        sites->addToCanvas<Datamodel::Note>(a).textColor = Cobalt::ColorPMA(0.25f, 0.5f, 0, 1);
        sites->addToCanvas<Datamodel::ImageAsset>(a).modelYaw = 0.5f;
        sites->deliver();
        QString error;
        ASSERT_TRUE(sites->server()->storeDocument("canvas", error)) << error.toStdString();
    }
    auto later = server();
    auto& b = later->join("b");
    auto* const note = b.firstOnCanvas<Datamodel::Note>();
    auto* const image = b.firstOnCanvas<Datamodel::ImageAsset>();
    ASSERT_NE(note, nullptr);
    ASSERT_NE(image, nullptr);
    EXPECT_EQ(note->textColor.value(), Cobalt::ColorPMA(0.25f, 0.5f, 0, 1));
    EXPECT_EQ(image->modelYaw.value(), 0.5f);
}

// --- The journal: changes between two writes of a document

TEST_F(StoredDocumentTest, TheJournalGivesBackTheChangesAfterASequenceAndAWriteEmptiesIt) {
    Tessel::JsonDocumentStore store(m_directory.path());
    QString error;
    for (std::uint64_t sequence = 1; sequence <= 3; ++sequence) {
        ASSERT_TRUE(store.journal(
            "canvas", sequence, QByteArray("change ") + QByteArray::number(static_cast<qulonglong>(sequence)),
            error))
            << error.toStdString();
    }
    auto const since = store.journalSince("canvas", 1);
    ASSERT_EQ(since.size(), 2u);
    EXPECT_EQ(since[0].sequence, 2u);
    EXPECT_EQ(since[1].change, QByteArray("change 3"));

    LiveSites sites;
    Tessel::ServerDocumentType const& type = *sites.server()->documentType(kCanvas);
    ASSERT_TRUE(
        store.write("canvas", type, QJsonObject{{"nodes", QJsonArray()}}, Tessel::StoredListing(), error));
    EXPECT_TRUE(store.journalSince("canvas", 0).empty()) << "the written document holds them now";
}

TEST_F(StoredDocumentTest, AChangeCutOffInTheJournalEndsItAndTheOthersStay) {
    Tessel::JsonDocumentStore store(m_directory.path());
    QString error;
    ASSERT_TRUE(store.journal("canvas", 1, "whole", error));
    ASSERT_TRUE(store.journal("canvas", 2, "cut off here", error));
    QString const journal = QDir(m_directory.path()).filePath(QStringLiteral("canvas.journal"));
    QFile file(journal);
    ASSERT_TRUE(file.resize(file.size() - 4)) << "the process died in the middle of the second";
    TestSupport::CapturedLog log;
    auto const entries = Tessel::JsonDocumentStore(m_directory.path()).journalSince("canvas", 0);
    ASSERT_EQ(entries.size(), 1u);
    EXPECT_EQ(entries[0].change, QByteArray("whole"));
    EXPECT_EQ(log.messagesUpTo(Cobalt::Trace::LEVEL_WARNING).size(), 1u);
}

// A server that dies without storing: what its files held at that moment is what a new server serves.
TEST_F(StoredDocumentTest, ChangesJournaledBeforeTheServerDiedAreServedByTheNextOne) {
    QTemporaryDir crashed;
    QByteArray guid;
    {
        auto sites = server();
        auto& a = sites->join("a");
        auto& note = sites->addToCanvas<Datamodel::Note>(a);
        guid = note.guid();
        note.text = QStringLiteral("acknowledged");
        sites->deliver();
        // The files as they are now, before any write of the document: its journal holds the note.
        for (QString const& name : QDir(m_directory.path()).entryList(QDir::Files)) {
            ASSERT_TRUE(QFile::copy(QDir(m_directory.path()).filePath(name), crashed.filePath(name)));
        }
    }
    LiveSites later(QStringLiteral("26.07.5"), nullptr, crashed.path());
    auto& b = later.join("b");
    auto* note = dynamic_cast<Datamodel::Note*>(b.document->findSharedElement(guid));
    ASSERT_NE(note, nullptr) << "the journaled note is back";
    EXPECT_EQ(note->text.value(), QStringLiteral("acknowledged"));
}
