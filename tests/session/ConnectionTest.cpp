#include "session/Connection.hpp"

#include "session/TransientRoot.hpp"
#include "session/View.hpp"
#include "tests/support/DeclaredAttributes.hpp"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <vector>

namespace {

using Basalt::Attribute;
using Datamodel::Connection;
using Datamodel::TransientRoot;
using Datamodel::View;

struct Counts {
    int viewChanged = 0;
    int viewRemoved = 0;
    std::vector<Connection*> connectionChanged;
};

void listen(TransientRoot& root, Counts& counts) {
    root.viewChanged.addListener([&counts](View*) { ++counts.viewChanged; });
    root.viewRemoved.addListener([&counts](View*) { ++counts.viewRemoved; });
    root.connectionChanged.addListener([&counts](Connection* c) { counts.connectionChanged.push_back(c); });
}

} // namespace

TEST(Connection, DeclaresItsAttributesInOrderWithTheirDefaults) {
    Connection connection;
    TestSupport::expectDeclaredAttributes(connection,
                                          {
                                              {"user-name", "string", "", Attribute::LAYER_DEFAULT},
                                              {"installation-name", "string", "", Attribute::LAYER_DEFAULT},
                                              {"user-id", "int", "0", Attribute::LAYER_DEFAULT},
                                          });
    EXPECT_EQ(connection.flags().bits(), 1u);
}

TEST(Connection, AViewAddedToAConnectionThatIsNotUnderARootRaisesNothing) {
    // The root is a grandparent here, not the host: only a connection directly under a root speaks.
    TransientRoot root;
    Counts counts;
    listen(root, counts);
    auto* middle = new Tessel::Element();
    root.addAttribute("middle", middle);
    auto* connection = new Connection();
    middle->addAttribute("c", connection);

    auto* view = new View();
    connection->addAttribute("v", view);
    connection->userName = QStringLiteral("Ada");
    ASSERT_TRUE(connection->removeAttribute(view));
    delete view;

    EXPECT_EQ(counts.viewChanged, 0);
    EXPECT_EQ(counts.viewRemoved, 0);
    EXPECT_TRUE(counts.connectionChanged.empty());
}

TEST(Connection, AViewAddedUnderARootRaisesViewChangedAndItsRemovalViewRemoved) {
    TransientRoot root;
    auto* connection = new Connection();
    root.addAttribute("c", connection);
    std::vector<View*> changed;
    std::vector<View*> removed;
    root.viewChanged.addListener([&changed](View* view) { changed.push_back(view); });
    root.viewRemoved.addListener([&removed](View* view) { removed.push_back(view); });

    auto* view = new View();
    connection->addAttribute("v", view);
    EXPECT_EQ(changed, std::vector<View*>{view}) << "an added view is announced as changed";
    EXPECT_TRUE(removed.empty());

    ASSERT_TRUE(connection->removeAttribute(view));
    std::unique_ptr<View> const gone(view);
    EXPECT_EQ(removed, std::vector<View*>{view});
    EXPECT_EQ(changed.size(), 1u);
}

TEST(Connection, ChildrenThatAreNoViewsRaiseNothing) {
    TransientRoot root;
    auto* connection = new Connection();
    root.addAttribute("c", connection);
    Counts counts;
    listen(root, counts);
    auto* plain = new Tessel::Element();
    connection->addAttribute("plain", plain);
    ASSERT_TRUE(connection->removeAttribute(plain));
    delete plain;
    EXPECT_EQ(counts.viewChanged, 0);
    EXPECT_EQ(counts.viewRemoved, 0);
}

TEST(Connection, EachOfItsAttributesRaisesConnectionChangedUnderARoot) {
    struct Row {
        char const* key;
        std::function<void(Connection&)> change;
    };
    Row const rows[] = {
        {"user-name", [](Connection& c) { c.userName = QStringLiteral("Ada"); }},
        {"installation-name", [](Connection& c) { c.installationName = QStringLiteral("Wall 3"); }},
        {"user-id", [](Connection& c) { c.userId = 42; }},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.key);
        TransientRoot root;
        auto* connection = new Connection();
        root.addAttribute("c", connection);
        Counts counts;
        listen(root, counts);
        row.change(*connection);
        EXPECT_EQ(counts.connectionChanged, std::vector<Connection*>{connection});
    }
}

TEST(Connection, ChangingUserIdAloneRaisesConnectionChanged) {
    TransientRoot root;
    auto* connection = new Connection();
    root.addAttribute("c", connection);
    connection->userName = QStringLiteral("Ada");
    Counts counts;
    listen(root, counts);
    connection->userId = 7;
    EXPECT_EQ(counts.connectionChanged, std::vector<Connection*>{connection})
        << "no name changed, yet it is told";
}

TEST(Connection, ChangesOfAConnectionWithoutAHostRaiseNothingAndDoNotFail) {
    Connection connection;
    connection.userName = QStringLiteral("Ada");
    connection.userId = 3;
    EXPECT_EQ(connection.userId.value(), 3);
}

TEST(Connection, ViewsAreItsViewChildrenInAttributeOrder) {
    Connection connection;
    auto* first = new View();
    connection.addAttribute("v1", first);
    connection.addAttribute("plain", new Tessel::Element());
    auto* second = new View();
    connection.addAttribute("v2", second);
    EXPECT_EQ(connection.views(), (std::vector<View*>{first, second}));
}

TEST(Connection, ShortAndLongNamesFallBackFromUserToInstallationToNA) {
    struct Row {
        char const* userName;
        char const* installationName;
        char const* shortName;
        char const* longName;
    };
    Row const rows[] = {
        {"Ada", "Wall 3", "Ada", "Ada, Wall 3"},
        {"Ada", "", "Ada", "Ada"},
        {"", "Wall 3", "Wall 3", "Wall 3"},
        {"", "", "<NA>", "<NA>"},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(testing::Message() << '"' << row.userName << "\" / \"" << row.installationName << '"');
        Connection connection;
        connection.userName = QString::fromUtf8(row.userName);
        connection.installationName = QString::fromUtf8(row.installationName);
        EXPECT_EQ(connection.shortName(), QString::fromUtf8(row.shortName));
        EXPECT_EQ(connection.longName(), QString::fromUtf8(row.longName));
    }
}

TEST(Connection, LongNameWithAnEmptyUserNameGivesTheBareInstallationName) {
    Connection connection;
    connection.installationName = QStringLiteral("Wall 3");
    EXPECT_EQ(connection.longName(), QStringLiteral("Wall 3")) << "no leading comma, no placeholder";
}
