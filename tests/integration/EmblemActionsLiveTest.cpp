// Emblem actions change on a live document: one transaction deletes the old assignments and adds the new one.

#include "tests/support/LiveSites.hpp"

#include "client/EmblemActions.hpp"
#include "platform/tessel/ServerNode.hpp"
#include "tests/support/ExceptionMessage.hpp"

#include <gtest/gtest.h>

using Datamodel::EmblemAction;
using Datamodel::EmblemActionMap;
using TestSupport::LiveSites;

namespace {

class LiveEmblemActions : public ::testing::Test {
protected:
    LiveEmblemActions()
        : a(sites.join("a", "emblems", EmblemActionMap::documentType())),
          b(sites.join("b", "emblems", EmblemActionMap::documentType())) {}

    static EmblemActionMap& mapOf(LiveSites::Site& site) {
        return *static_cast<EmblemActionMap*>(site.document->documentRoot());
    }
    void set(QString const& scheme, QByteArray const& target, unsigned long code) {
        auto done = mapOf(a).setEmblemAction(scheme, target, code);
        sites.deliver();
        ASSERT_TRUE(done.isReady() && done.hasValue()) << "the server applied the change";
    }
    static std::size_t actionCount(LiveSites::Site& site) {
        std::size_t count = 0;
        for (auto const& entry : mapOf(site).attributes()) {
            count += dynamic_cast<EmblemAction*>(entry.second) ? 1 : 0;
        }
        return count;
    }

    LiveSites sites;
    LiveSites::Site& a;
    LiveSites::Site& b;
};

} // namespace

TEST_F(LiveEmblemActions, AnActionReachesTheOtherSite) {
    set(QStringLiteral("canvas"), "c-1", 7);
    EmblemAction* atB = mapOf(b).findEmblemActionByCode(7);
    ASSERT_NE(atB, nullptr);
    EXPECT_EQ(atB->scheme.value(), QStringLiteral("canvas"));
    EXPECT_EQ(atB->target.value(), QStringLiteral("c-1"));
}

TEST_F(LiveEmblemActions, SettingTheSameAssignmentAgainDeletesTheOneActionOnceAndAddsANewOne) {
    set(QStringLiteral("canvas"), "c-1", 7);
    QByteArray const first = mapOf(a).findEmblemActionByCode(7)->guid();
    set(QStringLiteral("canvas"), "c-1", 7);

    EXPECT_EQ(actionCount(a), 1u);
    EXPECT_EQ(actionCount(b), 1u);
    EXPECT_NE(mapOf(b).findEmblemActionByCode(7)->guid(), first) << "a new action replaced the old one";
    EXPECT_EQ(sites.serverDocument("emblems")->rootNode()->childNodes().size(), 1u);
}

TEST_F(LiveEmblemActions, TheCodeOfOneActionAndTheTargetOfAnotherLeaveOneNewAction) {
    set(QStringLiteral("canvas"), "c-1", 7);
    set(QStringLiteral("canvas"), "c-2", 8);
    set(QStringLiteral("canvas"), "c-2", 7);

    EXPECT_EQ(actionCount(a), 1u);
    EXPECT_EQ(actionCount(b), 1u);
    EmblemAction* atB = mapOf(b).findEmblemActionByCode(7);
    ASSERT_NE(atB, nullptr);
    EXPECT_EQ(atB->target.value(), QStringLiteral("c-2"));
    EXPECT_EQ(mapOf(b).findEmblemActionByCode(8), nullptr);
}

TEST_F(LiveEmblemActions, AMapInNoDocumentFailsWithConnectionLost) {
    EmblemActionMap detached;
    auto result = detached.setEmblemAction(QStringLiteral("canvas"), "c-1", 7);
    ASSERT_TRUE(result.isReady());
    EXPECT_EQ(TestSupport::messageOf<std::runtime_error>([&] { std::move(result).get(); }),
              "Connection lost");
}

TEST_F(LiveEmblemActions, AChangeWhoseLinkWentFailsWithConnectionLost) {
    a.connection->disconnect();
    auto result = mapOf(a).setEmblemAction(QStringLiteral("canvas"), "c-1", 7);
    sites.deliver();
    ASSERT_TRUE(result.isReady());
    EXPECT_EQ(TestSupport::messageOf<std::runtime_error>([&] { std::move(result).get(); }),
              "Connection lost");
}

TEST_F(LiveEmblemActions, AChangeInFlightWhenTheLinkGoesFailsWithConnectionLost) {
    auto result = mapOf(a).setEmblemAction(QStringLiteral("canvas"), "c-1", 7);
    a.connection->disconnect();
    ASSERT_TRUE(result.isReady());
    EXPECT_EQ(TestSupport::messageOf<std::runtime_error>([&] { std::move(result).get(); }),
              "Connection lost");
    sites.deliver();
}
