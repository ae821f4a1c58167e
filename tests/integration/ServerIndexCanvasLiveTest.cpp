// The canvases of a server index as clients of a real in-process server see them: records that one client
// adds reach another, which mirrors the server's information of each canvas and announces its records at
// the end of the transaction that brought the change.

#include "tests/support/LiveSites.hpp"

#include "canvas/Note.hpp"
#include "canvas/SharedCanvas.hpp"
#include "index/CanvasDocument.hpp"
#include "index/CanvasDocumentDb.hpp"
#include "index/ServerIndex.hpp"
#include "platform/tessel/DocumentInfo.hpp"
#include "platform/tessel/NodeTransaction.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <utility>
#include <vector>

namespace {

using Datamodel::CanvasDocument;
using Datamodel::CanvasDocumentDb;
using Datamodel::ServerIndex;
using Datamodel::ServerIndexFolder;
using TestSupport::LiveSites;

/// Everything an index announces of its canvases, in order.
struct CanvasEvents {
    explicit CanvasEvents(ServerIndex& index) {
        index.onCanvasAdded.addListener([this](CanvasDocument* canvas) { added.push_back(canvas); });
        index.onCanvasChanged.addListener([this](CanvasDocument* canvas) { changed.push_back(canvas); });
        index.onCanvasReparented.addListener([this](CanvasDocument* canvas, QByteArray const& from) {
            reparented.emplace_back(canvas, from);
        });
        index.onCanvasErased.addListener(
            [this](CanvasDocument* canvas, ServerIndexFolder* from) { erased.emplace_back(canvas, from); });
    }
    std::vector<CanvasDocument*> added;
    std::vector<CanvasDocument*> changed;
    std::vector<std::pair<CanvasDocument*, QByteArray>> reparented;
    std::vector<std::pair<CanvasDocument*, ServerIndexFolder*>> erased;
};

/// Two clients with the server index open: `a` writes the tree, `b` watches what arrives. The index holds
/// the home folder of user 7 ("7") with its trash folder ("trash.7"), and a folder "8" that user 8 owns.
class IndexSites {
public:
    IndexSites()
        : a(sites.join(QStringLiteral("a"), "index", ServerIndex::documentType())),
          b(sites.join(QStringLiteral("b"), "index", ServerIndex::documentType())),
          homeAtA(folder("7", QStringLiteral("Home"))), trashAtA(folder("trash.7", QStringLiteral("Trash"))),
          sharedAtA(folder("8", QStringLiteral("Shared"))) {
        sharedAtA->owner = 8;
        Tessel::NodeTransaction transaction(*a.document);
        transaction.addNode(*homeAtA, indexAt(a));
        transaction.addNode(*trashAtA, *homeAtA);
        transaction.addNode(*sharedAtA, indexAt(a));
        commit(transaction, "the server must apply the folders");
    }

    static ServerIndex& indexAt(LiveSites::Site const& site) {
        return *static_cast<ServerIndex*>(site.document->documentRoot());
    }

    /// b's copy of the element `atA` of a's tree; null when b has none.
    template <typename E>
    E* atB(Tessel::Element const& atA) const {
        return dynamic_cast<E*>(b.document->findSharedElement(atA.guid()));
    }

    /// b's folder of element id `id`, below the root or the home folder.
    ServerIndexFolder* folderAtB(QByteArray const& id) const {
        ServerIndex& index = indexAt(b);
        auto* direct = dynamic_cast<ServerIndexFolder*>(index.attribute(id));
        if (direct) {
            return direct;
        }
        auto* home = index.attribute("7");
        return home ? dynamic_cast<ServerIndexFolder*>(home->attribute(id)) : nullptr;
    }

    /// Opens the canvas `id` on the server, which lists it to every client, with `name` as its name.
    std::shared_ptr<Tessel::DocumentInfo> openCanvas(QByteArray const& id, QString const& name) {
        QString error;
        auto const document =
            sites.server()->openDocument(id, Datamodel::SharedCanvas::documentType(), error);
        EXPECT_NE(document, nullptr) << "the server must open the canvas: " << error.toStdString();
        std::shared_ptr<Tessel::DocumentInfo> info = sites.server()->documentInfo(id);
        EXPECT_NE(info, nullptr) << "the server lists what it opened";
        if (info) {
            info->nameAttribute = name;
        }
        sites.deliver();
        return info;
    }

    /// Adds, at a, a record of `canvasId` to the home folder, and returns b's copy once the server applied
    /// it.
    CanvasDocument* addRecord(QByteArray const& canvasId, QString const& linkPermission = QString()) {
        auto* record = new CanvasDocument();
        record->setName("record-" + canvasId);
        record->canvasIdAttribute = QString::fromUtf8(canvasId);
        if (!linkPermission.isEmpty()) {
            record->linkPermission = linkPermission;
        }
        Tessel::NodeTransaction transaction(*a.document);
        transaction.addNode(*record, *homeAtA);
        commit(transaction, "the server must apply the record");
        recordsAtA.push_back(record);
        return atB<CanvasDocument>(*record);
    }

    void commit(Tessel::NodeTransaction& transaction, char const* what) {
        auto committed = transaction.commit();
        sites.deliver();
        EXPECT_TRUE(committed.isReady() && committed.hasValue()) << what;
    }

    /// A folder for a's tree, not added yet.
    static ServerIndexFolder* folder(QByteArray const& id, QString const& name) {
        auto* made = new ServerIndexFolder();
        made->setName(id);
        made->folderName = name;
        return made;
    }

    /// Moves a's record into a's folder `to`; b hears of it in one incoming transaction.
    void moveAtA(CanvasDocument& record, ServerIndexFolder& to) {
        Tessel::NodeTransaction transaction(*a.document);
        transaction.moveNode(record, to);
        commit(transaction, "the server must apply the move");
    }

    LiveSites sites;
    LiveSites::Site& a;
    LiveSites::Site& b;
    /// a's folders; the tree owns them.
    ServerIndexFolder* homeAtA;
    ServerIndexFolder* trashAtA;
    ServerIndexFolder* sharedAtA;
    /// The records a added, in order.
    std::vector<CanvasDocument*> recordsAtA;
};

} // namespace

TEST(ServerIndexCanvasLive, ACreatedRecordIsAnnouncedAtTheOtherClientOnceItsIndexHoldsIt) {
    IndexSites live;
    auto const info = live.openCanvas("canvas-1", QStringLiteral("Plans"));
    info->stateAttribute = Tessel::DOCUMENT_STATE_DEMO;
    info->mainPasswordAttribute = true;
    live.sites.deliver();
    ServerIndex& index = IndexSites::indexAt(live.b);
    CanvasEvents events(index);
    std::vector<CanvasDocument*> indexedWhenAdded;
    std::vector<QString> nameWhenAdded;
    index.onCanvasAdded.addListener([&](CanvasDocument* canvas) {
        indexedWhenAdded.push_back(index.findByCanvasId(canvas->canvasId()));
        nameWhenAdded.push_back(canvas->canvasName.value());
    });

    CanvasDocument* record = live.addRecord("canvas-1");

    ASSERT_NE(record, nullptr) << "the record reached b";
    EXPECT_EQ(events.added, std::vector<CanvasDocument*>{record});
    EXPECT_EQ(indexedWhenAdded, std::vector<CanvasDocument*>{record}) << "the index holds it when announced";
    EXPECT_EQ(nameWhenAdded, std::vector<QString>{QStringLiteral("Plans")}) << "mirrored before announced";
    EXPECT_TRUE(record->demoCanvas.value());
    EXPECT_TRUE(record->hasMainPassword.value());
    EXPECT_EQ(record->size.value(), info->size());
    EXPECT_EQ(record->created.value(), info->createdTimestamp());
    EXPECT_FALSE(record->localInTrash.value());
    unsigned const bId = live.b.connection->connectionId();
    EXPECT_EQ(record->connectionId, bId);
    ASSERT_NE(record->documentDb, nullptr);
    EXPECT_EQ(record->documentDb->find(bId, "canvas-1"), record) << "b's record is in the table under b";
}

TEST(ServerIndexCanvasLive, ARecordOfACanvasTheServerDoesNotListWaitsForItsListing) {
    IndexSites live;
    ServerIndex& index = IndexSites::indexAt(live.b);
    CanvasEvents events(index);

    CanvasDocument* record = live.addRecord("canvas-2");
    ASSERT_NE(record, nullptr);
    EXPECT_TRUE(events.added.empty()) << "a record without its information isn't announced";
    EXPECT_EQ(index.findByCanvasId("canvas-2"), nullptr);
    ASSERT_NE(record->documentDb, nullptr) << "but it is bound, and listens";
    EXPECT_EQ(record->documentDb->find(live.b.connection->connectionId(), "canvas-2"), record);

    live.openCanvas("canvas-3", QStringLiteral("Another"));
    EXPECT_TRUE(events.added.empty()) << "the listing of another canvas changes nothing";

    live.openCanvas("canvas-2", QStringLiteral("Late"));
    EXPECT_EQ(events.added, std::vector<CanvasDocument*>{record});
    EXPECT_EQ(index.findByCanvasId("canvas-2"), record);
    EXPECT_EQ(record->canvasName.value(), QStringLiteral("Late"));
}

TEST(ServerIndexCanvasLive, ANameChangeOnTheServerIsMirroredAndAnnounced) {
    IndexSites live;
    auto const info = live.openCanvas("canvas-1", QStringLiteral("Plans"));
    CanvasDocument* record = live.addRecord("canvas-1");
    ASSERT_NE(record, nullptr);
    CanvasEvents events(IndexSites::indexAt(live.b));

    info->nameAttribute = QStringLiteral("Plans, revised");
    live.sites.deliver();

    EXPECT_EQ(record->canvasName.value(), QStringLiteral("Plans, revised"));
    EXPECT_TRUE(record->canvasName.isValueDefinedOnLayer(Basalt::Attribute::LAYER_USER));
    EXPECT_EQ(events.changed, std::vector<CanvasDocument*>{record});
    EXPECT_TRUE(events.added.empty());
}

TEST(ServerIndexCanvasLive, AnEditOfTheCanvasReachesTheRecordsSizeAndIsAnnounced) {
    IndexSites live;
    auto const info = live.openCanvas("canvas-1", QStringLiteral("Plans"));
    CanvasDocument* record = live.addRecord("canvas-1");
    ASSERT_NE(record, nullptr);
    unsigned long const before = record->size.value();
    auto& editor =
        live.sites.join(QStringLiteral("editor"), "canvas-1", Datamodel::SharedCanvas::documentType());
    CanvasEvents events(IndexSites::indexAt(live.b));

    Tessel::NodeTransaction transaction(*editor.document);
    transaction.addNode(*new Datamodel::Note(), editor.canvas());
    live.commit(transaction, "the server must apply the note");

    EXPECT_GT(info->size(), before) << "the server counts the note";
    EXPECT_EQ(record->size.value(), info->size());
    EXPECT_EQ(record->modified.value(), info->modifiedTimestamp());
    EXPECT_FALSE(events.changed.empty()) << "a change of content is announced";
    EXPECT_TRUE(std::all_of(events.changed.begin(), events.changed.end(),
                            [&](CanvasDocument* changed) { return changed == record; }));
}

TEST(ServerIndexCanvasLive, EachContentValueFromTheServerIsAnnouncedOnce) {
    IndexSites live;
    auto const info = live.openCanvas("canvas-1", QStringLiteral("Plans"));
    CanvasDocument* record = live.addRecord("canvas-1");
    ASSERT_NE(record, nullptr);
    CanvasEvents events(IndexSites::indexAt(live.b));

    info->sizeAttribute = 99ul;
    live.sites.deliver();
    EXPECT_EQ(record->size.value(), 99ul);
    EXPECT_EQ(events.changed.size(), 1u) << "a new size";

    Cobalt::TimeStamp const later(info->modifiedTimestamp().ticks() +
                                  5 * Cobalt::TimeStamp::ticksPerSecond());
    info->modifiedAttribute = later;
    live.sites.deliver();
    EXPECT_EQ(record->modified.value(), later);
    EXPECT_EQ(events.changed.size(), 2u) << "a new modification time";
}

TEST(ServerIndexCanvasLive, AnAccessPasswordAloneIsMirroredButNotAnnounced) {
    IndexSites live;
    auto const info = live.openCanvas("canvas-1", QStringLiteral("Plans"));
    CanvasDocument* record = live.addRecord("canvas-1");
    ASSERT_NE(record, nullptr);
    CanvasEvents events(IndexSites::indexAt(live.b));

    info->accessPasswordAttribute = true;
    live.sites.deliver();
    EXPECT_TRUE(record->hasAccessPassword.value());
    EXPECT_TRUE(events.changed.empty()) << "seen only with the next announcement";

    info->mainPasswordAttribute = true;
    live.sites.deliver();
    EXPECT_TRUE(record->hasMainPassword.value());
    EXPECT_EQ(events.changed, std::vector<CanvasDocument*>{record}) << "its sibling is announced";
}

TEST(ServerIndexCanvasLive, ALinkPermissionWrittenAtOneClientGrantsAccessAndIsToldAtTheOther) {
    IndexSites live;
    live.openCanvas("canvas-1", QStringLiteral("Plans"));
    CanvasDocument* record = live.addRecord("canvas-1");
    ASSERT_NE(record, nullptr);
    ASSERT_NE(record->documentDb, nullptr);
    EXPECT_EQ(record->localAccess.value(), Tessel::PERMISSION_NONE)
        << "b acts for nobody, and no link grants";
    std::vector<std::pair<CanvasDocument*, Tessel::Permission>> told;
    record->documentDb->onLinkPermissionChanged.addListener(
        [&](CanvasDocument* canvas, Tessel::Permission permission) {
            told.emplace_back(canvas, permission);
        });
    CanvasEvents events(IndexSites::indexAt(live.b));
    CanvasDocument* atA = live.recordsAtA.front();

    atA->linkPermission = QStringLiteral("edit");
    live.sites.deliver();
    EXPECT_EQ(record->localAccess.value(), Tessel::PERMISSION_EDIT) << "a link grant holds for nobody too";
    EXPECT_EQ(record->documentDb->linkPermission("canvas-1"), Tessel::PERMISSION_EDIT);
    EXPECT_EQ(events.changed, std::vector<CanvasDocument*>{record})
        << "the grant and the access it gives are announced once, at the end of the transaction";

    atA->linkPermission = QStringLiteral("EDIT");
    live.sites.deliver();
    using Told = std::vector<std::pair<CanvasDocument*, Tessel::Permission>>;
    EXPECT_EQ(told, (Told{{record, Tessel::PERMISSION_EDIT}, {record, Tessel::PERMISSION_EDIT}}))
        << "the table hears every change, even one that grants what was granted";
}

TEST(ServerIndexCanvasLive, AMovedRecordIsAnnouncedAsMovedFromItsOldFolder) {
    IndexSites live;
    live.openCanvas("canvas-1", QStringLiteral("Plans"));
    CanvasDocument* record = live.addRecord("canvas-1");
    ASSERT_NE(record, nullptr);
    ServerIndexFolder* shared = live.folderAtB("8");
    ASSERT_NE(shared, nullptr);
    ServerIndex& index = IndexSites::indexAt(live.b);
    CanvasEvents events(index);

    live.moveAtA(*live.recordsAtA.front(), *live.sharedAtA);

    using Moves = std::vector<std::pair<CanvasDocument*, QByteArray>>;
    EXPECT_EQ(events.reparented, (Moves{{record, "7"}}));
    EXPECT_TRUE(events.erased.empty()) << "a move is no erasure";
    EXPECT_TRUE(events.added.empty()) << "nor an addition";
    EXPECT_EQ(index.findByCanvasId("canvas-1"), record);
    EXPECT_EQ(record->host(), shared);
    EXPECT_EQ(record->folderId(), QByteArray("8"));
    auto const& users = record->localEffectivePermissions.value().acl.users;
    ASSERT_TRUE(users.contains(8)) << "the permissions are derived anew below the new folder";
    EXPECT_EQ(users.value(8).permission, Tessel::PERMISSION_EDIT) << "the folder's owner edits what it holds";
    EXPECT_EQ(events.changed, std::vector<CanvasDocument*>{record}) << "the new permissions are announced";
}

TEST(ServerIndexCanvasLive, ATrashedRecordLiesInTheTrashUntilItIsRestored) {
    IndexSites live;
    live.openCanvas("canvas-1", QStringLiteral("Plans"));
    CanvasDocument* record = live.addRecord("canvas-1");
    ASSERT_NE(record, nullptr);
    ServerIndexFolder* home = live.folderAtB("7");
    ServerIndexFolder* trash = live.folderAtB("trash.7");
    ASSERT_NE(home, nullptr);
    ASSERT_NE(trash, nullptr);
    ASSERT_FALSE(trash->localInTrash.value()) << "a trash folder itself isn't in the trash";
    CanvasEvents events(IndexSites::indexAt(live.b));
    using Moves = std::vector<std::pair<CanvasDocument*, QByteArray>>;

    live.moveAtA(*live.recordsAtA.front(), *live.trashAtA);
    EXPECT_TRUE(record->localInTrash.value());
    EXPECT_EQ(events.reparented, (Moves{{record, "7"}}));

    live.moveAtA(*live.recordsAtA.front(), *live.homeAtA);
    EXPECT_FALSE(record->localInTrash.value());
    EXPECT_EQ(events.reparented, (Moves{{record, "7"}, {record, "trash.7"}}));
    EXPECT_TRUE(events.erased.empty());
    EXPECT_TRUE(events.changed.empty()) << "the trash alone changes no permission and announces no change";
}

TEST(ServerIndexCanvasLive, WhenTheServerDropsTheCanvasTheRecordIsErasedAndFallsBackToDefaults) {
    IndexSites live;
    auto const info = live.openCanvas("canvas-1", QStringLiteral("Plans"));
    info->sizeAttribute = 12ul;
    live.sites.deliver();
    CanvasDocument* record = live.addRecord("canvas-1");
    ASSERT_NE(record, nullptr);
    ASSERT_EQ(record->size.value(), 12ul);
    ServerIndex& index = IndexSites::indexAt(live.b);
    ServerIndexFolder* home = live.folderAtB("7");
    CanvasEvents events(index);

    ASSERT_TRUE(live.sites.server()->removeDocument("canvas-1"));
    live.sites.deliver();

    using Erasures = std::vector<std::pair<CanvasDocument*, ServerIndexFolder*>>;
    EXPECT_EQ(events.erased, (Erasures{{record, home}}));
    EXPECT_EQ(record->size.value(), 0ul);
    EXPECT_TRUE(record->canvasName.value().isEmpty());
    EXPECT_FALSE(record->canvasName.isValueDefinedOnLayer(Basalt::Attribute::LAYER_USER));
    EXPECT_EQ(record->documentInfo, nullptr);
    EXPECT_EQ(index.findByCanvasId("canvas-1"), nullptr) << "out of the index";
    EXPECT_EQ(live.atB<CanvasDocument>(*live.recordsAtA.front()), record) << "but still in the tree";
    EXPECT_TRUE(events.changed.empty());

    live.openCanvas("canvas-1", QStringLiteral("Plans again"));
    EXPECT_EQ(events.added, std::vector<CanvasDocument*>{record}) << "listed again, it is announced as new";
    EXPECT_EQ(index.findByCanvasId("canvas-1"), record);
    EXPECT_EQ(record->canvasName.value(), QStringLiteral("Plans again"));
}

TEST(ServerIndexCanvasLive, ARecordDeletedAtOneClientIsErasedAtTheOtherAndLeavesTheTable) {
    IndexSites live;
    live.openCanvas("canvas-1", QStringLiteral("Plans"));
    CanvasDocument* record = live.addRecord("canvas-1");
    ASSERT_NE(record, nullptr);
    std::shared_ptr<CanvasDocumentDb> const db = record->documentDb;
    ASSERT_NE(db, nullptr);
    unsigned const bId = live.b.connection->connectionId();
    std::vector<std::pair<unsigned, CanvasDocument*>> removed;
    db->onDocumentRemoved.addListener(
        [&](unsigned connectionId, CanvasDocument* canvas) { removed.emplace_back(connectionId, canvas); });
    ServerIndex& index = IndexSites::indexAt(live.b);
    ServerIndexFolder* home = live.folderAtB("7");
    CanvasEvents events(index);

    Tessel::NodeTransaction transaction(*live.a.document);
    transaction.deleteNode(*live.recordsAtA.front());
    live.commit(transaction, "the server must apply the deletion");

    // The record is gone at b: its address is only compared.
    using Erasures = std::vector<std::pair<CanvasDocument*, ServerIndexFolder*>>;
    EXPECT_EQ(events.erased, (Erasures{{record, home}}));
    EXPECT_EQ(index.findByCanvasId("canvas-1"), nullptr);
    EXPECT_EQ(db->find(bId, "canvas-1"), nullptr);
    EXPECT_EQ(removed, (std::vector<std::pair<unsigned, CanvasDocument*>>{{bId, record}}));

    live.sites.server()->documentInfo("canvas-1")->nameAttribute = QStringLiteral("Renamed");
    ASSERT_TRUE(live.sites.server()->removeDocument("canvas-1"));
    live.sites.deliver();
    EXPECT_EQ(events.erased.size(), 1u) << "the server's news of the canvas reaches no dead record";
}

TEST(ServerIndexCanvasLive, TwoClientsHoldRecordsOfOneCanvasApartInTheTable) {
    IndexSites live;
    auto& c = live.sites.join(QStringLiteral("c"), "index", ServerIndex::documentType());
    live.openCanvas("canvas-1", QStringLiteral("Plans"));
    CanvasDocument* atB = live.addRecord("canvas-1", QStringLiteral("view"));
    ASSERT_NE(atB, nullptr);
    auto* atC = dynamic_cast<CanvasDocument*>(c.document->findSharedElement(live.recordsAtA.front()->guid()));
    ASSERT_NE(atC, nullptr);
    std::shared_ptr<CanvasDocumentDb> const db = CanvasDocumentDb::instance();

    EXPECT_EQ(db->find(live.b.connection->connectionId(), "canvas-1"), atB);
    EXPECT_EQ(db->find(c.connection->connectionId(), "canvas-1"), atC);
    EXPECT_NE(atB, atC);
    EXPECT_EQ(db->linkPermission("canvas-1"), Tessel::PERMISSION_VIEW);
}
