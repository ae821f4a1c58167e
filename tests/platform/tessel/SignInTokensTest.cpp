// Tokens that let a user who signed in with a password sign in again without it, for a while.

#include "platform/tessel/SignInTokens.hpp"

#include <gtest/gtest.h>

using Tessel::SignInTokens;

namespace {

constexpr std::chrono::seconds lifetime{60};

} // namespace

TEST(SignInTokens, ATokenSignsInTheUserItWasGivenToUntilItExpires) {
    SignInTokens tokens(lifetime);
    auto const now = SignInTokens::Clock::now();
    QByteArray const token = tokens.issue(1001, QStringLiteral("alice"), now);
    EXPECT_EQ(tokens.verify(QStringLiteral("alice"), token, now), 1001u);
    EXPECT_EQ(tokens.verify(QStringLiteral("alice"), token, now + lifetime - std::chrono::seconds(1)), 1001u);
    EXPECT_EQ(tokens.verify(QStringLiteral("alice"), token, now + lifetime), 0u) << "expired";
}

TEST(SignInTokens, ATokenSignsInNobodyElseAndAMadeUpOneNobodyAtAll) {
    SignInTokens tokens(lifetime);
    QByteArray const token = tokens.issue(1001, QStringLiteral("alice"));
    EXPECT_EQ(tokens.verify(QStringLiteral("bob"), token), 0u);
    EXPECT_EQ(tokens.verify(QStringLiteral("alice"), QByteArray(64, 'a')), 0u);
    EXPECT_EQ(tokens.verify(QStringLiteral("alice"), QByteArray()), 0u);
}

TEST(SignInTokens, EveryTokenIsNewAndLongEnoughNotToBeGuessed) {
    SignInTokens tokens(lifetime);
    QByteArray const first = tokens.issue(1001, QStringLiteral("alice"));
    QByteArray const second = tokens.issue(1001, QStringLiteral("alice"));
    EXPECT_NE(first, second);
    EXPECT_EQ(first.size(), 64) << "32 random bytes in hexadecimal";
    EXPECT_EQ(tokens.verify(QStringLiteral("alice"), first), 1001u) << "an earlier token stays good";
}
