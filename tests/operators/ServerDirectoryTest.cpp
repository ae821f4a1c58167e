// The server's users and groups reach every client of the server index through its transient tree.

#include "tests/support/LiveSites.hpp"

#include "index/Group.hpp"
#include "index/ServerIndex.hpp"
#include "index/User.hpp"
#include "operators/ServerDirectory.hpp"
#include "platform/tessel/ServerOperators.hpp"
#include "platform/tessel/UserAccounts.hpp"

#include <gtest/gtest.h>

using Datamodel::DirectoryGroup;
using Datamodel::DirectoryUser;
using Datamodel::ServerDirectory;
using TestSupport::LiveSites;

namespace {

class ServerDirectoryTest : public ::testing::Test {
protected:
    ServerDirectoryTest() : directory(ServerDirectory::create()) {
        directory->publishIn(operators);
        sites = std::make_unique<LiveSites>(QStringLiteral("26.07.5"), &operators);
    }

    LiveSites::Site& joinIndex(QString const& name) {
        return sites->join(name, "index", Datamodel::ServerIndex::documentType());
    }

    static Datamodel::UserContainer* usersAt(LiveSites::Site& site) {
        return dynamic_cast<Datamodel::UserContainer*>(
            site.document->transientRoot()->attribute(QByteArrayLiteral("user_container")));
    }
    static Datamodel::GroupContainer* groupsAt(LiveSites::Site& site) {
        return dynamic_cast<Datamodel::GroupContainer*>(
            site.document->transientRoot()->attribute(QByteArrayLiteral("group_container")));
    }

    Tessel::ServerDocumentTypeOperators operators;
    std::shared_ptr<ServerDirectory> directory;
    std::unique_ptr<LiveSites> sites;
};

DirectoryUser user(int id, QString const& name, QVector<int> groups = {}) {
    DirectoryUser made;
    made.id = id;
    made.fullName = name;
    made.email = name.toLower() + QStringLiteral("@example.org");
    made.groups = std::move(groups);
    return made;
}

} // namespace

TEST_F(ServerDirectoryTest, AClientOfTheIndexFindsEveryUserAndGroupInTheTransientTree) {
    directory->setUser(user(7, QStringLiteral("Ada"), {3}));
    directory->setUser(user(8, QStringLiteral("Grace")));
    directory->setGroup({3, QStringLiteral("Designers"), QStringLiteral("who draw")});
    auto& a = joinIndex("a");
    Datamodel::UserContainer* const users = usersAt(a);
    ASSERT_NE(users, nullptr);
    Datamodel::User* const ada = users->findUserById(7);
    ASSERT_NE(ada, nullptr);
    EXPECT_EQ(ada->fullName.value(), QStringLiteral("Ada"));
    EXPECT_EQ(ada->email.value(), QStringLiteral("ada@example.org"));
    EXPECT_EQ(ada->groups.values(), std::vector<int>{3});
    EXPECT_NE(users->findUserById(8), nullptr);
    ASSERT_NE(groupsAt(a), nullptr);
    Datamodel::Group* const designers = groupsAt(a)->findGroupById(3);
    ASSERT_NE(designers, nullptr);
    EXPECT_EQ(designers->groupName.value(), QStringLiteral("Designers"));
}

TEST_F(ServerDirectoryTest, ChangesOfTheDirectoryReachConnectedClients) {
    directory->setUser(user(7, QStringLiteral("Ada")));
    auto& a = joinIndex("a");
    DirectoryUser changed = user(7, QStringLiteral("Ada Lovelace"), {3, 4});
    changed.isAdmin = true;
    directory->setUser(changed);
    directory->setUser(user(9, QStringLiteral("Alan")));
    sites->deliver();
    Datamodel::User* const ada = usersAt(a)->findUserById(7);
    ASSERT_NE(ada, nullptr);
    EXPECT_EQ(ada->fullName.value(), QStringLiteral("Ada Lovelace"));
    EXPECT_TRUE(ada->isAdmin.value());
    EXPECT_EQ(ada->groups.values(), (std::vector<int>{3, 4}));
    EXPECT_NE(usersAt(a)->findUserById(9), nullptr);
    directory->removeUser(9);
    sites->deliver();
    EXPECT_EQ(usersAt(a)->findUserById(9), nullptr);
}

TEST_F(ServerDirectoryTest, AnIdBelowOneIsRefused) {
    EXPECT_FALSE(directory->setUser(user(0, QStringLiteral("Nobody"))));
    EXPECT_FALSE(directory->setGroup({-1, QStringLiteral("None"), QString()}));
    EXPECT_TRUE(directory->users().isEmpty());
    EXPECT_FALSE(directory->removeUser(5)) << "there is no such user";
}

TEST_F(ServerDirectoryTest, TheAccountsOfAServerBecomeItsUsersAndGroupsWithTheGuestBlockedUnlessAllowed) {
    Tessel::UserAccounts accounts;
    QString error;
    unsigned const alice = accounts.addUser(QStringLiteral("alice"), QStringLiteral("a"), error);
    unsigned const bob = accounts.addUser(QStringLiteral("bob"), QStringLiteral("b"), error);
    ASSERT_TRUE(accounts.setGroup(QStringLiteral("designers"), {QStringLiteral("bob")}, error));
    directory->setUser(user(7, QStringLiteral("gone")));
    directory->setAccounts(accounts);

    EXPECT_FALSE(directory->users().contains(7)) << "the accounts replace what was there";
    ASSERT_TRUE(directory->users().contains(static_cast<int>(alice)));
    EXPECT_EQ(directory->users()[static_cast<int>(alice)].fullName, QStringLiteral("alice"));
    EXPECT_TRUE(directory->users()[static_cast<int>(alice)].groups.isEmpty());
    int const designers = static_cast<int>(accounts.groups().at(QStringLiteral("designers")).id);
    EXPECT_EQ(directory->users()[static_cast<int>(bob)].groups, QVector<int>{designers});
    EXPECT_EQ(directory->groups()[designers].name, QStringLiteral("designers"));
    int const guest = static_cast<int>(Tessel::UserAccounts::guestId);
    ASSERT_TRUE(directory->users().contains(guest));
    EXPECT_TRUE(directory->users()[guest].isBlocked);

    accounts.setGuestsAllowed(true);
    directory->setAccounts(accounts);
    EXPECT_FALSE(directory->users()[guest].isBlocked);
}
