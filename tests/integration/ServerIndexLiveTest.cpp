// The server index as clients of a real in-process server hold it: one client writes the tree, others derive
// for their own user what the stored tree doesn't hold (inherited lists, access, trash) and announce the
// changes at the end of the transaction that brought them. The server's users and groups come from a
// directory published into the index's transient tree.

#include "tests/support/CapturedLog.hpp"
#include "tests/support/LiveSites.hpp"
#include "tests/support/RawClient.hpp"

#include "canvas/SharedCanvas.hpp"
#include "index/CanvasDocument.hpp"
#include "index/ServerIndex.hpp"
#include "index/User.hpp"
#include "operators/ServerDirectory.hpp"
#include "platform/kelp/TypeRegistry.hpp"
#include "platform/tessel/DocumentInfo.hpp"
#include "platform/tessel/NodeTransaction.hpp"
#include "platform/tessel/ServerDocument.hpp"
#include "platform/tessel/ServerNode.hpp"
#include "platform/tessel/ServerOperators.hpp"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace {

using Datamodel::CanvasDocument;
using Datamodel::DirectoryUser;
using Datamodel::ServerDirectory;
using Datamodel::ServerIndex;
using Datamodel::ServerIndexFolder;
using Datamodel::ServerIndexNode;
using Tessel::Permission;
using TestSupport::LiveSites;

using Entries = std::vector<std::pair<int, Permission>>;

/// Entries as a node writes them on itself; the node gives them its own depth.
Tessel::ResourcePermissions grants(Entries const& users, Entries const& groups = {}) {
    Tessel::ResourcePermissions permissions;
    for (auto const& [id, permission] : users) {
        permissions.acl.users.insert(id, {permission, 0});
    }
    for (auto const& [id, permission] : groups) {
        permissions.acl.groups.insert(id, {permission, 0});
    }
    return permissions;
}

/// The resolved list of `node` in its text form ("user:5=3@1 ..."), which names what differs.
std::string listOf(ServerIndexNode const& node) {
    return Tessel::toText(node.localEffectivePermissions.value()).toStdString();
}

/// A folder with element id `id`, not added yet.
ServerIndexFolder* makeFolder(QByteArray const& id, QString const& name = QStringLiteral("Folder"),
                              Tessel::ResourcePermissions const& overrides = {}, int ownerId = 0) {
    auto* folder = new ServerIndexFolder();
    folder->setName(id);
    folder->folderName = name;
    if (!overrides.acl.isEmpty()) {
        folder->permissionOverrides.setValue(overrides);
    }
    if (ownerId != 0) {
        folder->owner = ownerId;
    }
    return folder;
}

/// A canvas record with element id `id` for the canvas `canvasId`, not added yet.
CanvasDocument* makeCanvas(QByteArray const& id, QByteArray const& canvasId,
                           QString const& linkPermission = QString()) {
    auto* canvas = new CanvasDocument();
    canvas->setName(id);
    canvas->canvasIdAttribute = QString::fromUtf8(canvasId);
    if (!linkPermission.isEmpty()) {
        canvas->linkPermission = linkPermission;
    }
    return canvas;
}

/// Everything an index announces, in order.
struct IndexEvents {
    explicit IndexEvents(ServerIndex& index) {
        index.onFolderAdded.addListener(
            [this](ServerIndexFolder* folder) { foldersAdded.push_back(folder); });
        index.onFolderChanged.addListener(
            [this](ServerIndexFolder* folder) { foldersChanged.push_back(folder); });
        index.onFolderReparented.addListener([this](ServerIndexFolder* folder, QByteArray const& from) {
            foldersReparented.emplace_back(folder, from);
        });
        index.onFolderErased.addListener(
            [this](ServerIndexFolder* folder, ServerIndexFolder*) { foldersErased.push_back(folder); });
        index.onCanvasAdded.addListener([this](CanvasDocument* canvas) { canvasesAdded.push_back(canvas); });
        index.onCanvasChanged.addListener(
            [this](CanvasDocument* canvas) { canvasesChanged.push_back(canvas); });
        index.onCanvasReparented.addListener([this](CanvasDocument* canvas, QByteArray const& from) {
            canvasesReparented.emplace_back(canvas, from);
        });
        index.onCanvasErased.addListener(
            [this](CanvasDocument* canvas, ServerIndexFolder*) { canvasesErased.push_back(canvas); });
    }

    /// Forgets what was announced so far.
    void clear() {
        foldersAdded.clear();
        foldersChanged.clear();
        foldersReparented.clear();
        foldersErased.clear();
        canvasesAdded.clear();
        canvasesChanged.clear();
        canvasesReparented.clear();
        canvasesErased.clear();
    }

    std::size_t count() const {
        return foldersAdded.size() + foldersChanged.size() + foldersReparented.size() + foldersErased.size() +
               canvasesAdded.size() + canvasesChanged.size() + canvasesReparented.size() +
               canvasesErased.size();
    }

    std::vector<ServerIndexFolder*> foldersAdded;
    std::vector<ServerIndexFolder*> foldersChanged;
    std::vector<std::pair<ServerIndexFolder*, QByteArray>> foldersReparented;
    std::vector<ServerIndexFolder*> foldersErased;
    std::vector<CanvasDocument*> canvasesAdded;
    std::vector<CanvasDocument*> canvasesChanged;
    std::vector<std::pair<CanvasDocument*, QByteArray>> canvasesReparented;
    std::vector<CanvasDocument*> canvasesErased;
};

/// Counts the changes of one attribute.
struct ChangeCounter {
    explicit ChangeCounter(Basalt::Attribute& attribute) {
        attribute.addListener([this] { ++count; }, Basalt::Attribute::ROLE_CHANGE);
    }
    int count = 0;
};

/// A server whose directory of users and groups every client of the index sees. Clients join the index
/// acting for a user of their own; `a` (acting for nobody) writes the tree in the tests.
class ServerIndexLive : public ::testing::Test {
protected:
    ServerIndexLive() : directory(ServerDirectory::create()) {
        directory->publishIn(operators);
        sites = std::make_unique<LiveSites>(QStringLiteral("26.07.5"), &operators);
    }

    /// User `id` of the directory, a member of `groups`.
    static DirectoryUser person(int id, QVector<int> groups = {}, bool isAdmin = false) {
        DirectoryUser user;
        user.id = id;
        user.fullName = QStringLiteral("User %1").arg(id);
        user.email = QStringLiteral("user%1@example.org").arg(id);
        user.isAdmin = isAdmin;
        user.groups = std::move(groups);
        return user;
    }

    /// Puts `user` into the directory and delivers it to every client.
    void publish(DirectoryUser const& user) {
        EXPECT_TRUE(directory->setUser(user)) << "the directory takes user " << user.id;
        sites->deliver();
    }

    /// Lets `site` apply what the server has for it, but runs none of the work that this queues on the
    /// site's executor, such as the idle rebuild of its group cache.
    void deliverBeforeIdleWork(LiveSites::Site& site) {
        sites->serverExecutor().drain();
        site.executor.run();
    }

    /// A client acting for `userId` with the index open.
    LiveSites::Site& joinAs(QString const& name, unsigned userId) {
        LiveSites::Site& site = sites->connect(name, userId);
        auto opened = site.connection->openDocument("index", ServerIndex::documentType(),
                                                    ServerIndex::elementFactory());
        sites->deliver();
        site.document = LiveSites::answered(std::move(opened), "the server didn't open the index");
        return site;
    }

    /// `a`, the writer, and `b`, acting for `watcherId`, join the index.
    void open(unsigned watcherId) {
        a = &joinAs(QStringLiteral("a"), 0);
        b = &joinAs(QStringLiteral("b"), watcherId);
    }

    static ServerIndex& rootAt(LiveSites::Site const& site) {
        return *static_cast<ServerIndex*>(site.document->documentRoot());
    }

    /// `site`'s copy of a's element `atA`; null when it has none.
    template <typename E>
    static E* at(LiveSites::Site const& site, Tessel::Element const& atA) {
        return dynamic_cast<E*>(site.document->findSharedElement(atA.guid()));
    }
    template <typename E>
    E* atB(Tessel::Element const& atA) const {
        return at<E>(*b, atA);
    }

    void commit(Tessel::NodeTransaction& transaction, char const* what) {
        auto committed = transaction.commit();
        sites->deliver();
        EXPECT_TRUE(committed.isReady() && committed.hasValue()) << what;
    }

    /// Adds `node` under `parent` at a, in a transaction of its own; returns `node`.
    template <typename E>
    E* add(E* node, Tessel::Element const& parent) {
        Tessel::NodeTransaction transaction(*a->document);
        transaction.addNode(*node, parent);
        commit(transaction, "the server must apply the addition");
        return node;
    }

    /// Moves a's `node` under a's `parent`.
    void move(Tessel::Element& node, Tessel::Element const& parent) {
        Tessel::NodeTransaction transaction(*a->document);
        transaction.moveNode(node, parent);
        commit(transaction, "the server must apply the move");
    }

    /// Opens the canvas `id` on the server, which lists it to every client.
    std::shared_ptr<Tessel::DocumentInfo> openCanvas(QByteArray const& id, QString const& name) {
        QString error;
        EXPECT_NE(sites->server()->openDocument(id, Datamodel::SharedCanvas::documentType(), error), nullptr)
            << "the server must open the canvas: " << error.toStdString();
        std::shared_ptr<Tessel::DocumentInfo> info = sites->server()->documentInfo(id);
        if (info) {
            info->nameAttribute = name;
        }
        sites->deliver();
        return info;
    }

    /// Writes `bytes` as the "permission-overrides" of a folder through a raw client, and expects the value
    /// to be refused or logged and to change no permission at any client, nor at one that joins later.
    void expectBadOverridesRefusedOrLoggedAndHarmless(QByteArray const& bytes);

    Tessel::ServerDocumentTypeOperators operators;
    std::shared_ptr<ServerDirectory> directory;
    std::unique_ptr<LiveSites> sites;
    LiveSites::Site* a = nullptr;
    LiveSites::Site* b = nullptr;
};

/// A client that speaks the wire format by hand, with the index open: for what no real client sends.
class RawIndexClient {
public:
    enum class Answer { Applied, Refused, None };

    explicit RawIndexClient(LiveSites& sites) : m_raw(sites) {
        Cobalt::BinaryData open;
        open.writeString("index");
        open.writeString(ServerIndex::documentType());
        m_raw.send(Tessel::Wire::MessageKind::OpenDocument, open);
    }

    /// Sends `operations` as one transaction on the index; the server's answer.
    Answer send(std::vector<Tessel::Wire::Operation> const& operations) {
        m_raw.clearReceived();
        m_raw.sendBytes(TestSupport::transactionFrame(operations, ++m_transaction, "index"));
        for (QByteArray const& bytes : m_raw.received()) {
            Tessel::Wire::Frame frame;
            QString error;
            if (!Tessel::Wire::decodeFrame(bytes, frame, error)) {
                continue;
            }
            if (frame.kind == Tessel::Wire::MessageKind::TransactionApplied) {
                return Answer::Applied;
            }
            if (frame.kind == Tessel::Wire::MessageKind::TransactionRefused) {
                return Answer::Refused;
            }
        }
        return Answer::None;
    }

    /// A value of `attribute` of the node `node` as raw bytes.
    static Tessel::Wire::Operation setValue(Tessel::Element const& node, QByteArray const& attribute,
                                            unsigned typeCode, QByteArray const& bytes) {
        Tessel::Wire::Operation operation;
        operation.kind = Tessel::Wire::OperationKind::SetValue;
        operation.nodeGuid = node.guid();
        operation.name = attribute;
        operation.typeCode = typeCode;
        operation.bytes = bytes;
        return operation;
    }

private:
    TestSupport::RawClient m_raw;
    std::int64_t m_transaction = 100;
};

} // namespace

TEST_F(ServerIndexLive, AFolderOwnerOwnsTheFolderAndEditsWhatLiesBelowUnlessAChildSaysOtherwise) {
    publish(person(5));
    publish(person(6));
    open(5);
    ServerIndexFolder* shared = makeFolder("shared", QStringLiteral("Shared"), {}, 5);
    ServerIndexFolder* plain = makeFolder("plain");
    ServerIndexFolder* deeper = makeFolder("deeper");
    ServerIndexFolder* lowered =
        makeFolder("lowered", QStringLiteral("Lowered"), grants({{5, Tessel::PERMISSION_VIEW}}));
    ServerIndexFolder* ownedAgain = makeFolder("mine", QStringLiteral("Mine"), {}, 5);
    ServerIndexFolder* ownedByOther = makeFolder("theirs", QStringLiteral("Theirs"), {}, 6);
    CanvasDocument* canvas = makeCanvas("plans", "canvas-1");
    Tessel::NodeTransaction transaction(*a->document);
    transaction.addNode(*shared, rootAt(*a));
    transaction.addNode(*plain, *shared);
    transaction.addNode(*deeper, *plain);
    transaction.addNode(*lowered, *shared);
    transaction.addNode(*ownedAgain, *shared);
    transaction.addNode(*ownedByOther, *shared);
    transaction.addNode(*canvas, *shared);
    commit(transaction, "the server must apply the tree");

    struct Row {
        Tessel::Element const* atA;
        std::string list;
        Permission access;
    };
    Row const rows[] = {
        {shared, "user:5=3@1", Tessel::PERMISSION_OWNER},
        {plain, "user:5=2@1", Tessel::PERMISSION_EDIT},
        {deeper, "user:5=2@1", Tessel::PERMISSION_EDIT},
        {lowered, "user:5=1@2", Tessel::PERMISSION_VIEW},
        {ownedAgain, "user:5=3@2", Tessel::PERMISSION_OWNER},
        {ownedByOther, "user:5=2@1 user:6=3@2", Tessel::PERMISSION_EDIT},
        {canvas, "user:5=2@1", Tessel::PERMISSION_EDIT},
    };
    for (Row const& row : rows) {
        auto const* node = atB<ServerIndexNode>(*row.atA);
        ASSERT_NE(node, nullptr) << row.atA->name().constData() << " reached b";
        EXPECT_EQ(listOf(*node), row.list) << "the list of " << node->name().constData() << " at b";
        EXPECT_EQ(node->localAccess.value(), row.access)
            << "user 5's access to " << node->name().constData() << " at b";
        EXPECT_EQ(listOf(*static_cast<ServerIndexNode const*>(row.atA)), row.list)
            << "a derives the same list for " << node->name().constData();
    }
}

TEST_F(ServerIndexLive, AnInheritedOwnerEntryOfUserOneVanishesOneLevelDownWhereAnyOtherBecomesEdit) {
    publish(person(1));
    publish(person(9));
    open(1);
    ServerIndexFolder* top = makeFolder(
        "top", QStringLiteral("Top"), grants({{1, Tessel::PERMISSION_OWNER}, {9, Tessel::PERMISSION_OWNER}}));
    ServerIndexFolder* below = makeFolder("below");
    ServerIndexFolder* further = makeFolder("further");
    Tessel::NodeTransaction transaction(*a->document);
    transaction.addNode(*top, rootAt(*a));
    transaction.addNode(*below, *top);
    transaction.addNode(*further, *below);
    commit(transaction, "the server must apply the tree");

    auto* topAtB = atB<ServerIndexFolder>(*top);
    auto* belowAtB = atB<ServerIndexFolder>(*below);
    auto* furtherAtB = atB<ServerIndexFolder>(*further);
    ASSERT_NE(topAtB, nullptr);
    ASSERT_NE(belowAtB, nullptr);
    ASSERT_NE(furtherAtB, nullptr);
    EXPECT_EQ(listOf(*topAtB), "user:1=3@1 user:9=3@1");
    EXPECT_EQ(listOf(*belowAtB), "user:9=2@1") << "user 1's ownership doesn't descend at all";
    EXPECT_EQ(listOf(*furtherAtB), "user:9=2@1");
    EXPECT_EQ(topAtB->localAccess.value(), Tessel::PERMISSION_OWNER);
    EXPECT_EQ(belowAtB->localAccess.value(), Tessel::PERMISSION_NONE) << "user 1 holds nothing below";
    EXPECT_EQ(furtherAtB->localAccess.value(), Tessel::PERMISSION_NONE);
}

TEST_F(ServerIndexLive, AnOwnerOfOneOrZeroAddsNoEntryYetOwnsTheNodeForAUserOfThatId) {
    publish(person(1));
    open(1);
    ServerIndexFolder* ownedByOne = add(makeFolder("one", QStringLiteral("One"), {}, 1), rootAt(*a));
    ServerIndexFolder* child = add(makeFolder("child"), *ownedByOne);
    ServerIndexFolder* ownedByZero = add(makeFolder("zero", QStringLiteral("Zero"), {}, 5), rootAt(*a));
    ownedByZero->owner = 0;
    sites->deliver();

    auto* oneAtB = atB<ServerIndexFolder>(*ownedByOne);
    auto* childAtB = atB<ServerIndexFolder>(*child);
    auto* zeroAtB = atB<ServerIndexFolder>(*ownedByZero);
    ASSERT_NE(oneAtB, nullptr);
    ASSERT_NE(childAtB, nullptr);
    ASSERT_NE(zeroAtB, nullptr);
    EXPECT_EQ(listOf(*oneAtB), "") << "owner 1 writes no entry";
    EXPECT_EQ(listOf(*childAtB), "");
    EXPECT_EQ(listOf(*zeroAtB), "") << "owner 0 writes no entry, and user 5's is gone";
    ASSERT_TRUE(oneAtB->owner.isValueDefinedOnLayer(Basalt::Attribute::LAYER_USER));
    ASSERT_TRUE(zeroAtB->owner.isValueDefinedOnLayer(Basalt::Attribute::LAYER_USER));
    Datamodel::User const* const userOne = rootAt(*b).currentUser.get();
    ASSERT_NE(userOne, nullptr) << "b acts for user 1";
    ASSERT_EQ(userOne->userId(), 1);
    EXPECT_EQ(oneAtB->resolveAccess(userOne), Tessel::PERMISSION_OWNER) << "user 1 owns what names it owner";
    EXPECT_EQ(childAtB->resolveAccess(userOne), Tessel::PERMISSION_NONE);
    Datamodel::User userZero;
    userZero.setName("0");
    EXPECT_EQ(zeroAtB->resolveAccess(&userZero), Tessel::PERMISSION_OWNER)
        << "a user of id 0 owns what names owner 0 on the user layer";
    EXPECT_EQ(oneAtB->resolveAccess(&userZero), Tessel::PERMISSION_NONE);
}

TEST_F(ServerIndexLive, AChangeOfOwnerThatLeavesTheListEqualRewritesNothingAndAnnouncesNothing) {
    publish(person(5));
    open(5);
    ServerIndexFolder* folder =
        add(makeFolder("f", QStringLiteral("F"), grants({{5, Tessel::PERMISSION_OWNER}})), rootAt(*a));
    ServerIndexFolder* child = add(makeFolder("g"), *folder);
    auto* folderAtB = atB<ServerIndexFolder>(*folder);
    auto* childAtB = atB<ServerIndexFolder>(*child);
    ASSERT_NE(folderAtB, nullptr);
    ASSERT_NE(childAtB, nullptr);
    ASSERT_EQ(listOf(*folderAtB), "user:5=3@1");
    ChangeCounter folderList(folderAtB->localEffectivePermissions);
    ChangeCounter childList(childAtB->localEffectivePermissions);
    ChangeCounter folderAccess(folderAtB->localAccess);
    IndexEvents events(rootAt(*b));

    folder->owner = 5;
    sites->deliver();
    ASSERT_EQ(folderAtB->owner.value(), 5) << "the owner reached b";
    EXPECT_EQ(listOf(*folderAtB), "user:5=3@1");
    EXPECT_EQ(folderList.count, 0) << "an equal list isn't written again";
    EXPECT_EQ(childList.count, 0) << "nor is anything below it";
    EXPECT_EQ(folderAccess.count, 0);
    EXPECT_EQ(events.count(), 0u) << "nothing is announced";

    // An owner that does change the list is written and announced, down the tree.
    folder->owner = 6;
    sites->deliver();
    EXPECT_EQ(listOf(*folderAtB), "user:5=3@1 user:6=3@1");
    EXPECT_EQ(listOf(*childAtB), "user:5=2@1 user:6=2@1");
    EXPECT_EQ(folderList.count, 1);
    EXPECT_EQ(childList.count, 1);
    EXPECT_EQ(events.foldersChanged.size(), 2u) << "each folder whose list changed, once";
}

TEST_F(ServerIndexLive, APermissionChangeDerivesTheListsOfItsSubtreeAndNoOthers) {
    publish(person(5));
    open(5);
    ServerIndexFolder* left = add(makeFolder("left", QStringLiteral("Left")), rootAt(*a));
    ServerIndexFolder* right = add(makeFolder("right", QStringLiteral("Right")), rootAt(*a));
    ServerIndexFolder* below = add(makeFolder("below", QStringLiteral("Below")), *left);
    add(makeFolder("deeper", QStringLiteral("Deeper")), *below);
    add(makeFolder("aside", QStringLiteral("Aside")), *right);
    Datamodel::ServerIndex& indexAtB = rootAt(*b);
    auto* leftAtB = atB<ServerIndexFolder>(*left);
    ASSERT_NE(leftAtB, nullptr);

    std::size_t const before = indexAtB.permissionCalculations;
    leftAtB->permissionOverrides.setValue(grants({{6, Tessel::PERMISSION_VIEW}}));
    EXPECT_EQ(indexAtB.permissionCalculations - before, 3u)
        << "left, below and deeper: right's side is untouched";

    std::size_t const beforeEqual = indexAtB.permissionCalculations;
    leftAtB->owner = 1; // adds no entry: the list stays as it was
    EXPECT_EQ(indexAtB.permissionCalculations - beforeEqual, 1u) << "an equal list stops the descent at once";
}

TEST_F(ServerIndexLive, AUsersOwnEntryOfNoneHidesTheirGroupsEditWhichGrantsWhereTheyHaveNoEntry) {
    publish(person(7, {3}));
    open(7);
    ServerIndexFolder* denied =
        add(makeFolder("denied", QStringLiteral("Denied"),
                       grants({{7, Tessel::PERMISSION_NONE}}, {{3, Tessel::PERMISSION_EDIT}})),
            rootAt(*a));
    ServerIndexFolder* granted =
        add(makeFolder("granted", QStringLiteral("Granted"), grants({}, {{3, Tessel::PERMISSION_EDIT}})),
            rootAt(*a));

    auto* deniedAtB = atB<ServerIndexFolder>(*denied);
    auto* grantedAtB = atB<ServerIndexFolder>(*granted);
    ASSERT_NE(deniedAtB, nullptr);
    ASSERT_NE(grantedAtB, nullptr);
    EXPECT_EQ(deniedAtB->localAccess.value(), Tessel::PERMISSION_NONE) << "the user's own entry decides";
    EXPECT_EQ(listOf(*deniedAtB), "user:7=0@1");
    EXPECT_EQ(grantedAtB->localAccess.value(), Tessel::PERMISSION_EDIT)
        << "the group's entry speaks for them";
    EXPECT_EQ(listOf(*grantedAtB), "user:7=2@1");
}

TEST_F(ServerIndexLive, AnAdministratorEditsWithoutAnEntryOwnsWhatTheyOwnAndEditsDespiteAnEntryOfNone) {
    publish(person(7, {}, true));
    open(7);
    ServerIndexFolder* plain = add(makeFolder("plain"), rootAt(*a));
    ServerIndexFolder* owned = add(makeFolder("owned", QStringLiteral("Owned"), {}, 7), rootAt(*a));
    ServerIndexFolder* denied = add(
        makeFolder("denied", QStringLiteral("Denied"), grants({{7, Tessel::PERMISSION_NONE}})), rootAt(*a));
    auto* plainAtB = atB<ServerIndexFolder>(*plain);
    auto* ownedAtB = atB<ServerIndexFolder>(*owned);
    auto* deniedAtB = atB<ServerIndexFolder>(*denied);
    ASSERT_NE(plainAtB, nullptr);
    ASSERT_NE(ownedAtB, nullptr);
    ASSERT_NE(deniedAtB, nullptr);

    EXPECT_EQ(plainAtB->localAccess.value(), Tessel::PERMISSION_EDIT);
    EXPECT_EQ(ownedAtB->localAccess.value(), Tessel::PERMISSION_OWNER);
    EXPECT_EQ(deniedAtB->localAccess.value(), Tessel::PERMISSION_EDIT)
        << "being administrator is tested first";

    publish(person(7, {}, false));
    EXPECT_EQ(plainAtB->localAccess.value(), Tessel::PERMISSION_NONE) << "no longer administrator";
    EXPECT_EQ(ownedAtB->localAccess.value(), Tessel::PERMISSION_OWNER);
    EXPECT_EQ(deniedAtB->localAccess.value(), Tessel::PERMISSION_NONE);
}

TEST_F(ServerIndexLive, ResolveAccessOfNoUserIsNoneOnAFolderAndTheLinkGrantOnACanvas) {
    open(0);
    ServerIndexFolder* folder =
        add(makeFolder("f", QStringLiteral("F"), grants({{5, Tessel::PERMISSION_EDIT}})), rootAt(*a));
    CanvasDocument* linked = add(makeCanvas("linked", "canvas-1", QStringLiteral("view")), *folder);
    CanvasDocument* unlinked = add(makeCanvas("unlinked", "canvas-2"), *folder);
    auto* folderAtB = atB<ServerIndexFolder>(*folder);
    auto* linkedAtB = atB<CanvasDocument>(*linked);
    auto* unlinkedAtB = atB<CanvasDocument>(*unlinked);
    ASSERT_NE(folderAtB, nullptr);
    ASSERT_NE(linkedAtB, nullptr);
    ASSERT_NE(unlinkedAtB, nullptr);

    EXPECT_EQ(folderAtB->resolveAccess(nullptr), Tessel::PERMISSION_NONE);
    EXPECT_EQ(linkedAtB->resolveAccess(nullptr), Tessel::PERMISSION_VIEW);
    EXPECT_EQ(unlinkedAtB->resolveAccess(nullptr), Tessel::PERMISSION_NONE);
    EXPECT_EQ(folderAtB->localAccess.value(), Tessel::PERMISSION_NONE) << "b acts for nobody";
    EXPECT_EQ(linkedAtB->localAccess.value(), Tessel::PERMISSION_VIEW) << "the link grants even nobody";
}

TEST_F(ServerIndexLive,
       WhatAMoveIntoATrashFolderCarriesLiesInTheTrashAtOnceWhileTheTrashFolderItselfDoesNot) {
    open(7);
    ServerIndexFolder* home = makeFolder("7", QStringLiteral("Home"));
    ServerIndexFolder* trash = makeFolder("trash.7", QStringLiteral("Trash"));
    ServerIndexFolder* project = makeFolder("project", QStringLiteral("Project"));
    ServerIndexFolder* sub = makeFolder("sub", QStringLiteral("Sub"));
    CanvasDocument* nested = makeCanvas("nested", "canvas-1");
    CanvasDocument* loose = makeCanvas("loose", "canvas-2");
    Tessel::NodeTransaction transaction(*a->document);
    transaction.addNode(*home, rootAt(*a));
    transaction.addNode(*trash, *home);
    transaction.addNode(*project, *home);
    transaction.addNode(*sub, *project);
    transaction.addNode(*nested, *sub);
    transaction.addNode(*loose, *home);
    commit(transaction, "the server must apply the tree");
    openCanvas("canvas-1", QStringLiteral("Nested"));
    openCanvas("canvas-2", QStringLiteral("Loose"));
    auto* trashAtB = atB<ServerIndexFolder>(*trash);
    auto* homeAtB = atB<ServerIndexFolder>(*home);
    auto* projectAtB = atB<ServerIndexFolder>(*project);
    auto* subAtB = atB<ServerIndexFolder>(*sub);
    auto* nestedAtB = atB<CanvasDocument>(*nested);
    auto* looseAtB = atB<CanvasDocument>(*loose);
    ASSERT_TRUE(trashAtB && homeAtB && projectAtB && subAtB && nestedAtB && looseAtB) << "the tree reached b";
    ASSERT_FALSE(nestedAtB->localInTrash.value());
    // What listeners of the moves see: the trash state is derived before the move is announced.
    std::vector<std::string> seen;
    ServerIndex& index = rootAt(*b);
    index.onFolderReparented.addListener([&](ServerIndexFolder* folder, QByteArray const& from) {
        if (folder == projectAtB) {
            seen.push_back("project from " + from.toStdString() + ": project " +
                           std::to_string(projectAtB->localInTrash.value()) + " sub " +
                           std::to_string(subAtB->localInTrash.value()) + " nested " +
                           std::to_string(nestedAtB->localInTrash.value()));
        }
    });
    index.onCanvasReparented.addListener([&](CanvasDocument* canvas, QByteArray const& from) {
        if (canvas == looseAtB) {
            seen.push_back("loose from " + from.toStdString() + ": " +
                           std::to_string(looseAtB->localInTrash.value()));
        }
    });

    move(*project, *trash);
    move(*loose, *trash);

    EXPECT_EQ(seen,
              (std::vector<std::string>{"project from 7: project 1 sub 1 nested 1", "loose from 7: 1"}));
    EXPECT_TRUE(projectAtB->localInTrash.value());
    EXPECT_TRUE(subAtB->localInTrash.value()) << "everything below a moved folder";
    EXPECT_TRUE(nestedAtB->localInTrash.value());
    EXPECT_TRUE(looseAtB->localInTrash.value());
    EXPECT_FALSE(trashAtB->localInTrash.value()) << "a trash folder isn't marked by its own name";
    EXPECT_FALSE(homeAtB->localInTrash.value());
}

TEST_F(ServerIndexLive, AFolderWithoutANameIsAnnouncedOnlyOnceItGetsOne) {
    open(0);
    IndexEvents events(rootAt(*b));
    ServerIndexFolder* folder = add(makeFolder("unnamed", QString()), rootAt(*a));
    auto* atBFolder = atB<ServerIndexFolder>(*folder);
    ASSERT_NE(atBFolder, nullptr) << "the folder reached b";
    EXPECT_TRUE(events.foldersAdded.empty()) << "an unnamed folder isn't announced";
    EXPECT_EQ(rootAt(*b).findByFolderId("unnamed"), nullptr);

    folder->folderName = QStringLiteral("Named");
    sites->deliver();
    EXPECT_EQ(events.foldersAdded, std::vector<ServerIndexFolder*>{atBFolder})
        << "its first name announces it";
    EXPECT_TRUE(events.foldersChanged.empty()) << "as added, not changed";
    EXPECT_EQ(rootAt(*b).findByFolderId("unnamed"), atBFolder);

    folder->folderName = QStringLiteral("Renamed");
    sites->deliver();
    EXPECT_EQ(events.foldersAdded.size(), 1u);
    EXPECT_EQ(events.foldersChanged, std::vector<ServerIndexFolder*>{atBFolder});
}

TEST_F(ServerIndexLive, TwoRenamesInOneTransactionAreAnnouncedOnce) {
    open(0);
    ServerIndexFolder* folder = add(makeFolder("f", QStringLiteral("First")), rootAt(*a));
    auto* folderAtB = atB<ServerIndexFolder>(*folder);
    ASSERT_NE(folderAtB, nullptr);
    IndexEvents events(rootAt(*b));
    RawIndexClient raw(*sites);

    EXPECT_EQ(raw.send({RawIndexClient::setValue(*folder, "folder-name", Kelp::TYPE_STRING, "Second"),
                        RawIndexClient::setValue(*folder, "folder-name", Kelp::TYPE_STRING, "Third")}),
              RawIndexClient::Answer::Applied);

    EXPECT_EQ(folderAtB->folderName.value(), QStringLiteral("Third"));
    EXPECT_EQ(events.foldersChanged, std::vector<ServerIndexFolder*>{folderAtB});
    EXPECT_EQ(events.count(), 1u);
}

TEST_F(ServerIndexLive, FindByFolderIdWithTheRootsIdGivesTheRootThoughItWasNeverIndexed) {
    open(0);
    ServerIndexFolder* folder = add(makeFolder("f", QStringLiteral("F")), rootAt(*a));
    ServerIndex& index = rootAt(*b);
    ASSERT_FALSE(index.name().isEmpty());

    EXPECT_FALSE(index.indexed) << "the root is never announced";
    EXPECT_FALSE(index.folderIndex.contains(index.name()));
    EXPECT_EQ(index.findByFolderId(index.name()), &index);
    EXPECT_EQ(index.findByFolderId("f"), atB<ServerIndexFolder>(*folder));
}

TEST_F(ServerIndexLive, AProcessWithoutAUserGetsTheSharedTrashAndNoHome) {
    publish(person(7));
    open(0);
    LiveSites::Site& seven = joinAs(QStringLiteral("seven"), 7);
    ServerIndexFolder* sharedTrash = makeFolder("trash.2", QStringLiteral("Trash"));
    ServerIndexFolder* home = makeFolder("7", QStringLiteral("Home"));
    ServerIndexFolder* trash = makeFolder("trash.7", QStringLiteral("Trash"));
    Tessel::NodeTransaction transaction(*a->document);
    transaction.addNode(*sharedTrash, rootAt(*a));
    transaction.addNode(*home, rootAt(*a));
    transaction.addNode(*trash, *home);
    commit(transaction, "the server must apply the tree");

    ServerIndexFolder* const sharedTrashAtB = atB<ServerIndexFolder>(*sharedTrash);
    ASSERT_NE(sharedTrashAtB, nullptr);
    EXPECT_EQ(rootAt(*b).trash(), sharedTrashAtB);
    EXPECT_EQ(rootAt(*b).home(0), nullptr);
    EXPECT_EQ(rootAt(*b).home(7), atB<ServerIndexFolder>(*home)) << "an explicit id still finds its home";
    ServerIndexFolder* const trashOfSeven = at<ServerIndexFolder>(seven, *trash);
    ASSERT_NE(trashOfSeven, nullptr);
    EXPECT_EQ(rootAt(seven).trash(), trashOfSeven) << "a user with a home and trash gets their own";
    EXPECT_EQ(rootAt(seven).home(0), at<ServerIndexFolder>(seven, *home));
}

TEST_F(ServerIndexLive, AUserRemovedFromAGroupKeepsTheStaleGrantUntilTheIdleRebuild) {
    publish(person(7, {3}));
    publish(person(9));
    open(7);
    // With a user entry beside the group entry, the folder follows changes of membership.
    ServerIndexFolder* team =
        add(makeFolder("team", QStringLiteral("Team"),
                       grants({{9, Tessel::PERMISSION_VIEW}}, {{3, Tessel::PERMISSION_EDIT}})),
            rootAt(*a));
    auto* teamAtB = atB<ServerIndexFolder>(*team);
    ASSERT_NE(teamAtB, nullptr);
    ASSERT_EQ(teamAtB->localAccess.value(), Tessel::PERMISSION_EDIT);
    ServerIndex& index = rootAt(*b);

    ASSERT_TRUE(directory->setUser(person(7, {})));
    deliverBeforeIdleWork(*b);
    auto* users = dynamic_cast<Datamodel::UserContainer*>(
        b->document->transientRoot()->attribute(QByteArrayLiteral("user_container")));
    ASSERT_NE(users, nullptr);
    ASSERT_NE(users->findUserById(7), nullptr);
    ASSERT_TRUE(users->findUserById(7)->groups.values().empty()) << "b knows user 7 left group 3";
    EXPECT_TRUE(index.groupsUpdatePending);
    EXPECT_TRUE(index.cachedGroups().value(3).contains(7)) << "the cache is stale until the client is idle";
    EXPECT_EQ(teamAtB->localAccess.value(), Tessel::PERMISSION_EDIT) << "so is the grant";
    EXPECT_EQ(listOf(*teamAtB), "user:7=2@1 user:9=1@1");

    sites->deliver();
    EXPECT_FALSE(index.groupsUpdatePending);
    EXPECT_FALSE(index.cachedGroups().value(3).contains(7));
    EXPECT_EQ(teamAtB->localAccess.value(), Tessel::PERMISSION_NONE) << "the rebuild takes the grant away";
    EXPECT_EQ(listOf(*teamAtB), "user:9=1@1");
}

TEST_F(ServerIndexLive, AGroupEntryOfNobodyOutranksEveryOtherGroupEntry) {
    publish(person(7, {3, 4}));
    open(7);
    ServerIndexFolder* blocked =
        add(makeFolder("blocked", QStringLiteral("Blocked"),
                       grants({}, {{3, Tessel::PERMISSION_OWNER}, {4, Tessel::PERMISSION_NOBODY}})),
            rootAt(*a));
    ServerIndexFolder* open =
        add(makeFolder("open", QStringLiteral("Open"),
                       grants({}, {{3, Tessel::PERMISSION_EDIT}, {4, Tessel::PERMISSION_VIEW}})),
            rootAt(*a));
    auto* blockedAtB = atB<ServerIndexFolder>(*blocked);
    auto* openAtB = atB<ServerIndexFolder>(*open);
    ASSERT_NE(blockedAtB, nullptr);
    ASSERT_NE(openAtB, nullptr);

    EXPECT_EQ(blockedAtB->localAccess.value(), Tessel::PERMISSION_NOBODY)
        << "the numeric maximum of the groups";
    EXPECT_EQ(listOf(*blockedAtB), "user:7=4@1");
    EXPECT_EQ(openAtB->localAccess.value(), Tessel::PERMISSION_EDIT) << "the best of the groups";
}

TEST_F(ServerIndexLive, ASecondClientSeesFoldersAndCanvasesComeRenamedTrashedAndRestoredWithItsOwnAccess) {
    publish(person(7));
    publish(person(8));
    open(7);
    LiveSites::Site& eight = joinAs(QStringLiteral("eight"), 8);
    ServerIndexFolder* home = makeFolder("7", QStringLiteral("Home"), {}, 7);
    ServerIndexFolder* trash = makeFolder("trash.7", QStringLiteral("Trash"));
    Tessel::NodeTransaction transaction(*a->document);
    transaction.addNode(*home, rootAt(*a));
    transaction.addNode(*trash, *home);
    commit(transaction, "the server must apply the home folder");
    auto const info = openCanvas("canvas-1", QStringLiteral("Plans"));
    ASSERT_NE(info, nullptr);
    IndexEvents events(rootAt(*b));
    IndexEvents eventsOfEight(rootAt(eight));

    ServerIndexFolder* projects = add(makeFolder("projects", QStringLiteral("Projects")), *home);
    CanvasDocument* plans = add(makeCanvas("plans", "canvas-1"), *projects);
    auto* projectsAtB = atB<ServerIndexFolder>(*projects);
    auto* plansAtB = atB<CanvasDocument>(*plans);
    auto* projectsAtEight = at<ServerIndexFolder>(eight, *projects);
    auto* plansAtEight = at<CanvasDocument>(eight, *plans);
    ASSERT_TRUE(projectsAtB && plansAtB && projectsAtEight && plansAtEight) << "both clients got both";
    EXPECT_EQ(events.foldersAdded, std::vector<ServerIndexFolder*>{projectsAtB});
    EXPECT_EQ(events.canvasesAdded, std::vector<CanvasDocument*>{plansAtB});
    EXPECT_EQ(eventsOfEight.foldersAdded, std::vector<ServerIndexFolder*>{projectsAtEight});
    EXPECT_EQ(atB<ServerIndexFolder>(*home)->localAccess.value(), Tessel::PERMISSION_OWNER);
    EXPECT_EQ(projectsAtB->localAccess.value(), Tessel::PERMISSION_EDIT)
        << "the owner of the home edits within";
    EXPECT_EQ(plansAtB->localAccess.value(), Tessel::PERMISSION_EDIT);
    EXPECT_EQ(projectsAtEight->localAccess.value(), Tessel::PERMISSION_NONE) << "user 8 has no entry";
    EXPECT_EQ(plansAtEight->localAccess.value(), Tessel::PERMISSION_NONE);
    events.clear();

    projects->folderName = QStringLiteral("Work");
    info->nameAttribute = QStringLiteral("Plans, revised");
    sites->deliver();
    EXPECT_EQ(projectsAtB->folderName.value(), QStringLiteral("Work"));
    EXPECT_EQ(plansAtB->canvasName.value(), QStringLiteral("Plans, revised"));
    EXPECT_EQ(events.foldersChanged, std::vector<ServerIndexFolder*>{projectsAtB});
    EXPECT_EQ(events.canvasesChanged, std::vector<CanvasDocument*>{plansAtB});

    move(*projects, *trash);
    using Moves = std::vector<std::pair<ServerIndexFolder*, QByteArray>>;
    EXPECT_EQ(events.foldersReparented, (Moves{{projectsAtB, "7"}}));
    EXPECT_TRUE(projectsAtB->localInTrash.value());
    EXPECT_TRUE(plansAtB->localInTrash.value());
    EXPECT_TRUE(plansAtEight->localInTrash.value());
    EXPECT_EQ(projectsAtB->localAccess.value(), Tessel::PERMISSION_EDIT) << "the trash lies in the home too";

    move(*projects, *home);
    EXPECT_EQ(events.foldersReparented, (Moves{{projectsAtB, "7"}, {projectsAtB, "trash.7"}}));
    EXPECT_FALSE(projectsAtB->localInTrash.value());
    EXPECT_FALSE(plansAtB->localInTrash.value());
    EXPECT_TRUE(events.foldersErased.empty()) << "a trip through the trash erases nothing";
    EXPECT_TRUE(events.canvasesErased.empty());

    projects->permissionOverrides.setValue(grants({{8, Tessel::PERMISSION_VIEW}}));
    sites->deliver();
    EXPECT_EQ(projectsAtEight->localAccess.value(), Tessel::PERMISSION_VIEW)
        << "a grant to user 8 reaches them";
    EXPECT_EQ(plansAtEight->localAccess.value(), Tessel::PERMISSION_VIEW);
    EXPECT_EQ(projectsAtB->localAccess.value(), Tessel::PERMISSION_EDIT) << "and changes nothing for user 7";
}

TEST_F(ServerIndexLive, AnotherUserAddedToAGroupGainsTheGroupsEntryOnlyAfterTheIdleRebuild) {
    publish(person(7));
    publish(person(8));
    open(7);
    ServerIndexFolder* team =
        add(makeFolder("team", QStringLiteral("Team"),
                       grants({{7, Tessel::PERMISSION_EDIT}}, {{3, Tessel::PERMISSION_VIEW}})),
            rootAt(*a));
    auto* teamAtB = atB<ServerIndexFolder>(*team);
    ASSERT_NE(teamAtB, nullptr);
    ASSERT_EQ(listOf(*teamAtB), "user:7=2@1") << "group 3 has no members yet";

    ASSERT_TRUE(directory->setUser(person(8, {3})));
    deliverBeforeIdleWork(*b);
    EXPECT_EQ(listOf(*teamAtB), "user:7=2@1") << "membership counts once the cache knows it";

    sites->deliver();
    EXPECT_EQ(listOf(*teamAtB), "user:7=2@1 user:8=1@1");
    EXPECT_EQ(teamAtB->localAccess.value(), Tessel::PERMISSION_EDIT) << "b's own user is untouched";
}

// A node listens to membership only where it holds a user entry too: a list of group entries alone
// follows the rebuilt membership at its own next change.
TEST_F(ServerIndexLive, AListOfGroupEntriesAloneFollowsMembershipOnlyAtItsNextChange) {
    publish(person(7));
    open(7);
    ServerIndexFolder* groupOnly =
        add(makeFolder("groups", QStringLiteral("Groups"), grants({}, {{3, Tessel::PERMISSION_VIEW}})),
            rootAt(*a));
    auto* groupOnlyAtB = atB<ServerIndexFolder>(*groupOnly);
    ASSERT_NE(groupOnlyAtB, nullptr);
    EXPECT_EQ(groupOnlyAtB->groupsListenerId, -1);

    publish(person(7, {3}));
    EXPECT_TRUE(rootAt(*b).cachedGroups().value(3).contains(7)) << "the rebuild ran";
    EXPECT_EQ(groupOnlyAtB->localAccess.value(), Tessel::PERMISSION_NONE);
    EXPECT_EQ(listOf(*groupOnlyAtB), "");

    groupOnly->permissionOverrides.setValue(
        grants({{9, Tessel::PERMISSION_VIEW}}, {{3, Tessel::PERMISSION_VIEW}}));
    sites->deliver();
    EXPECT_EQ(listOf(*groupOnlyAtB), "user:7=1@1 user:9=1@1");
    EXPECT_EQ(groupOnlyAtB->localAccess.value(), Tessel::PERMISSION_VIEW);
    EXPECT_NE(groupOnlyAtB->groupsListenerId, -1) << "with a user entry beside it, it listens from now on";
}

void ServerIndexLive::expectBadOverridesRefusedOrLoggedAndHarmless(QByteArray const& bytes) {
    publish(person(5));
    open(5);
    ServerIndexFolder* target = add(
        makeFolder("target", QStringLiteral("Target"), grants({{5, Tessel::PERMISSION_VIEW}})), rootAt(*a));
    ServerIndexFolder* below = add(makeFolder("below"), *target);
    ServerIndexFolder* sibling = add(
        makeFolder("sibling", QStringLiteral("Sibling"), grants({{5, Tessel::PERMISSION_EDIT}})), rootAt(*a));
    RawIndexClient raw(*sites);
    TestSupport::CapturedLog log;

    RawIndexClient::Answer const answer = raw.send(
        {RawIndexClient::setValue(*target, "permission-overrides", Kelp::TYPE_RESOURCE_PERMISSIONS, bytes)});

    EXPECT_TRUE(answer == RawIndexClient::Answer::Refused ||
                !log.messagesUpTo(Cobalt::Trace::LEVEL_WARNING).empty())
        << "a list that no client can read is refused by the server or logged";
    LiveSites::Site& later = joinAs(QStringLiteral("later"), 5);
    std::pair<char const*, LiveSites::Site*> const everywhere[] = {{"a", a}, {"b", b}, {"later", &later}};
    for (auto const& [name, site] : everywhere) {
        std::string const where = std::string(" at ") + name;
        auto* targetThere = at<ServerIndexFolder>(*site, *target);
        auto* belowThere = at<ServerIndexFolder>(*site, *below);
        auto* siblingThere = at<ServerIndexFolder>(*site, *sibling);
        ASSERT_TRUE(targetThere && belowThere && siblingThere) << "the tree is whole" << where;
        EXPECT_EQ(listOf(*targetThere), "user:5=1@1") << "the folder keeps its list" << where;
        EXPECT_EQ(listOf(*belowThere), "user:5=1@1") << "and so does what lies below it" << where;
        EXPECT_EQ(listOf(*siblingThere), "user:5=2@1") << "and the rest of the index" << where;
    }
    EXPECT_EQ(at<ServerIndexFolder>(later, *target)->localAccess.value(), Tessel::PERMISSION_VIEW);
    EXPECT_EQ(atB<ServerIndexFolder>(*target)->localAccess.value(), Tessel::PERMISSION_VIEW);
}

TEST_F(ServerIndexLive, AnAccessListThatDoesNotParseIsRefusedOrLoggedAndChangesNoPermission) {
    expectBadOverridesRefusedOrLoggedAndHarmless(QByteArrayLiteral("\x01\x02 not a list"));
}

TEST_F(ServerIndexLive, APermissionOutsideTheTableIsRefusedOrLoggedAndChangesNoPermission) {
    Tessel::ResourcePermissions outside;
    outside.acl.users.insert(5, {static_cast<Permission>(7), 0});
    Cobalt::BinaryData message;
    Tessel::writeMessage(message, outside);
    expectBadOverridesRefusedOrLoggedAndHarmless(message.data());
}

TEST_F(ServerIndexLive, AMoveIntoTheNodesOwnSubtreeIsRefusedAndChangesNothingAnywhere) {
    publish(person(5));
    open(5);
    ServerIndexFolder* outer = add(
        makeFolder("outer", QStringLiteral("Outer"), grants({{5, Tessel::PERMISSION_OWNER}})), rootAt(*a));
    ServerIndexFolder* inner = add(makeFolder("inner"), *outer);
    ServerIndexFolder* innermost = add(makeFolder("innermost"), *inner);
    IndexEvents eventsAtA(rootAt(*a));
    IndexEvents eventsAtB(rootAt(*b));
    RawIndexClient raw(*sites);
    TestSupport::CapturedLog log;

    Tessel::Wire::Operation cycle;
    cycle.kind = Tessel::Wire::OperationKind::MoveNode;
    cycle.nodeGuid = outer->guid();
    cycle.parentGuid = innermost->guid();
    cycle.name = outer->name();
    EXPECT_EQ(raw.send({cycle}), RawIndexClient::Answer::Refused);

    EXPECT_FALSE(log.messagesUpTo(Cobalt::Trace::LEVEL_WARNING).empty()) << "the refusal is logged";
    std::shared_ptr<Tessel::ServerNode> const onServer =
        sites->server()->document("index")->findNode(outer->guid());
    ASSERT_NE(onServer, nullptr);
    ASSERT_NE(onServer->parent(), nullptr);
    EXPECT_EQ(onServer->parent()->guid(), rootAt(*a).guid()) << "the server's tree is as it was";
    LiveSites::Site& later = joinAs(QStringLiteral("later"), 5);
    std::pair<char const*, LiveSites::Site*> const everywhere[] = {{"a", a}, {"b", b}, {"later", &later}};
    for (auto const& [name, site] : everywhere) {
        SCOPED_TRACE(name);
        auto* outerThere = at<ServerIndexFolder>(*site, *outer);
        auto* innerThere = at<ServerIndexFolder>(*site, *inner);
        auto* innermostThere = at<ServerIndexFolder>(*site, *innermost);
        ASSERT_TRUE(outerThere && innerThere && innermostThere);
        EXPECT_EQ(outerThere->host(), &rootAt(*site));
        EXPECT_EQ(innerThere->host(), outerThere);
        EXPECT_EQ(innermostThere->host(), innerThere);
        EXPECT_EQ(listOf(*outerThere), "user:5=3@1");
        EXPECT_EQ(listOf(*innermostThere), "user:5=2@1");
    }
    EXPECT_EQ(eventsAtA.count(), 0u);
    EXPECT_EQ(eventsAtB.count(), 0u);
}

TEST_F(ServerIndexLive, AMoveIntoItsOwnSubtreeAtAClientIsRefusedAndChangesNothingThere) {
    publish(person(5));
    open(5);
    ServerIndexFolder* outer = add(
        makeFolder("outer", QStringLiteral("Outer"), grants({{5, Tessel::PERMISSION_OWNER}})), rootAt(*a));
    ServerIndexFolder* inner = add(makeFolder("inner"), *outer);
    IndexEvents eventsAtA(rootAt(*a));
    IndexEvents eventsAtB(rootAt(*b));

    Tessel::NodeTransaction move(*a->document);
    move.moveNode(*outer, *inner);
    auto committed = move.commit();
    sites->deliver();

    ASSERT_TRUE(committed.isReady());
    EXPECT_TRUE(committed.hasException()) << "the commit fails";
    EXPECT_EQ(outer->host(), &rootAt(*a)) << "nothing moved at the client";
    EXPECT_EQ(inner->host(), outer);
    EXPECT_EQ(listOf(*outer), "user:5=3@1");
    auto* outerAtB = at<ServerIndexFolder>(*b, *outer);
    ASSERT_NE(outerAtB, nullptr);
    EXPECT_EQ(outerAtB->host(), &rootAt(*b));
    EXPECT_EQ(eventsAtA.count(), 0u);
    EXPECT_EQ(eventsAtB.count(), 0u);
}

TEST_F(ServerIndexLive, ANodeUnderAnUnknownParentIsRefusedWholeAndTheIndexKeepsItsPermissions) {
    publish(person(5));
    open(5);
    ServerIndexFolder* folder =
        add(makeFolder("f", QStringLiteral("F"), grants({{5, Tessel::PERMISSION_EDIT}})), rootAt(*a));
    auto* folderAtB = atB<ServerIndexFolder>(*folder);
    ASSERT_NE(folderAtB, nullptr);
    IndexEvents events(rootAt(*b));
    RawIndexClient raw(*sites);
    TestSupport::CapturedLog log;

    auto addition = [](QByteArray const& parentGuid, QByteArray const& guid) {
        Tessel::Wire::Operation operation;
        operation.kind = Tessel::Wire::OperationKind::AddNode;
        operation.parentGuid = parentGuid;
        operation.nodeGuid = guid;
        operation.name = guid;
        operation.typeKey = "server_index_folder";
        operation.attributes.push_back({"folder-name", Kelp::TYPE_STRING, "Named"});
        return operation;
    };
    // A good addition beside the orphan: the transaction is refused whole.
    EXPECT_EQ(raw.send({addition(folder->guid(), "good-guid"), addition("no-such-folder", "orphan-guid")}),
              RawIndexClient::Answer::Refused);

    EXPECT_FALSE(log.messagesUpTo(Cobalt::Trace::LEVEL_WARNING).empty()) << "the refusal is logged";
    std::shared_ptr<Tessel::ServerDocument> const onServer = sites->server()->document("index");
    EXPECT_EQ(onServer->findNode("orphan-guid"), nullptr);
    EXPECT_EQ(onServer->findNode("good-guid"), nullptr);
    EXPECT_EQ(b->document->findSharedElement("orphan-guid"), nullptr);
    EXPECT_EQ(b->document->findSharedElement("good-guid"), nullptr);
    EXPECT_EQ(events.count(), 0u);
    EXPECT_EQ(listOf(*folderAtB), "user:5=2@1");
    EXPECT_EQ(folderAtB->localAccess.value(), Tessel::PERMISSION_EDIT);
}
