#include "index/CanvasDocument.hpp"

#include "index/CanvasDocumentDb.hpp"
#include "platform/kelp/TypeRegistry.hpp"
#include "platform/tessel/ClientTransaction.hpp"
#include "tests/index/IndexDocument.hpp"
#include "tests/support/DeclaredAttributes.hpp"
#include "tests/support/LiveSites.hpp"

#include <QCryptographicHash>

#include <gtest/gtest.h>

#include <functional>
#include <initializer_list>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace {

using Basalt::Attribute;
using Datamodel::CanvasDocument;
using Datamodel::CanvasDocumentDb;
using Datamodel::ServerIndex;
using Datamodel::ServerIndexFolder;
using IndexTest::addCanvas;
using IndexTest::addFolder;
using IndexTest::detachedUser;

Tessel::ResourcePermissions userEntry(int id, Tessel::Permission permission) {
    Tessel::ResourcePermissions permissions;
    permissions.acl.users.insert(id, {permission, 0});
    return permissions;
}

/// What the index of `index` announces of its canvases, in order.
struct CanvasEvents {
    explicit CanvasEvents(ServerIndex& index) {
        index.onCanvasAdded.addListener([this](CanvasDocument* canvas) { added.push_back(canvas); });
        index.onCanvasChanged.addListener([this](CanvasDocument* canvas) { changed.push_back(canvas); });
        index.onCanvasErased.addListener(
            [this](CanvasDocument* canvas, ServerIndexFolder*) { erased.push_back(canvas); });
    }
    std::vector<CanvasDocument*> added;
    std::vector<CanvasDocument*> changed;
    std::vector<CanvasDocument*> erased;
};

/// The number of listeners on the attributes of `info`, all of them.
std::size_t listenersOn(Tessel::DocumentInfo const& info) {
    std::size_t count = 0;
    for (Basalt::Node::Entry const& entry : info.attributes()) {
        count += entry.second->listenerCount();
    }
    return count;
}

/// An index open with a link to a server whose list of documents the test writes itself, as the server's
/// messages would.
struct ListedIndex {
    ListedIndex() : open(7) {}

    Tessel::Documents& documents() const { return *open.document->connection()->documents(); }
    /// Lists `id` as the server would, with default values; returns its information.
    std::shared_ptr<Tessel::DocumentInfo> list(QByteArray const& id) {
        documents().list(id, {}, registry);
        return documents().findDocumentInfoById(id);
    }

    Kelp::TypeRegistry registry;
    IndexTest::IndexDocument open;
};

/// An information with a value in each of its attributes that differs from the defaults.
std::shared_ptr<Tessel::DocumentInfo> filledInfo(QByteArray const& id) {
    auto info = std::make_shared<Tessel::DocumentInfo>(id);
    info->nameAttribute = QStringLiteral("Plans");
    info->stateAttribute = Tessel::DOCUMENT_STATE_DEMO;
    info->mainPasswordAttribute = true;
    info->accessPasswordAttribute = true;
    info->sizeAttribute = 42ul;
    info->createdAttribute = Cobalt::TimeStamp(1000);
    info->modifiedAttribute = Cobalt::TimeStamp(2000);
    return info;
}

} // namespace

TEST(CanvasDocument, DeclaresTheNodeAttributesThenItsOwnInOrder) {
    CanvasDocument canvas;
    TestSupport::expectDeclaredAttributes(
        canvas, {
                    {"owner", "int", "0", Attribute::LAYER_DEFAULT},
                    {"permission-overrides", "resource-permissions", "", Attribute::LAYER_DEFAULT},
                    {".local-effective-permissions", "resource-permissions", "", Attribute::LAYER_DEFAULT},
                    {".local-in-trash", "bool", "false", Attribute::LAYER_DEFAULT},
                    {".local-access", "enum:Tessel::Permission", "none", Attribute::LAYER_DEFAULT},
                    {"preview", "asset", "", Attribute::LAYER_DEFAULT},
                    {"link-permission", "string", "", Attribute::LAYER_DEFAULT},
                    {"canvas-name", "string", "", Attribute::LAYER_DEFAULT},
                    {"demo-canvas", "bool", "false", Attribute::LAYER_DEFAULT},
                    {"has-main-password", "bool", "false", Attribute::LAYER_DEFAULT},
                    {"has-access-password", "bool", "false", Attribute::LAYER_DEFAULT},
                    {"size", "unsigned long", "0", Attribute::LAYER_DEFAULT},
                    {"created", "timestamp", "0", Attribute::LAYER_DEFAULT},
                    {"modified", "timestamp", "0", Attribute::LAYER_DEFAULT},
                    {"initial-main-password", "string", "", Attribute::LAYER_DEFAULT},
                    {"initial-access-password", "string", "", Attribute::LAYER_DEFAULT},
                    {"new-resolution", "size2:float", "-1 -1", Attribute::LAYER_DEFAULT},
                    {"new-width", "float", "-1", Attribute::LAYER_DEFAULT},
                    {"new-height", "float", "-1", Attribute::LAYER_DEFAULT},
                    {"canvas-id", "string", "", Attribute::LAYER_DEFAULT},
                });
    EXPECT_EQ(canvas.flags().bits(), 2u);
    EXPECT_EQ(canvas.previewUpdated, Cobalt::TimeStamp());
}

TEST(CanvasDocument, CanvasIdIsTheAttributeInUtf8) {
    CanvasDocument canvas;
    canvas.canvasIdAttribute = QString::fromUtf8("caf\u00e9-1");
    EXPECT_EQ(canvas.canvasId(), QByteArray("caf\xc3\xa9-1"));
}

TEST(CanvasDocument, FolderIdIsTheElementIdOfTheHost) {
    ServerIndexFolder folder;
    folder.setName("7");
    CanvasDocument* canvas = addCanvas(folder, "c");
    EXPECT_EQ(canvas->folderId(), QByteArray("7"));
    CanvasDocument detached;
    EXPECT_EQ(detached.folderId(), QByteArray()) << "no host, no folder id";
}

TEST(CanvasDocument, LinkPermissionsParseInAnyCaseButWhiteSpaceMatters) {
    struct Row {
        char const* text;
        Tessel::Permission expected;
    };
    Row const rows[] = {
        {"edit", Tessel::PERMISSION_EDIT},  {"EDIT", Tessel::PERMISSION_EDIT},
        {"eDiT", Tessel::PERMISSION_EDIT},  {" edit", Tessel::PERMISSION_NONE},
        {"edit ", Tessel::PERMISSION_NONE}, {"View", Tessel::PERMISSION_VIEW},
        {"none", Tessel::PERMISSION_NONE},  {"", Tessel::PERMISSION_NONE},
        {"owner", Tessel::PERMISSION_NONE}, {"nobody", Tessel::PERMISSION_NONE},
        {"2", Tessel::PERMISSION_NONE},     {"editor", Tessel::PERMISSION_NONE},
    };
    for (Row const& row : rows) {
        CanvasDocument canvas;
        canvas.linkPermission = QString::fromLatin1(row.text);
        EXPECT_EQ(canvas.parsedLinkPermissions(), row.expected) << '"' << row.text << '"';
    }
}

TEST(CanvasDocument, ALinkGrantHoldsForAnybodyAndABetterEntryWins) {
    struct Row {
        char const* behaviour;
        char const* link;
        Tessel::ResourcePermissions effective;
        Tessel::Permission expected;
    };
    Row const rows[] = {
        {"a view link for a user without entry", "view", {}, Tessel::PERMISSION_VIEW},
        {"a view link for a user whose entry says edit", "view", userEntry(7, Tessel::PERMISSION_EDIT),
         Tessel::PERMISSION_EDIT},
        {"an edit link over a direct entry of none", "edit", userEntry(7, Tessel::PERMISSION_NONE),
         Tessel::PERMISSION_EDIT},
        {"no link and no entry", "", {}, Tessel::PERMISSION_NONE},
    };
    for (Row const& row : rows) {
        CanvasDocument canvas;
        canvas.linkPermission = QString::fromLatin1(row.link);
        canvas.localEffectivePermissions.setValue(row.effective);
        auto const user = detachedUser("7");
        EXPECT_EQ(canvas.resolveAccess(user.get()), row.expected) << row.behaviour;
    }
}

TEST(CanvasDocument, ResolveAccessOfNoUserIsTheLinkGrant) {
    CanvasDocument canvas;
    EXPECT_EQ(canvas.resolveAccess(nullptr), Tessel::PERMISSION_NONE);
    canvas.linkPermission = QStringLiteral("View");
    EXPECT_EQ(canvas.resolveAccess(nullptr), Tessel::PERMISSION_VIEW);
}

TEST(CanvasDocument, AddingEntersTheTableBeforeTheEventAndErasingLeavesItAfter) {
    ServerIndex index;
    ServerIndexFolder* folder = addFolder(index, "7");
    CanvasDocument* canvas = addCanvas(*folder, "c", QStringLiteral("canvas-1"));
    std::vector<CanvasDocument*> foundOnAdd;
    std::vector<CanvasDocument*> foundOnErase;
    std::vector<ServerIndexFolder*> erasedFrom;
    index.onCanvasAdded.addListener(
        [&](CanvasDocument* c) { foundOnAdd.push_back(index.findByCanvasId(c->canvasId())); });
    index.onCanvasErased.addListener([&](CanvasDocument* c, ServerIndexFolder* from) {
        foundOnErase.push_back(index.findByCanvasId(c->canvasId()));
        erasedFrom.push_back(from);
    });
    canvas->onAdded(index);
    EXPECT_EQ(foundOnAdd, std::vector<CanvasDocument*>{canvas}) << "listeners find the added canvas";
    canvas->onErased(index, folder);
    EXPECT_EQ(foundOnErase, std::vector<CanvasDocument*>{canvas}) << "listeners still find the erased canvas";
    EXPECT_EQ(erasedFrom, std::vector<ServerIndexFolder*>{folder});
    EXPECT_EQ(index.findByCanvasId("canvas-1"), nullptr);
}

TEST(CanvasDocument, ChangesAreAnnouncedAndMovesOnlyWhenIndexed) {
    ServerIndex index;
    CanvasDocument* canvas = addCanvas(index, "c", QStringLiteral("canvas-1"));
    std::vector<CanvasDocument*> changed;
    std::vector<QByteArray> movedFrom;
    index.onCanvasChanged.addListener([&](CanvasDocument* c) { changed.push_back(c); });
    index.onCanvasReparented.addListener(
        [&](CanvasDocument*, QByteArray const& old) { movedFrom.push_back(old); });
    canvas->onChanged(index);
    EXPECT_EQ(changed, std::vector<CanvasDocument*>{canvas});
    canvas->onReparented(index, "5");
    EXPECT_TRUE(movedFrom.empty()) << "a record that was never announced announces no move";
    canvas->indexed = true;
    canvas->onReparented(index, "5");
    EXPECT_EQ(movedFrom, std::vector<QByteArray>{"5"});
}

TEST(CanvasDocument, APreviewChangeNotesTheServerTimeWhenLinked) {
    std::int64_t const hourAhead = 3600 * Cobalt::TimeStamp::ticksPerSecond();
    IndexTest::IndexDocument open(7, IndexTest::Link::WithServer, hourAhead);
    CanvasDocument* canvas = addCanvas(*open.index, "c", QStringLiteral("canvas-1"));
    std::int64_t const before = Cobalt::TimeStamp::currentTime().ticks() + hourAhead;
    canvas->preview = QStringLiteral("00ff");
    std::int64_t const after = Cobalt::TimeStamp::currentTime().ticks() + hourAhead;
    EXPECT_GE(canvas->previewUpdated.ticks(), before) << "the server's clock, not the local one";
    EXPECT_LE(canvas->previewUpdated.ticks(), after);

    CanvasDocument detached;
    detached.preview = QStringLiteral("00ff");
    EXPECT_EQ(detached.previewUpdated, Cobalt::TimeStamp()) << "without a server there is no server time";
}

TEST(CanvasDocument, InitializeHandsTheConnectionOnToThePreview) {
    TestSupport::LiveSites sites;
    sites.keepAssets(true);
    auto& site = sites.connect(QStringLiteral("a"));
    auto const document =
        Tessel::DocumentConnection::create(nullptr, nullptr, &site.executor, site.connection);
    CanvasDocument canvas;
    auto const result = canvas.preview.setAssetFromBuffer("preview bytes", QStringLiteral("preview.png"));
    ASSERT_FALSE(result.item.isReady()) << "without a connection the preview can't import";

    canvas.initialize(*document);
    sites.deliverUntil([&] { return result.item.isReady() && result.done.isReady(); },
                       "the preview's waiting setting didn't run after initialize");

    EXPECT_TRUE(result.item.hasValue());
    EXPECT_EQ(
        canvas.preview.publicHashHex(),
        QString::fromLatin1(QCryptographicHash::hash("preview bytes", QCryptographicHash::Sha256).toHex()))
        << "the preview got the connection and ran what waited for it";
}

TEST(CanvasDocument, ALinkPermissionChangeSetsTheLocalAccessOfTheCurrentUser) {
    ServerIndex index;
    CanvasDocument* canvas = addCanvas(index, "c");
    auto const user = detachedUser("7");
    canvas->setUser(user.get());
    ASSERT_EQ(canvas->localAccess.value(), Tessel::PERMISSION_NONE);

    canvas->linkPermission = QStringLiteral("view");
    EXPECT_EQ(canvas->localAccess.value(), Tessel::PERMISSION_VIEW);
    EXPECT_TRUE(canvas->localAccess.isValueDefinedOnLayer(Attribute::LAYER_USER));
    canvas->linkPermission = QStringLiteral("Edit");
    EXPECT_EQ(canvas->localAccess.value(), Tessel::PERMISSION_EDIT);
    canvas->linkPermission = QStringLiteral("bogus");
    EXPECT_EQ(canvas->localAccess.value(), Tessel::PERMISSION_NONE) << "an unparsable grant grants nothing";
}

TEST(CanvasDocument, ALinkPermissionChangeIsToldToTheTableEvenWhenTheLevelStays) {
    IndexTest::IndexDocument open(7);
    std::shared_ptr<CanvasDocumentDb> const db = CanvasDocumentDb::instance();
    std::vector<std::pair<CanvasDocument*, Tessel::Permission>> told;
    db->onLinkPermissionChanged.addListener([&](CanvasDocument* canvas, Tessel::Permission permission) {
        told.emplace_back(canvas, permission);
    });
    CanvasDocument* canvas = addCanvas(*open.index, "c", QStringLiteral("canvas-1"));
    ASSERT_EQ(canvas->documentDb, db) << "a bound record holds the table";

    canvas->linkPermission = QStringLiteral("view");
    canvas->linkPermission = QStringLiteral("VIEW");
    std::vector<std::pair<CanvasDocument*, Tessel::Permission>> const expected{
        {canvas, Tessel::PERMISSION_VIEW}, {canvas, Tessel::PERMISSION_VIEW}};
    EXPECT_EQ(told, expected);
}

TEST(CanvasDocument, ARecordWithoutATableTellsNobodyOfItsLinkPermission) {
    std::shared_ptr<CanvasDocumentDb> const db = CanvasDocumentDb::instance();
    int told = 0;
    db->onLinkPermissionChanged.addListener([&](CanvasDocument*, Tessel::Permission) { ++told; });
    CanvasDocument canvas;
    canvas.canvasIdAttribute = QStringLiteral("canvas-1");
    canvas.linkPermission = QStringLiteral("edit");
    EXPECT_EQ(canvas.documentDb, nullptr) << "a record in no document binds to nothing";
    EXPECT_EQ(told, 0);
}

TEST(CanvasDocument, ARecordBindsOnlyInADocumentLinkedToAServer) {
    CanvasDocument detached;
    detached.canvasIdAttribute = QStringLiteral("canvas-1");
    EXPECT_EQ(detached.documentDb, nullptr);

    IndexTest::IndexDocument unlinked(7, IndexTest::Link::WithoutServer);
    CanvasDocument* local = addCanvas(*unlinked.index, "c", QStringLiteral("canvas-1"));
    EXPECT_EQ(local->documentDb, nullptr) << "without a server there are no documents to mirror";
    EXPECT_EQ(local->connectionId, 0u);

    IndexTest::IndexDocument linked(7);
    CanvasDocument* empty = addCanvas(*linked.index, "e");
    EXPECT_EQ(empty->documentDb, nullptr) << "an empty canvas id binds nothing";
}

TEST(CanvasDocument, BindingEntersTheTableUnderItsConnectionAndCanvasId) {
    IndexTest::IndexDocument open(7);
    std::shared_ptr<CanvasDocumentDb> const db = CanvasDocumentDb::instance();
    std::vector<std::pair<unsigned, CanvasDocument*>> added;
    db->onDocumentAdded.addListener(
        [&](unsigned connectionId, CanvasDocument* canvas) { added.emplace_back(connectionId, canvas); });
    CanvasDocument* canvas = addCanvas(*open.index, "c", QStringLiteral("canvas-1"));
    EXPECT_EQ(canvas->connectionId, 1u) << "the id of the index's connection";
    EXPECT_EQ(db->find(1, "canvas-1"), canvas);
    EXPECT_EQ(added, (std::vector<std::pair<unsigned, CanvasDocument*>>{{1, canvas}}));
    EXPECT_EQ(canvas->documentInfo, nullptr) << "the server lists no such canvas";
}

TEST(CanvasDocument, SetDocumentInfoMirrorsEveryValueOnTheUserLayerAndFollowsChanges) {
    IndexTest::IndexDocument open(7);
    CanvasDocument* canvas = addCanvas(*open.index, "c");
    auto const info = filledInfo("canvas-1");
    canvas->setDocumentInfo(info);

    EXPECT_EQ(canvas->canvasName.value(), QStringLiteral("Plans"));
    EXPECT_TRUE(canvas->demoCanvas.value());
    EXPECT_TRUE(canvas->hasMainPassword.value());
    EXPECT_TRUE(canvas->hasAccessPassword.value());
    EXPECT_EQ(canvas->size.value(), 42ul);
    EXPECT_EQ(canvas->created.value(), Cobalt::TimeStamp(1000));
    EXPECT_EQ(canvas->modified.value(), Cobalt::TimeStamp(2000));
    for (Attribute const* mirrored : std::initializer_list<Attribute const*>{
             &canvas->canvasName, &canvas->demoCanvas, &canvas->hasMainPassword, &canvas->hasAccessPassword,
             &canvas->size, &canvas->created, &canvas->modified}) {
        EXPECT_TRUE(mirrored->isValueDefinedOnLayer(Attribute::LAYER_USER))
            << mirrored->name().constData() << " is mirrored on the user layer";
    }

    info->nameAttribute = QStringLiteral("Plans, revised");
    info->sizeAttribute = 43ul;
    info->modifiedAttribute = Cobalt::TimeStamp(3000);
    info->accessPasswordAttribute = false;
    info->stateAttribute = Tessel::DOCUMENT_STATE_REGULAR;
    EXPECT_EQ(canvas->canvasName.value(), QStringLiteral("Plans, revised"));
    EXPECT_EQ(canvas->size.value(), 43ul);
    EXPECT_EQ(canvas->modified.value(), Cobalt::TimeStamp(3000));
    EXPECT_FALSE(canvas->hasAccessPassword.value());
    EXPECT_FALSE(canvas->demoCanvas.value());
}

TEST(CanvasDocument, BindingToTheInformationAnnouncesTheRecordAtTheEndOfTheTransaction) {
    IndexTest::IndexDocument open(7);
    ServerIndexFolder* folder = addFolder(*open.index, "7", QStringLiteral("Home"));
    CanvasDocument* canvas = addCanvas(*folder, "c", QStringLiteral("canvas-1"));
    CanvasEvents events(*open.index);
    std::vector<CanvasDocument*> indexedWhenAdded;
    open.index->onCanvasAdded.addListener([&](CanvasDocument* added) {
        indexedWhenAdded.push_back(open.index->findByCanvasId(added->canvasId()));
    });
    {
        Tessel::ClientTransaction transaction;
        canvas->setDocumentInfo(filledInfo("canvas-1"));
        EXPECT_TRUE(events.added.empty()) << "nothing is announced inside the transaction";
    }
    EXPECT_EQ(events.added, std::vector<CanvasDocument*>{canvas});
    EXPECT_EQ(indexedWhenAdded, std::vector<CanvasDocument*>{canvas}) << "the index holds it when announced";
    EXPECT_TRUE(canvas->indexed);
}

TEST(CanvasDocument, ARecordWithoutItsInformationIsNeverIndexed) {
    IndexTest::IndexDocument open(7);
    CanvasEvents events(*open.index);
    CanvasDocument* canvas = addCanvas(*open.index, "c", QStringLiteral("canvas-1"), QStringLiteral("Named"));
    canvas->linkPermission = QStringLiteral("view");
    EXPECT_TRUE(events.added.empty());
    EXPECT_TRUE(events.changed.empty()) << "changes of an unannounced record are not announced";
    EXPECT_EQ(open.index->findByCanvasId("canvas-1"), nullptr);
}

TEST(CanvasDocument, SettingTheSameInformationTwiceAddsNoListenerAndAnnouncesNothing) {
    IndexTest::IndexDocument open(7);
    CanvasDocument* canvas = addCanvas(*open.index, "c");
    auto const info = filledInfo("canvas-1");
    canvas->setDocumentInfo(info);
    std::size_t const listeners = listenersOn(*info);
    CanvasEvents events(*open.index);

    canvas->setDocumentInfo(info);
    EXPECT_EQ(listenersOn(*info), listeners) << "the same information is not listened to twice";
    EXPECT_TRUE(events.added.empty());
    EXPECT_TRUE(events.changed.empty()) << "binding what is bound announces nothing";
}

TEST(CanvasDocument, ADocumentStateAboveOneLeavesDemoCanvasAsItWas) {
    auto const unknownState = [](Tessel::DocumentInfo& info) { info.stateAttribute.set(2); };
    IndexTest::IndexDocument open(7);
    CanvasDocument* canvas = addCanvas(*open.index, "c");
    auto const info = std::make_shared<Tessel::DocumentInfo>("canvas-1");
    unknownState(*info);
    ASSERT_EQ(static_cast<int>(info->documentState()), 2);
    canvas->demoCanvas = true;
    canvas->setDocumentInfo(info);
    EXPECT_TRUE(canvas->demoCanvas.value()) << "at binding";

    info->stateAttribute = Tessel::DOCUMENT_STATE_REGULAR;
    ASSERT_FALSE(canvas->demoCanvas.value()) << "state 0 clears the flag";
    info->stateAttribute = Tessel::DOCUMENT_STATE_DEMO;
    ASSERT_TRUE(canvas->demoCanvas.value()) << "state 1 sets it";
    unknownState(*info);
    EXPECT_TRUE(canvas->demoCanvas.value()) << "in the listener";
}

TEST(CanvasDocument, LosingTheInformationErasesAtOnceAndFallsBackToTheDefaults) {
    IndexTest::IndexDocument open(7);
    ServerIndexFolder* folder = addFolder(*open.index, "7", QStringLiteral("Home"));
    CanvasDocument* canvas = addCanvas(*folder, "c");
    auto const info = filledInfo("canvas-1");
    std::size_t const unheard = listenersOn(*info);
    canvas->canvasIdAttribute = QStringLiteral("canvas-1");
    canvas->setDocumentInfo(info);
    ASSERT_TRUE(canvas->indexed);
    CanvasEvents events(*open.index);
    std::vector<ServerIndexFolder*> erasedFrom;
    open.index->onCanvasErased.addListener(
        [&](CanvasDocument*, ServerIndexFolder* parent) { erasedFrom.push_back(parent); });
    {
        Tessel::ClientTransaction transaction;
        canvas->setDocumentInfo(nullptr);
        EXPECT_EQ(events.erased, std::vector<CanvasDocument*>{canvas}) << "erased at once, not at the end";
    }
    EXPECT_EQ(events.erased.size(), 1u);
    EXPECT_EQ(erasedFrom, std::vector<ServerIndexFolder*>{folder});
    EXPECT_TRUE(events.changed.empty()) << "falling back to defaults announces nothing further";
    EXPECT_FALSE(canvas->indexed);
    EXPECT_EQ(open.index->findByCanvasId("canvas-1"), nullptr);
    for (Attribute const* mirrored : std::initializer_list<Attribute const*>{
             &canvas->canvasName, &canvas->demoCanvas, &canvas->hasMainPassword, &canvas->hasAccessPassword,
             &canvas->size, &canvas->created, &canvas->modified}) {
        EXPECT_FALSE(mirrored->isValueDefinedOnLayer(Attribute::LAYER_USER))
            << mirrored->name().constData() << " falls back to its default";
    }
    EXPECT_EQ(canvas->size.value(), 0ul);
    EXPECT_TRUE(canvas->canvasName.value().isEmpty());
    EXPECT_EQ(listenersOn(*info), unheard) << "the old information is no longer listened to";

    info->nameAttribute = QStringLiteral("Renamed");
    EXPECT_TRUE(canvas->canvasName.value().isEmpty()) << "nor followed";
}

TEST(CanvasDocument, BindingOtherInformationStopsFollowingTheFormer) {
    IndexTest::IndexDocument open(7);
    CanvasDocument* canvas = addCanvas(*open.index, "c");
    auto const former = filledInfo("canvas-1");
    std::size_t const unheard = listenersOn(*former);
    canvas->setDocumentInfo(former);
    auto const latter = std::make_shared<Tessel::DocumentInfo>("canvas-1");
    latter->nameAttribute = QStringLiteral("Latter");
    canvas->setDocumentInfo(latter);
    EXPECT_EQ(listenersOn(*former), unheard);
    former->nameAttribute = QStringLiteral("Former, renamed");
    EXPECT_EQ(canvas->canvasName.value(), QStringLiteral("Latter"));
}

TEST(CanvasDocument, EachMirroredValueButTheAccessPasswordAnnouncesAChange) {
    struct Row {
        char const* behaviour;
        std::function<void(Tessel::DocumentInfo&)> change;
        int announcements;
    };
    Row const rows[] = {
        {"a new name", [](Tessel::DocumentInfo& info) { info.nameAttribute = QStringLiteral("Renamed"); }, 1},
        {"a demonstration",
         [](Tessel::DocumentInfo& info) { info.stateAttribute = Tessel::DOCUMENT_STATE_DEMO; }, 1},
        {"a main password", [](Tessel::DocumentInfo& info) { info.mainPasswordAttribute = true; }, 1},
        {"an access password", [](Tessel::DocumentInfo& info) { info.accessPasswordAttribute = true; }, 0},
        {"a new size", [](Tessel::DocumentInfo& info) { info.sizeAttribute = 7ul; }, 1},
        {"a creation time", [](Tessel::DocumentInfo& info) { info.createdAttribute = Cobalt::TimeStamp(5); },
         1},
        {"a modification time",
         [](Tessel::DocumentInfo& info) { info.modifiedAttribute = Cobalt::TimeStamp(6); }, 1},
    };
    for (Row const& row : rows) {
        IndexTest::IndexDocument open(7);
        CanvasDocument* canvas = addCanvas(*open.index, "c");
        auto const info = std::make_shared<Tessel::DocumentInfo>("canvas-1");
        canvas->setDocumentInfo(info);
        ASSERT_TRUE(canvas->indexed);
        CanvasEvents events(*open.index);
        row.change(*info);
        EXPECT_EQ(events.changed.size(), static_cast<std::size_t>(row.announcements)) << row.behaviour;
    }
}

TEST(CanvasDocument, ThePreviewAndTheLinkPermissionAnnounceAChange) {
    IndexTest::IndexDocument open(7);
    CanvasDocument* canvas = addCanvas(*open.index, "c");
    canvas->setDocumentInfo(std::make_shared<Tessel::DocumentInfo>("canvas-1"));
    CanvasEvents events(*open.index);
    canvas->preview = QStringLiteral("00ff");
    EXPECT_EQ(events.changed.size(), 1u) << "a new preview";
    canvas->linkPermission = QStringLiteral("none");
    EXPECT_EQ(events.changed.size(), 2u) << "a new link permission, even one granting what was granted";
}

TEST(CanvasDocument, ARecordOfAnUnlistedCanvasWaitsForItsListing) {
    ListedIndex listed;
    CanvasEvents events(*listed.open.index);
    CanvasDocument* canvas = addCanvas(*listed.open.index, "c", QStringLiteral("canvas-1"));
    listed.list("canvas-2");
    EXPECT_EQ(canvas->documentInfo, nullptr) << "a listing of another canvas is ignored";
    EXPECT_TRUE(events.added.empty());

    auto const info = listed.list("canvas-1");
    EXPECT_EQ(canvas->documentInfo, info);
    EXPECT_EQ(events.added, std::vector<CanvasDocument*>{canvas});
    EXPECT_EQ(listed.open.index->findByCanvasId("canvas-1"), canvas);
}

TEST(CanvasDocument, AnUnlistingOfAnotherCanvasIsIgnored) {
    ListedIndex listed;
    auto const info = listed.list("canvas-1");
    listed.list("canvas-2");
    CanvasDocument* canvas = addCanvas(*listed.open.index, "c", QStringLiteral("canvas-1"));
    ASSERT_EQ(canvas->documentInfo, info);
    listed.documents().unlist("canvas-2");
    EXPECT_EQ(canvas->documentInfo, info);
    EXPECT_TRUE(canvas->indexed);
    listed.documents().unlist("canvas-1");
    EXPECT_EQ(canvas->documentInfo, nullptr);
    EXPECT_FALSE(canvas->indexed);
}

TEST(CanvasDocument, TheDestructorLeavesTheTableThenErasesAndHearsNothingMore) {
    ListedIndex listed;
    auto const info = listed.list("canvas-1");
    std::size_t const unheard = listenersOn(*info);
    ServerIndexFolder* folder = addFolder(*listed.open.index, "7", QStringLiteral("Home"));
    CanvasDocument* canvas = addCanvas(*folder, "c", QStringLiteral("canvas-1"));
    ASSERT_TRUE(canvas->indexed);
    std::shared_ptr<CanvasDocumentDb> const db = canvas->documentDb;
    ASSERT_NE(db, nullptr);
    std::vector<std::string> order;
    db->onDocumentRemoved.addListener([&](unsigned connectionId, CanvasDocument* removed) {
        EXPECT_EQ(connectionId, 1u);
        EXPECT_EQ(removed, canvas);
        order.push_back("left the table");
    });
    listed.open.index->onCanvasErased.addListener([&](CanvasDocument* erased, ServerIndexFolder* parent) {
        EXPECT_EQ(erased, canvas);
        EXPECT_EQ(parent, folder);
        order.push_back("erased");
    });

    delete canvas;
    EXPECT_EQ(order, (std::vector<std::string>{"left the table", "erased"}));
    EXPECT_EQ(db->find(1, "canvas-1"), nullptr);
    EXPECT_EQ(listed.open.index->findByCanvasId("canvas-1"), nullptr);
    EXPECT_EQ(listenersOn(*info), unheard) << "the information outlives the record and mustn't call it";
    info->nameAttribute = QStringLiteral("Renamed");
    listed.documents().unlist("canvas-1");
    listed.list("canvas-1");
    EXPECT_EQ(order.size(), 2u) << "nothing reaches the dead record";
}

TEST(CanvasDocument, ASecondCanvasIdBindsAgainAndTheFirstEntryStays) {
    ListedIndex listed;
    listed.list("canvas-1");
    auto const second = listed.list("canvas-2");
    CanvasDocument* canvas = addCanvas(*listed.open.index, "c", QStringLiteral("canvas-1"));
    std::shared_ptr<CanvasDocumentDb> const db = canvas->documentDb;
    ASSERT_NE(db, nullptr);

    canvas->canvasIdAttribute = QStringLiteral("canvas-2");
    EXPECT_EQ(db->find(1, "canvas-2"), canvas);
    EXPECT_EQ(db->find(1, "canvas-1"), canvas) << "nothing takes the first entry out";
    EXPECT_EQ(canvas->documentInfo, second);
    listed.documents().unlist("canvas-1");
    EXPECT_EQ(canvas->documentInfo, second)
        << "an unlisting of the former canvas is about another canvas now";
    listed.documents().unlist("canvas-2");
    EXPECT_EQ(canvas->documentInfo, nullptr);
}
