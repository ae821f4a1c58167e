// The server index's permissions, enforced by the server for every client: what a user may open, change,
// share and move, and what happens to a user who loses access while connected.

#include "tests/support/ExceptionMessage.hpp"
#include "tests/support/LiveSites.hpp"

#include "canvas/Note.hpp"
#include "index/CanvasDocument.hpp"
#include "index/ServerIndex.hpp"
#include "index/ServerIndexFolder.hpp"
#include "index/User.hpp"
#include "operators/IndexAccessPolicy.hpp"
#include "operators/ServerDirectory.hpp"
#include "platform/tessel/ServerAttribute.hpp"
#include "platform/tessel/ServerDocument.hpp"
#include "platform/tessel/ServerNode.hpp"
#include "platform/tessel/ServerOperators.hpp"

#include <gtest/gtest.h>

using Datamodel::CanvasDocument;
using Datamodel::DirectoryUser;
using Datamodel::IndexAccessPolicy;
using Datamodel::Note;
using Datamodel::ServerIndex;
using Datamodel::ServerIndexFolder;
using TestSupport::LiveSites;

namespace {

constexpr int alice = 1001;
constexpr int bob = 1002;
constexpr int carol = 1003;
constexpr int guest = 100;
constexpr int designers = 5;

DirectoryUser user(int id, QString const& name, QVector<int> groups = {}) {
    DirectoryUser made;
    made.id = id;
    made.fullName = name;
    made.groups = std::move(groups);
    return made;
}

/// Grants each user in `users` its level.
Tessel::ResourcePermissions grant(QMap<int, Tessel::Permission> const& users,
                                  QMap<int, Tessel::Permission> const& groups = {}) {
    Tessel::ResourcePermissions permissions;
    for (auto entry = users.begin(); entry != users.end(); ++entry) {
        permissions.acl.users.insert(entry.key(), {entry.value(), 0});
    }
    for (auto entry = groups.begin(); entry != groups.end(); ++entry) {
        permissions.acl.groups.insert(entry.key(), {entry.value(), 0});
    }
    return permissions;
}

/// A server with alice, bob, carol (a designer) and a blocked guest, whose index policy holds every client.
class IndexAccessPolicyTest : public ::testing::Test {
protected:
    IndexAccessPolicyTest()
        : directory(Datamodel::ServerDirectory::create()), policy(IndexAccessPolicy::create()) {
        directory->setUser(user(alice, QStringLiteral("alice")));
        directory->setUser(user(bob, QStringLiteral("bob")));
        directory->setUser(user(carol, QStringLiteral("carol"), {designers}));
        DirectoryUser blocked = user(guest, QStringLiteral("guest"));
        blocked.isBlocked = true;
        directory->setUser(blocked);
        directory->publishIn(operators);
        sites = std::make_unique<LiveSites>(
            QStringLiteral("26.07.5"), &operators, QString(),
            [this](Tessel::TesselServer::Options& options) { options.accessPolicy = policy; });
        auto started =
            policy->start(sites->server(), folly::getKeepAliveToken(&sites->serverExecutor()), directory);
        sites->deliver();
        LiveSites::answered(std::move(started), "the index didn't open");
    }

    LiveSites::Site& openIndex(QString const& name, int userId) {
        return sites->join(name, IndexAccessPolicy::indexDocumentId, ServerIndex::documentType(),
                           static_cast<unsigned>(userId));
    }

    LiveSites::Site& connect(QString const& name, int userId) {
        return sites->connect(name, static_cast<unsigned>(userId));
    }

    /// Why `site` can't open `id`, or "<nothing thrown>" when it opened it.
    std::string openRefusal(LiveSites::Site& site, QByteArray const& id = "canvas") {
        auto opened =
            site.connection->openDocument(id, Datamodel::SharedCanvas::documentType(),
                                          LiveSites::factoryOf(Datamodel::SharedCanvas::documentType()));
        sites->deliver();
        return TestSupport::messageOf<std::runtime_error>(
            [&] { site.document = LiveSites::answered(std::move(opened), "no answer"); });
    }

    /// A site acting for `userId` with the canvas `id` open; fails the test when it can't open it.
    LiveSites::Site& openCanvas(QString const& name, int userId, QByteArray const& id = "canvas") {
        LiveSites::Site& site = connect(name, userId);
        EXPECT_EQ(openRefusal(site, id), "<nothing thrown>");
        return site;
    }

    std::string refusalOf(Tessel::NodeTransaction& transaction) {
        auto committed = transaction.commit();
        sites->deliver();
        return TestSupport::messageOf<std::runtime_error>(
            [&] { LiveSites::answered(std::move(committed), "no answer"); });
    }

    static ServerIndex& indexAt(LiveSites::Site& site) {
        return *ServerIndex::root(*site.document->documentRoot());
    }
    static ServerIndexFolder* homeAt(LiveSites::Site& site, int userId) {
        return indexAt(site).findByFolderId(QByteArray::number(userId));
    }

    /// A record of the canvas `canvasId` that `site` adds to `folder` with these permissions, owned by the
    /// user of `site`.
    CanvasDocument& addRecord(LiveSites::Site& site, Tessel::Element& folder, QByteArray const& canvasId,
                              Tessel::ResourcePermissions const& permissions = {},
                              QString const& linkPermission = QString()) {
        auto* record = new CanvasDocument();
        record->setName("record-" + canvasId);
        record->canvasIdAttribute = QString::fromUtf8(canvasId);
        record->permissionOverrides.setValue(permissions);
        // Owning what one adds: ownership of the folder doesn't descend.
        record->owner = site.connection->userId();
        if (!linkPermission.isEmpty()) {
            record->linkPermission = linkPermission;
        }
        Tessel::NodeTransaction transaction(*site.document);
        transaction.addNode(*record, folder);
        EXPECT_EQ(refusalOf(transaction), "<nothing thrown>");
        return *record;
    }

    /// Alice's record of "canvas" in her home, and alice with the canvas open (which lists it).
    CanvasDocument& aliceShares(Tessel::ResourcePermissions const& permissions,
                                QString const& linkPermission = QString()) {
        LiveSites::Site& index = openIndex("alice-index", alice);
        CanvasDocument& record =
            addRecord(index, *homeAt(index, alice), "canvas", permissions, linkPermission);
        aliceCanvas = &openCanvas("alice", alice);
        return record;
    }

    std::string addNote(LiveSites::Site& site, QByteArray& guid) {
        auto* note = new Note();
        note->initName(); // its guid, known before the server answers
        guid = note->guid();
        Tessel::NodeTransaction transaction(*site.document);
        transaction.addNode(*note, site.canvas());
        return refusalOf(transaction);
    }

    Tessel::ServerDocumentTypeOperators operators;
    std::shared_ptr<Datamodel::ServerDirectory> directory;
    std::shared_ptr<IndexAccessPolicy> policy;
    std::unique_ptr<LiveSites> sites;
    LiveSites::Site* aliceCanvas = nullptr;
};

} // namespace

TEST_F(IndexAccessPolicyTest, EveryUserButTheGuestOwnsAHomeFolderWithATrash) {
    LiveSites::Site& index = openIndex("alice", alice);
    for (int const id : {alice, bob, carol}) {
        ServerIndexFolder* const home = homeAt(index, id);
        ASSERT_NE(home, nullptr) << id;
        EXPECT_EQ(home->owner.value(), id);
        EXPECT_NE(home->attribute("trash." + QByteArray::number(id)), nullptr) << id;
    }
    EXPECT_EQ(homeAt(index, alice)->folderName.value(), QStringLiteral("alice"));
    EXPECT_EQ(homeAt(index, guest), nullptr);
    EXPECT_EQ(homeAt(index, alice)->localAccess.value(), Tessel::PERMISSION_OWNER);
}

TEST_F(IndexAccessPolicyTest, AViewUserOpensTheCanvasButItsWriteIsRefusedAndTakenBackThereAlone) {
    aliceShares(grant({{bob, Tessel::PERMISSION_VIEW}}));
    LiveSites::Site& b = openCanvas("bob", bob);
    QByteArray guid;
    std::string const refusal = addNote(b, guid);
    EXPECT_EQ(refusal,
              "no 'edit' permission on node '" + b.canvas().guid().toStdString() + "' of canvas 'canvas'");
    EXPECT_EQ(b.document->findSharedElement(guid), nullptr) << "taken back at bob";
    EXPECT_EQ(aliceCanvas->document->findSharedElement(guid), nullptr) << "never seen by alice";

    ASSERT_EQ(addNote(*aliceCanvas, guid), "<nothing thrown>") << "the owner writes";
    auto* const atBob = dynamic_cast<Note*>(b.document->findSharedElement(guid));
    ASSERT_NE(atBob, nullptr) << "and bob sees it";
    atBob->text = QStringLiteral("bob's words");
    sites->deliver();
    EXPECT_EQ(atBob->text.value(), QString()) << "bob's change of a value is taken back too";
}

TEST_F(IndexAccessPolicyTest, AUserWithoutAnyPermissionCantOpenTheCanvas) {
    aliceShares(grant({{bob, Tessel::PERMISSION_VIEW}}));
    LiveSites::Site& c = connect("carol", carol);
    EXPECT_EQ(openRefusal(c), "no 'view' permission on canvas 'canvas'");
    EXPECT_EQ(sites->serverDocument()->connections().size(), 1u);
}

TEST_F(IndexAccessPolicyTest, TheFirstOpenOfAListedCanvasIsCheckedBeforeTheIndexHearsOfTheDocument) {
    LiveSites::Site& index = openIndex("alice-index", alice);
    addRecord(index, *homeAt(index, alice), "canvas", grant({{bob, Tessel::PERMISSION_VIEW}}));
    LiveSites::Site& c = connect("carol", carol);
    EXPECT_EQ(openRefusal(c), "no 'view' permission on canvas 'canvas'");
}

TEST_F(IndexAccessPolicyTest, AnEditUserChangesTheCanvasButNotItsPermissionsOrOwner) {
    CanvasDocument& record = aliceShares(grant({{bob, Tessel::PERMISSION_EDIT}}));
    LiveSites::Site& b = openCanvas("bob", bob);
    QByteArray guid;
    EXPECT_EQ(addNote(b, guid), "<nothing thrown>");
    EXPECT_NE(aliceCanvas->document->findSharedElement(guid), nullptr);

    LiveSites::Site& bobIndex = openIndex("bob-index", bob);
    auto* const recordAtBob =
        dynamic_cast<CanvasDocument*>(bobIndex.document->findSharedElement(record.guid()));
    ASSERT_NE(recordAtBob, nullptr);
    recordAtBob->permissionOverrides.setValue(
        grant({{bob, Tessel::PERMISSION_OWNER}, {carol, Tessel::PERMISSION_EDIT}}));
    recordAtBob->owner = bob;
    sites->deliver();
    EXPECT_EQ(recordAtBob->permissionOverrides.value(), grant({{bob, Tessel::PERMISSION_EDIT}}))
        << "taken back at bob";
    EXPECT_EQ(recordAtBob->owner.value(), alice) << "the owner too";
    EXPECT_EQ(record.permissionOverrides.value(), grant({{bob, Tessel::PERMISSION_EDIT}}));
    EXPECT_EQ(openRefusal(connect("carol", carol)), "no 'view' permission on canvas 'canvas'");

    recordAtBob->linkPermission = QStringLiteral("view");
    sites->deliver();
    EXPECT_EQ(record.linkPermission.value(), QStringLiteral("view")) << "other values need only 'edit'";
}

TEST_F(IndexAccessPolicyTest, AUserWhoLosesViewWhileConnectedIsClosedOutOfTheCanvas) {
    CanvasDocument& record = aliceShares(grant({{bob, Tessel::PERMISSION_VIEW}}));
    LiveSites::Site& b = openCanvas("bob", bob);
    record.permissionOverrides.setValue(grant({}));
    sites->deliver();
    EXPECT_FALSE(b.document->isLive());
    EXPECT_EQ(b.document->closeReason(), QStringLiteral("no 'view' permission on canvas 'canvas'"));
    EXPECT_TRUE(aliceCanvas->document->isLive());
    EXPECT_EQ(sites->serverDocument()->connections().size(), 1u);
}

TEST_F(IndexAccessPolicyTest, AGroupEntryGrantsItsMembersAndAnEntryOfNobodyGrantsNothing) {
    aliceShares(grant({{bob, Tessel::PERMISSION_NOBODY}}, {{designers, Tessel::PERMISSION_VIEW}}));
    EXPECT_EQ(openRefusal(connect("carol", carol)), "<nothing thrown>");
    EXPECT_EQ(openRefusal(connect("bob", bob)), "no 'view' permission on canvas 'canvas'");
}

TEST_F(IndexAccessPolicyTest, ALinkPermissionLetsEveryUserViewAndAnAllowedGuestToo) {
    aliceShares(grant({}), QStringLiteral("view"));
    LiveSites::Site& c = openCanvas("carol", carol);
    QByteArray guid;
    EXPECT_NE(addNote(c, guid), "<nothing thrown>") << "a link to view lets nobody write";
    EXPECT_EQ(openRefusal(connect("guest", guest)), "user 100 is blocked");

    directory->setUser(user(guest, QStringLiteral("guest")));
    sites->deliver();
    EXPECT_EQ(openRefusal(connect("guest", guest)), "<nothing thrown>");
}

TEST_F(IndexAccessPolicyTest, AUserBlockedWhileConnectedIsClosedOut) {
    aliceShares(grant({{bob, Tessel::PERMISSION_EDIT}}));
    LiveSites::Site& b = openCanvas("bob", bob);
    DirectoryUser blocked = user(bob, QStringLiteral("bob"));
    blocked.isBlocked = true;
    directory->setUser(blocked);
    sites->deliver();
    EXPECT_FALSE(b.document->isLive());
    EXPECT_EQ(b.document->closeReason(), QStringLiteral("user 1002 is blocked"));
}

TEST_F(IndexAccessPolicyTest, AddingAndDeletingNeedEditOnTheFolder) {
    LiveSites::Site& b = openIndex("bob", bob);
    auto* intruder = new ServerIndexFolder();
    Tessel::NodeTransaction adding(*b.document);
    adding.addNode(*intruder, *homeAt(b, alice));
    QByteArray const aliceHome = homeAt(b, alice)->guid();
    EXPECT_EQ(refusalOf(adding), "no 'edit' permission on node '" + aliceHome.toStdString() + "'");

    auto* own = new ServerIndexFolder();
    own->folderName = QStringLiteral("projects");
    Tessel::NodeTransaction mine(*b.document);
    mine.addNode(*own, *homeAt(b, bob));
    EXPECT_EQ(refusalOf(mine), "<nothing thrown>") << "bob owns his home";

    LiveSites::Site& a = openIndex("alice", alice);
    Tessel::NodeTransaction deleting(*a.document);
    deleting.deleteNode(*a.document->findSharedElement(own->guid()));
    EXPECT_EQ(refusalOf(deleting),
              "no 'edit' permission on node '" + homeAt(a, bob)->guid().toStdString() + "'");
    EXPECT_NE(a.document->findSharedElement(own->guid()), nullptr) << "back at alice";
}

TEST_F(IndexAccessPolicyTest, AMoveNeedsEditOnTheFolderItLeavesAndOnTheOneItEnters) {
    LiveSites::Site& a = openIndex("alice", alice);
    auto* shared = new ServerIndexFolder();
    shared->folderName = QStringLiteral("shared");
    shared->permissionOverrides.setValue(grant({{bob, Tessel::PERMISSION_EDIT}}));
    Tessel::NodeTransaction adding(*a.document);
    adding.addNode(*shared, *homeAt(a, alice));
    ASSERT_EQ(refusalOf(adding), "<nothing thrown>");
    CanvasDocument& record = addRecord(a, *shared, "plans");

    LiveSites::Site& b = openIndex("bob", bob);
    auto* const recordAtBob = dynamic_cast<Tessel::Element*>(b.document->findSharedElement(record.guid()));
    ASSERT_NE(recordAtBob, nullptr);
    Tessel::NodeTransaction intoAlicesHome(*b.document);
    intoAlicesHome.moveNode(*recordAtBob, *homeAt(b, alice));
    EXPECT_EQ(refusalOf(intoAlicesHome),
              "no 'edit' permission on node '" + homeAt(b, alice)->guid().toStdString() + "'");
    EXPECT_EQ(recordAtBob->host(), b.document->findSharedElement(shared->guid())) << "moved back at bob";

    Tessel::NodeTransaction intoBobsHome(*b.document);
    intoBobsHome.moveNode(*recordAtBob, *homeAt(b, bob));
    EXPECT_EQ(refusalOf(intoBobsHome), "<nothing thrown>");
    EXPECT_EQ(record.host(), homeAt(a, bob));
}

TEST_F(IndexAccessPolicyTest, TheUsersInTheIndexBelongToTheServer) {
    LiveSites::Site& b = openIndex("bob", bob);
    auto* const users = dynamic_cast<Datamodel::UserContainer*>(
        b.document->transientRoot()->attribute(QByteArrayLiteral("user_container")));
    ASSERT_NE(users, nullptr);
    Datamodel::User* const self = users->findUserById(bob);
    ASSERT_NE(self, nullptr);
    self->isAdmin = true;
    sites->deliver();
    EXPECT_FALSE(self->isAdmin.value()) << "taken back";
    EXPECT_FALSE(sites->serverDocument(IndexAccessPolicy::indexDocumentId)
                     ->findNode(self->guid())
                     ->childAttribute("is-admin")
                     ->simpleAttribute()
                     ->asVariant()
                     .toBool());
}

TEST_F(IndexAccessPolicyTest, ACanvasTheIndexDoesNotListIsOpenToEveryUser) {
    LiveSites::Site& c = openCanvas("carol", carol, "unlisted");
    QByteArray guid;
    EXPECT_EQ(addNote(c, guid), "<nothing thrown>");
}

TEST_F(IndexAccessPolicyTest, AnAdministratorEditsButDoesNotOwn) {
    CanvasDocument& record = aliceShares(grant({}));
    DirectoryUser admin = user(carol, QStringLiteral("carol"));
    admin.isAdmin = true;
    directory->setUser(admin);
    sites->deliver();
    LiveSites::Site& c = openCanvas("carol", carol);
    QByteArray guid;
    EXPECT_EQ(addNote(c, guid), "<nothing thrown>");
    LiveSites::Site& index = openIndex("carol-index", carol);
    auto* const recordAtCarol =
        dynamic_cast<CanvasDocument*>(index.document->findSharedElement(record.guid()));
    ASSERT_NE(recordAtCarol, nullptr);
    recordAtCarol->permissionOverrides.setValue(grant({{bob, Tessel::PERMISSION_VIEW}}));
    sites->deliver();
    EXPECT_EQ(record.permissionOverrides.value(), grant({}));
}

TEST_F(IndexAccessPolicyTest, TheInitialAccessPasswordOfARecordLocksItsCanvasAndLeavesTheIndex) {
    LiveSites::Site& index = openIndex("alice-index", alice);
    auto* record = new CanvasDocument();
    record->canvasIdAttribute = QStringLiteral("canvas");
    record->owner = alice;
    record->permissionOverrides.setValue(grant({{bob, Tessel::PERMISSION_VIEW}}));
    record->initialAccessPassword = QStringLiteral("sesame");
    Tessel::NodeTransaction transaction(*index.document);
    transaction.addNode(*record, *homeAt(index, alice));
    ASSERT_EQ(refusalOf(transaction), "<nothing thrown>");
    openCanvas("alice", alice);

    EXPECT_TRUE(record->initialAccessPassword.value().isEmpty()) << "nobody reads it in the index any more";
    EXPECT_TRUE(record->hasAccessPassword.value());
    EXPECT_EQ(openRefusal(connect("bob", bob)), "document 'canvas' needs its access password");
    Tessel::OpenOptions withPassword;
    withPassword.accessPassword = QStringLiteral("sesame");
    LiveSites::Site& b = connect("bob-again", bob);
    auto opened = b.connection->openDocument("canvas", Datamodel::SharedCanvas::documentType(),
                                             LiveSites::factoryOf(Datamodel::SharedCanvas::documentType()),
                                             withPassword);
    sites->deliver();
    EXPECT_NO_THROW(LiveSites::answered(std::move(opened), "no answer"));
}
