// The server's users as clients of the server index see them: a directory on the server publishes them into
// the index's transient tree, each client's user elements tell its index of every change that can alter
// access, and the guest's blocking is announced with the connection that heard of it.

#include "tests/support/LiveSites.hpp"

#include "index/CanvasDocument.hpp"
#include "index/Group.hpp"
#include "index/ServerIndex.hpp"
#include "index/User.hpp"
#include "operators/ServerDirectory.hpp"
#include "platform/tessel/AvatarColor.hpp"
#include "platform/tessel/NodeTransaction.hpp"
#include "platform/tessel/ServerOperators.hpp"

#include <gtest/gtest.h>

#include <memory>
#include <utility>
#include <vector>

namespace {

using Basalt::Attribute;
using Datamodel::CanvasDocument;
using Datamodel::DirectoryUser;
using Datamodel::ServerDirectory;
using Datamodel::ServerIndex;
using Datamodel::ServerIndexFolder;
using Datamodel::User;
using Datamodel::UserContainer;
using TestSupport::LiveSites;

/// What `UserContainer::onGuestBlocked` announced for one connection, in order. The event is shared by
/// the whole process; the listener ends with the recorder.
class GuestAnnouncements {
public:
    explicit GuestAnnouncements(std::shared_ptr<Tessel::ClientToServerConnection> connection)
        : m_connection(std::move(connection)) {
        UserContainer::onGuestBlocked.addListener(
            m_alive,
            [this](std::shared_ptr<Tessel::ClientToServerConnection> const& connection, bool blocked) {
                if (connection == m_connection) {
                    values.push_back(blocked);
                }
            });
    }

    std::vector<bool> values;

private:
    std::shared_ptr<Tessel::ClientToServerConnection> m_connection;
    std::shared_ptr<int> m_alive = std::make_shared<int>(0);
};

/// How often an index told of each user, by user id.
struct UserChanges {
    explicit UserChanges(ServerIndex& index) {
        index.onUserChanged.addListener([this](User* user) { ++counts[user ? user->userId() : -1]; });
    }
    QMap<int, int> counts;
};

/// A server whose directory of users is published to every client of its index. `a`, acting for nobody,
/// writes the tree; the tests watch at clients acting for users of their own.
class ServerIndexUsersLive : public ::testing::Test {
protected:
    ServerIndexUsersLive() : directory(ServerDirectory::create()) {
        directory->publishIn(operators);
        sites = std::make_unique<LiveSites>(QStringLiteral("26.07.5"), &operators);
    }

    static DirectoryUser person(int id, QVector<int> groups = {}) {
        DirectoryUser user;
        user.id = id;
        user.fullName = QStringLiteral("User %1").arg(id);
        user.email = QStringLiteral("user%1@example.org").arg(id);
        user.groups = std::move(groups);
        return user;
    }

    /// Puts `user` into the directory and delivers it to every client.
    void publish(DirectoryUser const& user) {
        EXPECT_TRUE(directory->setUser(user)) << "the directory takes user " << user.id;
        sites->deliver();
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

    static ServerIndex& rootAt(LiveSites::Site const& site) {
        return *static_cast<ServerIndex*>(site.document->documentRoot());
    }

    static UserContainer* usersAt(LiveSites::Site const& site) {
        return dynamic_cast<UserContainer*>(
            site.document->transientRoot()->attribute(QByteArrayLiteral("user_container")));
    }

    /// `site`'s copy of the element `atWriter` of the writer's tree; null when it has none.
    template <typename E>
    static E* at(LiveSites::Site const& site, Tessel::Element const& atWriter) {
        return dynamic_cast<E*>(site.document->findSharedElement(atWriter.guid()));
    }

    /// Adds `node` under `parent` at `writer`.
    template <typename E>
    E* add(LiveSites::Site& writer, E* node, Tessel::Element const& parent) {
        Tessel::NodeTransaction transaction(*writer.document);
        transaction.addNode(*node, parent);
        auto committed = transaction.commit();
        sites->deliver();
        EXPECT_TRUE(committed.isReady() && committed.hasValue()) << "the server must apply the addition";
        return node;
    }

    /// A folder with element id `id` that grants `users` and `groups` what they list.
    static ServerIndexFolder* makeFolder(QByteArray const& id,
                                         std::vector<std::pair<int, Tessel::Permission>> users,
                                         std::vector<std::pair<int, Tessel::Permission>> groups = {}) {
        auto* folder = new ServerIndexFolder();
        folder->setName(id);
        folder->folderName = QString::fromUtf8(id);
        Tessel::ResourcePermissions permissions;
        for (auto const& [userId, permission] : users) {
            permissions.acl.users.insert(userId, {permission, 0});
        }
        for (auto const& [groupId, permission] : groups) {
            permissions.acl.groups.insert(groupId, {permission, 0});
        }
        folder->permissionOverrides.setValue(permissions);
        return folder;
    }

    Tessel::ServerDocumentTypeOperators operators;
    std::shared_ptr<ServerDirectory> directory;
    std::unique_ptr<LiveSites> sites;
};

Cobalt::ColorPMA defaultColourOf(QString const& email) {
    return Cobalt::toPMA(Tessel::randomAvatarColor(email));
}

} // namespace

TEST_F(ServerIndexUsersLive, ChangingOnlyTheEmailRecoloursAUserWithoutAColourOfTheirOwnAndIsToldTwiceAtMost) {
    publish(person(7));
    publish(person(8));
    LiveSites::Site& b = joinAs(QStringLiteral("b"), 0);
    User* plain = usersAt(b)->findUserById(7);
    User* chosen = usersAt(b)->findUserById(8);
    ASSERT_NE(plain, nullptr);
    ASSERT_NE(chosen, nullptr);
    ASSERT_EQ(plain->avatarColor.value(), defaultColourOf(QStringLiteral("user7@example.org")))
        << "the default colour follows the address the user arrived with";
    Cobalt::ColorPMA const own(0.25f, 0.5f, 0.125f, 1.0f);
    chosen->avatarColor.setValue(own, Attribute::LAYER_USER);
    sites->deliver();
    UserChanges changes(rootAt(b));

    DirectoryUser renamedPlain = person(7);
    renamedPlain.email = QStringLiteral("ada@example.org");
    DirectoryUser renamedChosen = person(8);
    renamedChosen.email = QStringLiteral("grace@example.org");
    publish(renamedPlain);
    publish(renamedChosen);

    ASSERT_EQ(plain->email.value(), QStringLiteral("ada@example.org"));
    ASSERT_EQ(chosen->email.value(), QStringLiteral("grace@example.org"));
    EXPECT_NE(defaultColourOf(QStringLiteral("ada@example.org")),
              defaultColourOf(QStringLiteral("user7@example.org")))
        << "the two addresses give different colours, or the test proves nothing";
    EXPECT_EQ(plain->avatarColor.value(), defaultColourOf(QStringLiteral("ada@example.org")));
    EXPECT_FALSE(plain->avatarColor.isValueDefinedOnLayer(Attribute::LAYER_USER));
    EXPECT_EQ(chosen->avatarColor.value(), own) << "a colour of the user's own stays";
    EXPECT_TRUE(chosen->avatarColor.isValueDefinedOnLayer(Attribute::LAYER_USER));
    EXPECT_EQ(chosen->avatarColor.valueOnLayer(Attribute::LAYER_DEFAULT),
              defaultColourOf(QStringLiteral("grace@example.org")))
        << "while its default follows the address";
    EXPECT_GE(changes.counts.value(7), 1);
    EXPECT_LE(changes.counts.value(7), 2) << "once for the colour, once for the address";
    EXPECT_GE(changes.counts.value(8), 1);
    EXPECT_LE(changes.counts.value(8), 2);
    EXPECT_EQ(changes.counts.size(), 2) << "no other user was told of";
}

TEST_F(ServerIndexUsersLive,
       BlockingTheGuestIsAnnouncedWithTrueAndUnblockingWithFalseWhileBlockingAnyoneElseIsNot) {
    publish(person(100));
    publish(person(101));
    LiveSites::Site& b = joinAs(QStringLiteral("b"), 0);
    GuestAnnouncements announced(b.connection);
    UserChanges changes(rootAt(b));
    DirectoryUser guest = person(100);
    DirectoryUser other = person(101);

    other.isBlocked = true;
    publish(other);
    EXPECT_TRUE(announced.values.empty()) << "user 101 is no guest";
    EXPECT_GE(changes.counts.value(101), 1) << "but the index hears of the change";
    ASSERT_TRUE(usersAt(b)->findUserById(101)->isBlocked.value());

    guest.isBlocked = true;
    publish(guest);
    EXPECT_EQ(announced.values, std::vector<bool>{true});
    EXPECT_GE(changes.counts.value(100), 1);

    guest.isBlocked = false;
    publish(guest);
    EXPECT_EQ(announced.values, (std::vector<bool>{true, false}));
}

TEST_F(ServerIndexUsersLive, AddingAUserToAGroupAltersTheirAccessOnlyAfterTheIdleRebuild) {
    publish(person(7));
    LiveSites::Site& a = joinAs(QStringLiteral("a"), 0);
    LiveSites::Site& b = joinAs(QStringLiteral("b"), 7);
    ServerIndexFolder* team =
        add(a, makeFolder("team", {{9, Tessel::PERMISSION_VIEW}}, {{3, Tessel::PERMISSION_EDIT}}), rootAt(a));
    auto* teamAtB = at<ServerIndexFolder>(b, *team);
    ASSERT_NE(teamAtB, nullptr);
    ASSERT_EQ(teamAtB->localAccess.value(), Tessel::PERMISSION_NONE);

    ASSERT_TRUE(directory->setUser(person(7, {3})));
    // Delivered to b, without the work that b's change queues for its idle turn.
    sites->serverExecutor().drain();
    b.executor.run();
    User* seven = usersAt(b)->findUserById(7);
    ASSERT_NE(seven, nullptr);
    ASSERT_EQ(seven->groups.values(), std::vector<int>{3}) << "b knows user 7 joined group 3";
    EXPECT_EQ(teamAtB->localAccess.value(), Tessel::PERMISSION_NONE) << "not before the rebuild";
    EXPECT_FALSE(rootAt(b).cachedGroups().contains(3));

    sites->deliver();
    EXPECT_TRUE(rootAt(b).cachedGroups().value(3).contains(7));
    EXPECT_EQ(teamAtB->localAccess.value(), Tessel::PERMISSION_EDIT) << "after it";
}

TEST_F(ServerIndexUsersLive, FindUserByIdIsNullWhereTheContainersChildOfThatIdIsNoUser) {
    publish(person(7));
    LiveSites::Site& a = joinAs(QStringLiteral("a"), 0);
    LiveSites::Site& b = joinAs(QStringLiteral("b"), 0);
    auto* impostor = new Datamodel::Group();
    impostor->setName("5");
    add(a, impostor, *usersAt(a));
    ASSERT_NE(at<Datamodel::Group>(b, *impostor), nullptr) << "b holds a group named 5 among the users";
    ASSERT_EQ(usersAt(b)->attribute("5"), at<Datamodel::Group>(b, *impostor));

    EXPECT_EQ(usersAt(b)->findUserById(5), nullptr);
    EXPECT_NE(usersAt(b)->findUserById(7), nullptr) << "a user of the container is found";
}

TEST_F(ServerIndexUsersLive, AUserInNoDocumentRaisesNothing) {
    publish(person(100));
    LiveSites::Site& b = joinAs(QStringLiteral("b"), 0);
    GuestAnnouncements announced(b.connection);
    UserChanges changes(rootAt(b));
    ASSERT_FALSE(rootAt(b).groupsUpdatePending);

    User loose;
    loose.setName("100");
    loose.fullName = QStringLiteral("Loose");
    loose.email = QStringLiteral("loose@example.org");
    loose.isAdmin = true;
    loose.isBlocked = true;
    loose.groups.setValues({3});
    sites->deliver();

    EXPECT_TRUE(changes.counts.isEmpty()) << "no index hears of a user in no document";
    EXPECT_TRUE(announced.values.empty()) << "nor is a guest in no document announced";
    EXPECT_FALSE(rootAt(b).groupsUpdatePending);

    // The same changes of the guest in b's user list are heard.
    DirectoryUser guest = person(100);
    guest.isBlocked = true;
    publish(guest);
    EXPECT_GE(changes.counts.value(100), 1);
    EXPECT_EQ(announced.values, std::vector<bool>{true});
}

TEST_F(ServerIndexUsersLive, AGuestSeesOnlyWhatEntriesAndLinksGrantTheGuest) {
    publish(person(100));
    publish(person(7));
    LiveSites::Site& a = joinAs(QStringLiteral("a"), 0);
    LiveSites::Site& guest = joinAs(QStringLiteral("guest"), 100);
    GuestAnnouncements announced(guest.connection);
    auto* home = makeFolder("7", {});
    home->owner = 7;
    auto* shared = makeFolder("shared", {{100, Tessel::PERMISSION_VIEW}});
    auto* others = makeFolder("others", {{8, Tessel::PERMISSION_EDIT}}, {{3, Tessel::PERMISSION_EDIT}});
    auto* linked = new CanvasDocument();
    linked->setName("linked");
    linked->canvasIdAttribute = QStringLiteral("canvas-1");
    linked->linkPermission = QStringLiteral("edit");
    auto* unlinked = new CanvasDocument();
    unlinked->setName("unlinked");
    unlinked->canvasIdAttribute = QStringLiteral("canvas-2");
    Tessel::NodeTransaction transaction(*a.document);
    transaction.addNode(*home, rootAt(a));
    transaction.addNode(*shared, *home);
    transaction.addNode(*others, *home);
    transaction.addNode(*linked, *home);
    transaction.addNode(*unlinked, *shared);
    auto committed = transaction.commit();
    sites->deliver();
    ASSERT_TRUE(committed.isReady() && committed.hasValue());

    struct Row {
        Tessel::Element const* atA;
        Tessel::Permission access;
        char const* why;
    };
    Row const rows[] = {
        {home, Tessel::PERMISSION_NONE, "user 7's home grants the guest nothing"},
        {shared, Tessel::PERMISSION_VIEW, "an entry for the guest"},
        {others, Tessel::PERMISSION_NONE, "entries for others and a group the guest isn't in"},
        {linked, Tessel::PERMISSION_EDIT, "a link grant"},
        {unlinked, Tessel::PERMISSION_VIEW, "inherited from the guest's entry"},
    };
    for (Row const& row : rows) {
        auto const* node = at<Datamodel::ServerIndexNode>(guest, *row.atA);
        ASSERT_NE(node, nullptr);
        EXPECT_EQ(node->localAccess.value(), row.access) << node->name().constData() << ": " << row.why;
    }

    DirectoryUser blocked = person(100);
    blocked.isBlocked = true;
    publish(blocked);
    EXPECT_EQ(announced.values, std::vector<bool>{true}) << "the guest's own connection hears of the block";
    publish(person(100));
    EXPECT_EQ(announced.values, (std::vector<bool>{true, false}));
}
