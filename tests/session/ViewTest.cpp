#include "session/View.hpp"

#include "session/Connection.hpp"
#include "session/TransientRoot.hpp"
#include "tests/support/DeclaredAttributes.hpp"

#include <gtest/gtest.h>

#include <functional>
#include <memory>

namespace {

using Basalt::Attribute;
using Datamodel::Connection;
using Datamodel::TransientRoot;
using Datamodel::View;

// A root with one connection holding one view, and a count of the root's viewChanged for that view.
struct Session {
    Session() {
        root.addAttribute("c", connection);
        connection->addAttribute("v", view);
        root.viewChanged.addListener([this](View* changed) {
            EXPECT_EQ(changed, view) << "the event carries the view that changed";
            ++viewChanged;
        });
    }
    TransientRoot root;
    Connection* connection = new Connection();
    View* view = new View();
    int viewChanged = 0;
};

} // namespace

TEST(View, DeclaresItsAttributesInOrderWithTheirDefaults) {
    View view;
    TestSupport::expectDeclaredAttributes(
        view, {
                  {"location", "location2:float", "0 0", Attribute::LAYER_DEFAULT},
                  {"location-x", "float", "0", Attribute::LAYER_DEFAULT},
                  {"location-y", "float", "0", Attribute::LAYER_DEFAULT},
                  {"depth", "float", "0", Attribute::LAYER_DEFAULT},
                  {"size", "size2:float", "100 100", Attribute::LAYER_DEFAULT},
                  {"width", "float", "100", Attribute::LAYER_DEFAULT},
                  {"height", "float", "100", Attribute::LAYER_DEFAULT},
                  {"scale", "float", "1", Attribute::LAYER_DEFAULT},
                  {"pinned", "bool", "false", Attribute::LAYER_DEFAULT},
                  {"followed-view-name", "string", "", Attribute::LAYER_DEFAULT},
                  {"workspace-name", "string", "", Attribute::LAYER_DEFAULT},
                  {"presenting", "string", "", Attribute::LAYER_DEFAULT},
              });
    EXPECT_EQ(view.flags().bits(), 1u);
}

TEST(View, SettingTheScaleUnderAConnectionUnderARootRaisesViewChangedOnce) {
    Session session;
    session.viewChanged = 0;
    session.view->scale = 2.0f;
    EXPECT_EQ(session.viewChanged, 1);
}

TEST(View, EachWatchedAttributeRaisesViewChangedAndTheFollowedViewNameDoesNot) {
    struct Row {
        char const* key;
        std::function<void(View&)> change;
        int expected;
    };
    Row const rows[] = {
        {"workspace-name", [](View& v) { v.workspaceName = QStringLiteral("left"); }, 1},
        {"presenting", [](View& v) { v.presenting = QStringLiteral("slides"); }, 1},
        {"location", [](View& v) { v.location = Fathom::Vector2T<float>(3.0f, 4.0f); }, 1},
        {"location-x alone", [](View& v) { v.location.component(0) = 5.0f; }, 1},
        {"size", [](View& v) { v.size = Fathom::SizeT<float>(640.0f, 480.0f); }, 1},
        {"scale", [](View& v) { v.scale = 0.5f; }, 1},
        {"followed-view-name", [](View& v) { v.followedViewName = QStringLiteral("other"); }, 0},
        {"depth", [](View& v) { v.depth = 3.0f; }, 0},
        {"pinned", [](View& v) { v.pinned = true; }, 0},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.key);
        Session session;
        session.viewChanged = 0;
        row.change(*session.view);
        EXPECT_EQ(session.viewChanged, row.expected);
    }
}

TEST(View, WritingTheValueItAlreadyShowsRaisesNothing) {
    Session session;
    session.viewChanged = 0;
    session.view->scale = 1.0f;
    EXPECT_EQ(session.viewChanged, 0);
}

TEST(View, ConnectionIsTheHostingConnection) {
    Session session;
    EXPECT_EQ(session.view->connection(), session.connection);
    Tessel::Element plainHost;
    auto* elsewhere = new View();
    plainHost.addAttribute("v", elsewhere);
    EXPECT_EQ(elsewhere->connection(), nullptr) << "a host that is no connection reads as none";
}

TEST(View, AViewWithoutAHostHasANullConnectionAndItsChangesRaiseNothing) {
    Session session;
    ASSERT_TRUE(session.connection->removeAttribute(session.view));
    std::unique_ptr<View> const view(session.view);
    session.viewChanged = 0;

    EXPECT_EQ(view->connection(), nullptr);
    view->scale = 2.0f;
    view->workspaceName = QStringLiteral("left");
    view->location = Fathom::Vector2T<float>(1.0f, 1.0f);
    EXPECT_EQ(session.viewChanged, 0);
}
