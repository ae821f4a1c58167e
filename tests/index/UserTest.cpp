#include "index/User.hpp"

#include "index/ServerIndex.hpp"
#include "platform/tessel/AvatarColor.hpp"
#include "tests/index/IndexDocument.hpp"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <utility>
#include <vector>

namespace {

using Basalt::Attribute;
using Datamodel::User;
using Datamodel::UserContainer;
using IndexTest::addChild;
using IndexTest::IndexDocument;
using IndexTest::Link;

Cobalt::ColorPMA avatarFor(char const* seed) {
    return Cobalt::toPMA(Tessel::randomAvatarColor(QString::fromUtf8(seed)));
}

/// Counts the `onUserChanged` of an index.
struct UserChanges {
    explicit UserChanges(Datamodel::ServerIndex& index) {
        index.onUserChanged.addListener([this](User* user) { users.push_back(user); });
    }
    std::vector<User*> users;
};

/// Records `onGuestBlocked` while it lives; the event is process-wide, so the listener must go again.
class GuestBlocked {
public:
    GuestBlocked() {
        m_id = UserContainer::onGuestBlocked.addListener(
            [this](std::shared_ptr<Tessel::ClientToServerConnection> connection, bool blocked) {
                raised.emplace_back(std::move(connection), blocked);
            });
    }
    ~GuestBlocked() { UserContainer::onGuestBlocked.removeListener(m_id); }
    GuestBlocked(GuestBlocked const&) = delete;
    GuestBlocked& operator=(GuestBlocked const&) = delete;

    std::vector<std::pair<std::shared_ptr<Tessel::ClientToServerConnection>, bool>> raised;

private:
    int m_id = 0;
};

} // namespace

// "groups" holds several values and has no layers, so the table is walked here rather than with the
// shared checker, which expects every attribute to sit on a layer.
TEST(User, DeclaresItsAttributesInOrderWithTheirDefaults) {
    User user;
    struct Row {
        char const* key;
        char const* type;
        QString defaultText;
    };
    Row const rows[] = {
        {"full-name", "string", ""},
        {"email", "string", ""},
        {"is-admin", "bool", "false"},
        {"is-blocked", "bool", "false"},
        {"groups", "vector:int", ""},
        {"avatar-color", "color",
         Basalt::AttributeT<Cobalt::ColorPMA>(nullptr, "", avatarFor("")).asString()},
    };
    auto const& attributes = user.attributes();
    ASSERT_EQ(attributes.size(), std::size(rows)) << "a new user has exactly the attributes of its table";
    for (std::size_t i = 0; i < std::size(rows); ++i) {
        SCOPED_TRACE(rows[i].key);
        EXPECT_EQ(attributes[i].first, QByteArray(rows[i].key)) << "declaration order";
        EXPECT_EQ(attributes[i].second->type(), QByteArray(rows[i].type));
        EXPECT_EQ(attributes[i].second->asString().toStdString(), rows[i].defaultText.toStdString())
            << "default value";
        EXPECT_FALSE(attributes[i].second->isValueDefinedOnLayer(Attribute::LAYER_USER)) << "nothing is set";
    }
    EXPECT_EQ(user.avatarColor.currentLayer(), Attribute::LAYER_DEFAULT);
    EXPECT_EQ(user.avatarColor.value(), avatarFor("")) << "the colour of the empty address, premultiplied";
}

TEST(User, UsersAndTheirContainerPassFlagsThree) {
    EXPECT_EQ(User().flags().bits(), 3u);
    EXPECT_EQ(UserContainer().flags().bits(), 3u);
}

TEST(User, TheUserIdIsTheElementIdInDecimal) {
    struct Row {
        QByteArray elementId;
        int userId;
    };
    Row const rows[] = {{"7", 7}, {"100", 100}, {"guest", 0}, {"", 0}, {"7a", 0}};
    for (Row const& row : rows) {
        User user;
        user.setName(row.elementId);
        EXPECT_EQ(user.userId(), row.userId) << row.elementId.constData();
    }
}

TEST(User, EveryChangeThatCanAlterAccessIsToldToTheIndex) {
    struct Row {
        char const* key;
        std::function<void(User&)> change;
    };
    Row const rows[] = {
        {"full-name", [](User& u) { u.fullName = QStringLiteral("Seven"); }},
        {"is-admin", [](User& u) { u.isAdmin = true; }},
        {"is-blocked", [](User& u) { u.isBlocked = true; }},
        {"avatar-color", [](User& u) { u.avatarColor = Cobalt::ColorPMA(0.5f, 0, 0, 1); }},
        {"groups", [](User& u) { u.groups.setValues({3}); }},
    };
    for (Row const& row : rows) {
        IndexDocument open(7);
        User* user = open.addUser(7);
        UserChanges changes(*open.index);
        row.change(*user);
        EXPECT_EQ(changes.users, std::vector<User*>{user}) << row.key << " is told once, with the user";
    }
}

TEST(User, OnlyAChangeOfTheWholeGroupListIsTold) {
    IndexDocument open(7);
    User* user = open.addUser(7);
    UserChanges changes(*open.index);
    user->groups.append(3);
    user->groups.replace(0, 4);
    user->groups.removeAt(0);
    EXPECT_TRUE(changes.users.empty()) << "single insertions, changes and removals are not told";
}

TEST(User, JoiningAndLeavingTheUserListIsToldWhileInTheDocument) {
    IndexDocument open(7);
    UserChanges changes(*open.index);
    User* user = open.addUser(7);
    EXPECT_EQ(changes.users, std::vector<User*>{user}) << "joining the list";
    open.users->removeAttribute(user);
    std::unique_ptr<User> owned(user);
    EXPECT_EQ(changes.users.size(), 1u) << "a user that left the document has no index to tell";
}

TEST(User, ChangingTheEmailRecoloursTheDefaultAvatarColour) {
    IndexDocument open(7);
    User* user = open.addUser(7);
    ASSERT_NE(avatarFor("seven@example.org"), avatarFor(""))
        << "the test needs two seeds of different colours";
    UserChanges changes(*open.index);
    user->email = QStringLiteral("seven@example.org");
    EXPECT_EQ(user->avatarColor.value(), avatarFor("seven@example.org"));
    EXPECT_EQ(user->avatarColor.currentLayer(), Attribute::LAYER_DEFAULT);
    EXPECT_EQ(changes.users.size(), 2u) << "once for the colour, once for the address";
}

TEST(User, ChangingTheEmailLeavesAChosenColourAndIsToldOnce) {
    IndexDocument open(7);
    User* user = open.addUser(7);
    Cobalt::ColorPMA const chosen(0.25f, 0.25f, 0.0f, 0.5f);
    user->avatarColor = chosen;
    UserChanges changes(*open.index);
    user->email = QStringLiteral("seven@example.org");
    EXPECT_EQ(user->avatarColor.value(), chosen) << "a colour on the user layer wins";
    EXPECT_EQ(user->avatarColor.valueOnLayer(Attribute::LAYER_DEFAULT), avatarFor("seven@example.org"))
        << "the default still follows the address";
    EXPECT_EQ(changes.users.size(), 1u) << "the shown colour stayed, so only the address is told";
}

TEST(User, BlockingTheGuestIsAnnouncedWithTheConnection) {
    IndexDocument open(7);
    User* guest = open.addUser(User::guestId);
    UserChanges changes(*open.index);
    GuestBlocked blocked;
    guest->isBlocked = true;
    guest->isBlocked = false;
    std::shared_ptr<Tessel::ClientToServerConnection> const connection = open.document->connection();
    ASSERT_EQ(blocked.raised.size(), 2u);
    EXPECT_EQ(blocked.raised[0], std::make_pair(connection, true));
    EXPECT_EQ(blocked.raised[1], std::make_pair(connection, false));
    EXPECT_EQ(changes.users.size(), 2u) << "the index hears of both changes too";
}

TEST(User, BlockingAnyOtherUserIsNotAnnouncedAsAGuest) {
    IndexDocument open(7);
    User* user = open.addUser(101);
    UserChanges changes(*open.index);
    GuestBlocked blocked;
    user->isBlocked = true;
    EXPECT_TRUE(blocked.raised.empty());
    EXPECT_EQ(changes.users, std::vector<User*>{user}) << "the index still hears of it";
}

TEST(User, AGuestWithoutAServerLinkIsNotAnnounced) {
    IndexDocument open(7, Link::WithoutServer);
    User* guest = open.addUser(User::guestId);
    GuestBlocked blocked;
    guest->isBlocked = true;
    EXPECT_TRUE(blocked.raised.empty()) << "there is no connection to name";
}

TEST(User, AUserInNoDocumentRaisesNothing) {
    // An index with a user list under it, but no document: nobody is told.
    Datamodel::ServerIndex index;
    UserChanges changes(index);
    GuestBlocked blocked;
    auto* users = addChild<UserContainer>(index, "user_container");
    User* guest = addChild<User>(*users, QByteArray::number(User::guestId));
    guest->isBlocked = true;
    guest->email = QStringLiteral("guest@example.org");
    guest->groups.setValues({3});
    User detached;
    detached.setName("100");
    detached.isBlocked = true;
    EXPECT_TRUE(changes.users.empty());
    EXPECT_TRUE(blocked.raised.empty());
}

// Only the document root counts: an index elsewhere in the document, above the user, is not told.
TEST(User, AUserOfADocumentWhoseRootIsNoIndexTellsNobody) {
    TestSupport::ManualExecutor executor;
    auto* transientIndex = new Datamodel::ServerIndex();
    UserChanges changes(*transientIndex);
    auto* users = addChild<UserContainer>(*transientIndex, "user_container");
    auto document = Tessel::DocumentConnection::create(std::make_unique<Tessel::Element>(),
                                                       std::unique_ptr<Tessel::Element>(transientIndex),
                                                       &executor, nullptr);
    User* user = addChild<User>(*users, "7");
    user->fullName = QStringLiteral("Seven");
    ASSERT_EQ(user->documentConnection(), document) << "the user is in the document";
    EXPECT_TRUE(changes.users.empty());
}

TEST(User, AddingAUserToAGroupReachesTheGroupCacheOnlyAfterTheIdleRebuild) {
    IndexDocument open(7);
    User* user = open.addUser(8);
    open.idle.drain();
    int rebuilds = 0;
    open.index->onGroupsChanged.addListener([&](QMap<int, QSet<int>> const*) { ++rebuilds; });
    user->groups.setValues({3});
    EXPECT_TRUE(open.index->cachedGroups().isEmpty()) << "the cache is stale until the client is idle";
    EXPECT_EQ(rebuilds, 0);
    open.idle.drain();
    EXPECT_EQ(open.index->cachedGroups(), (QMap<int, QSet<int>>{{3, {8}}}));
    EXPECT_EQ(rebuilds, 1);
}

TEST(UserContainer, FindUserByIdGivesOnlyUsers) {
    UserContainer users;
    User* seven = addChild<User>(users, "7");
    addChild<Tessel::Element>(users, "8");
    EXPECT_EQ(users.findUserById(7), seven);
    EXPECT_EQ(users.findUserById(8), nullptr) << "a child of that id that is no user";
    EXPECT_EQ(users.findUserById(9), nullptr);
}
