// A server's users and groups, with passwords kept only as salted, slow hashes.

#include "platform/tessel/UserAccounts.hpp"

#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using Tessel::UserAccounts;

namespace {

UserAccounts twoUsers() {
    UserAccounts accounts;
    QString error;
    EXPECT_EQ(accounts.addUser(QStringLiteral("alice"), QStringLiteral("wonderland"), error),
              UserAccounts::firstUserId);
    EXPECT_EQ(accounts.addUser(QStringLiteral("bob"), QStringLiteral("builder"), error),
              UserAccounts::firstUserId + 1);
    return accounts;
}

} // namespace

TEST(UserAccounts, AUserSignsInWithItsPasswordAndNoOtherOne) {
    UserAccounts const accounts = twoUsers();
    EXPECT_EQ(accounts.verify(QStringLiteral("alice"), QStringLiteral("wonderland")),
              UserAccounts::firstUserId);
    EXPECT_EQ(accounts.verify(QStringLiteral("alice"), QStringLiteral("builder")), 0u)
        << "another user's password";
    EXPECT_EQ(accounts.verify(QStringLiteral("alice"), QString()), 0u);
    EXPECT_EQ(accounts.verify(QStringLiteral("carol"), QStringLiteral("wonderland")), 0u) << "no such user";
}

TEST(UserAccounts, PasswordsAreKeptAsSaltedSlowHashesOnly) {
    UserAccounts accounts;
    QString error;
    accounts.addUser(QStringLiteral("alice"), QStringLiteral("same password"), error);
    accounts.addUser(QStringLiteral("bob"), QStringLiteral("same password"), error);
    UserAccounts::User const& alice = accounts.users().at(QStringLiteral("alice"));
    UserAccounts::User const& bob = accounts.users().at(QStringLiteral("bob"));
    EXPECT_GE(alice.password.iterations, 100000);
    EXPECT_EQ(alice.password.salt.size(), 16);
    EXPECT_NE(alice.password.salt, bob.password.salt) << "a salt of its own per user";
    EXPECT_NE(alice.password.hash, bob.password.hash) << "so the same password hashes differently";

    QTemporaryDir directory;
    QString const path = directory.filePath(QStringLiteral("users.json"));
    ASSERT_TRUE(accounts.save(path, error)) << error.toStdString();
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    EXPECT_FALSE(file.readAll().contains("same password")) << "the password itself is never written";
}

TEST(UserAccounts, AccountsComeBackFromTheirFileAndStillSignIn) {
    UserAccounts accounts = twoUsers();
    QString error;
    ASSERT_TRUE(
        accounts.setGroup(QStringLiteral("team"), {QStringLiteral("alice"), QStringLiteral("bob")}, error));
    QTemporaryDir directory;
    QString const path = directory.filePath(QStringLiteral("users.json"));
    ASSERT_TRUE(accounts.save(path, error)) << error.toStdString();

    UserAccounts loaded;
    ASSERT_TRUE(loaded.load(path, error)) << error.toStdString();
    EXPECT_EQ(loaded.verify(QStringLiteral("bob"), QStringLiteral("builder")), UserAccounts::firstUserId + 1);
    EXPECT_EQ(loaded.groups().at(QStringLiteral("team")).members,
              (QStringList{QStringLiteral("alice"), QStringLiteral("bob")}));
}

TEST(UserAccounts, ANewPasswordReplacesTheOldOne) {
    UserAccounts accounts = twoUsers();
    QString error;
    ASSERT_TRUE(accounts.setPassword(QStringLiteral("alice"), QStringLiteral("looking glass"), error));
    EXPECT_EQ(accounts.verify(QStringLiteral("alice"), QStringLiteral("wonderland")), 0u);
    EXPECT_EQ(accounts.verify(QStringLiteral("alice"), QStringLiteral("looking glass")),
              UserAccounts::firstUserId);
    EXPECT_FALSE(accounts.setPassword(QStringLiteral("carol"), QStringLiteral("x"), error));
    EXPECT_EQ(error, QStringLiteral("There is no user 'carol'"));
}

TEST(UserAccounts, NamesThatAreTakenOrEmptyAndEmptyPasswordsAreRefused) {
    UserAccounts accounts = twoUsers();
    QString error;
    EXPECT_EQ(accounts.addUser(QStringLiteral("alice"), QStringLiteral("again"), error), 0u);
    EXPECT_EQ(error, QStringLiteral("There is a user 'alice' already"));
    EXPECT_EQ(accounts.addUser(QStringLiteral(" "), QStringLiteral("x"), error), 0u);
    EXPECT_EQ(accounts.addUser(QStringLiteral("carol"), QString(), error), 0u);
    EXPECT_EQ(accounts.users().size(), 2u);
}

TEST(UserAccounts, AGroupOfSomebodyWhoIsNoUserIsRefused) {
    UserAccounts accounts = twoUsers();
    QString error;
    EXPECT_FALSE(
        accounts.setGroup(QStringLiteral("team"), {QStringLiteral("alice"), QStringLiteral("carol")}, error));
    EXPECT_EQ(error, QStringLiteral("There is no user 'carol'"));
    EXPECT_TRUE(accounts.groups().empty());
}

TEST(UserAccounts, AMissingFileHoldsNobodyAndABrokenOneIsRefused) {
    QTemporaryDir directory;
    UserAccounts accounts;
    QString error;
    EXPECT_TRUE(accounts.load(directory.filePath(QStringLiteral("none.json")), error));
    EXPECT_TRUE(accounts.isEmpty());

    QString const path = directory.filePath(QStringLiteral("users.json"));
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write(R"({"users": {"alice": {"id": 1001, "hash": "00", "iterations": 5}}})");
    file.close();
    EXPECT_FALSE(accounts.load(path, error));
    EXPECT_TRUE(error.contains(QStringLiteral("alice"))) << error.toStdString();
    EXPECT_TRUE(accounts.isEmpty()) << "nothing half read stays";
}

TEST(UserAccounts, TheGuestSignsInWithoutAPasswordOnlyWhileGuestsAreAllowed) {
    UserAccounts accounts = twoUsers();
    EXPECT_FALSE(accounts.guestsAllowed()) << "not by default";
    EXPECT_EQ(accounts.verify(QStringLiteral("guest"), QString()), 0u);
    accounts.setGuestsAllowed(true);
    EXPECT_EQ(accounts.verify(QStringLiteral("guest"), QString()), UserAccounts::guestId);
    EXPECT_EQ(accounts.verify(QStringLiteral("guest"), QStringLiteral("anything")), 0u)
        << "a guest has no password";
    QString error;
    EXPECT_EQ(accounts.addUser(QStringLiteral("guest"), QStringLiteral("mine"), error), 0u)
        << "the name belongs to the guest";
}

TEST(UserAccounts, WhetherGuestsAreAllowedComesBackFromTheFile) {
    QTemporaryDir directory;
    QString const path = directory.filePath(QStringLiteral("users.json"));
    UserAccounts accounts = twoUsers();
    accounts.setGuestsAllowed(true);
    QString error;
    ASSERT_TRUE(accounts.save(path, error)) << error.toStdString();
    UserAccounts loaded;
    ASSERT_TRUE(loaded.load(path, error)) << error.toStdString();
    EXPECT_TRUE(loaded.guestsAllowed());
    accounts.setGuestsAllowed(false);
    ASSERT_TRUE(accounts.save(path, error));
    ASSERT_TRUE(loaded.load(path, error));
    EXPECT_FALSE(loaded.guestsAllowed());
}
