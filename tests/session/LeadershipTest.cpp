#include "session/Leadership.hpp"

#include "session/View.hpp"
#include "tests/support/DeclaredAttributes.hpp"

#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <thread>
#include <vector>

namespace {

using Basalt::Attribute;
using Datamodel::Leadership;
using Datamodel::View;

// Records the order in which the three attributes of a leadership tell of their changes.
void recordChanges(Leadership& leadership, std::vector<std::string>& log) {
    leadership.leaderViewName.addListener([&log] { log.push_back("leader-view-name"); },
                                          Attribute::ROLE_CHANGE);
    leadership.leaderMode.addListener([&log] { log.push_back("leader-mode"); }, Attribute::ROLE_CHANGE);
    leadership.leaderStartTime.addListener([&log] { log.push_back("leader-start-time"); },
                                           Attribute::ROLE_CHANGE);
}

auto const someMode = static_cast<Leadership::LeaderMode>(2);

} // namespace

TEST(Leadership, DeclaresItsAttributesInOrderWithTheirDefaults) {
    Leadership leadership;
    TestSupport::expectDeclaredAttributes(
        leadership, {
                        {"leader-view-name", "string", "", Attribute::LAYER_DEFAULT},
                        {"leader-mode", "int", "0", Attribute::LAYER_DEFAULT},
                        {"leader-start-time", "timestamp", "0", Attribute::LAYER_DEFAULT},
                    });
    EXPECT_EQ(leadership.flags().bits(), 0u);
}

TEST(Leadership, DefaultNameIsLeadership) {
    EXPECT_EQ(Leadership::defaultName(), QByteArray("leadership"));
}

TEST(Leadership, SetLeaderWritesNameModeAndStartTimeOnTheUserLayerInThatOrder) {
    Leadership leadership;
    View view;
    view.initName();
    std::vector<std::string> log;
    recordChanges(leadership, log);
    Cobalt::TimeStamp const before = Cobalt::TimeStamp::currentTime();

    leadership.setLeader(view, someMode);

    EXPECT_EQ(leadership.leaderViewName.value(), QString::fromUtf8(view.name()));
    EXPECT_EQ(leadership.leaderMode.value(), 2) << "a mode this library doesn't know passes through";
    EXPECT_GE(leadership.leaderStartTime.value(), before);
    EXPECT_LE(leadership.leaderStartTime.value(), Cobalt::TimeStamp::currentTime());
    for (Attribute const* attribute : std::initializer_list<Attribute const*>{
             &leadership.leaderViewName, &leadership.leaderMode, &leadership.leaderStartTime}) {
        EXPECT_TRUE(attribute->isValueDefinedOnLayer(Attribute::LAYER_USER)) << attribute->name().constData();
    }
    EXPECT_EQ(log, (std::vector<std::string>{"leader-view-name", "leader-mode", "leader-start-time"}));
}

TEST(Leadership, SetLeaderTakesTheViewNameAsUtf8) {
    Leadership leadership;
    View view;
    view.setName(QStringLiteral("Wand \u00fc").toUtf8());
    leadership.setLeader(view, Leadership::LEADER_MODE_NONE);
    EXPECT_EQ(leadership.leaderViewName.value(), QStringLiteral("Wand \u00fc"));
}

TEST(Leadership, SetLeaderWithAViewWithoutANameWritesANullName) {
    Leadership leadership;
    leadership.leaderViewName = QStringLiteral("earlier");
    View view;
    ASSERT_TRUE(view.name().isNull());
    leadership.setLeader(view, someMode);
    EXPECT_TRUE(leadership.leaderViewName.value().isNull());
    EXPECT_TRUE(leadership.leaderViewName.isValueDefinedOnLayer(Attribute::LAYER_USER));
}

TEST(Leadership, SetLeaderWithTheSameViewAndModeStillMovesTheStartTime) {
    Leadership leadership;
    View view;
    view.initName();
    leadership.setLeader(view, someMode);
    Cobalt::TimeStamp const first = leadership.leaderStartTime.value();
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
    std::vector<std::string> log;
    recordChanges(leadership, log);

    leadership.setLeader(view, someMode);

    EXPECT_GT(leadership.leaderStartTime.value(), first) << "leading anew restarts the clock";
    EXPECT_EQ(log, std::vector<std::string>{"leader-start-time"})
        << "name and mode stayed, so only the time speaks";
}

TEST(Leadership, ReleaseLeadershipWritesEmptyNameModeZeroAndZeroTimeOneAfterTheOther) {
    Leadership leadership;
    View view;
    view.initName();
    leadership.setLeader(view, someMode);
    std::vector<std::string> log;
    recordChanges(leadership, log);

    leadership.releaseLeadership();

    EXPECT_TRUE(leadership.leaderViewName.value().isEmpty());
    EXPECT_EQ(leadership.leaderMode.value(), 0);
    EXPECT_EQ(leadership.leaderStartTime.value(), Cobalt::TimeStamp());
    EXPECT_EQ(log, (std::vector<std::string>{"leader-view-name", "leader-mode", "leader-start-time"}))
        << "three separate writes, each heard on its own";
}

TEST(Leadership, ReleaseLeadershipWithNoLeaderLeavesAllThreeEmptyAndZero) {
    Leadership leadership;
    std::vector<std::string> log;
    recordChanges(leadership, log);

    leadership.releaseLeadership();

    EXPECT_TRUE(leadership.leaderViewName.value().isEmpty());
    EXPECT_EQ(leadership.leaderMode.value(), 0);
    EXPECT_EQ(leadership.leaderStartTime.value(), Cobalt::TimeStamp());
    EXPECT_TRUE(log.empty()) << "nothing shown changed, so nobody is told";
}
