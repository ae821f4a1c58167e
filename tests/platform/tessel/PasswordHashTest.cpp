// Passwords kept only as salted, slow hashes.

#include "platform/tessel/PasswordHash.hpp"

#include <gtest/gtest.h>

using Tessel::PasswordHash;

TEST(PasswordHash, OnlyThePasswordHashedMatches) {
    PasswordHash const hash = PasswordHash::of(QStringLiteral("open sesame"));
    EXPECT_TRUE(hash.matches(QStringLiteral("open sesame")));
    EXPECT_FALSE(hash.matches(QStringLiteral("open sesame ")));
    EXPECT_FALSE(hash.matches(QString()));
    EXPECT_GE(hash.iterations, 100000);
}

TEST(PasswordHash, EachHashHasASaltOfItsOwn) {
    PasswordHash const first = PasswordHash::of(QStringLiteral("same"));
    PasswordHash const second = PasswordHash::of(QStringLiteral("same"));
    EXPECT_EQ(first.salt.size(), 16);
    EXPECT_NE(first.salt, second.salt);
    EXPECT_NE(first.hash, second.hash);
}

TEST(PasswordHash, TheStoredFormReadsBackAndABrokenOneMatchesNothing) {
    PasswordHash const hash = PasswordHash::of(QStringLiteral("kept"));
    PasswordHash const read = PasswordHash::fromJson(hash.toJson());
    EXPECT_TRUE(read.isValid());
    EXPECT_TRUE(read.matches(QStringLiteral("kept")));
    EXPECT_FALSE(hash.toJson().contains(QStringLiteral("kept")));

    QJsonObject broken = hash.toJson();
    broken.insert(QStringLiteral("hash"), QStringLiteral("00"));
    EXPECT_FALSE(PasswordHash::fromJson(broken).isValid());
    EXPECT_FALSE(PasswordHash::fromJson(broken).matches(QStringLiteral("kept")));
    EXPECT_FALSE(PasswordHash::fromJson(QJsonObject()).isValid());
}
