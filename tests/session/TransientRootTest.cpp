#include "session/TransientRoot.hpp"

#include "session/Connection.hpp"
#include "session/View.hpp"
#include "tests/support/DeclaredAttributes.hpp"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

namespace {

using Datamodel::Connection;
using Datamodel::TransientRoot;
using Datamodel::View;

// Writes down every event of a root, in order, as "event:name-of-what-it-carries".
class RootEvents {
public:
    explicit RootEvents(TransientRoot& root) {
        root.viewChanged.addListener([this](View* view) { record("viewChanged", view); });
        root.viewRemoved.addListener([this](View* view) { record("viewRemoved", view); });
        root.connectionChanged.addListener([this](Connection* c) { record("connectionChanged", c); });
        root.connectionRemoved.addListener([this](Connection* c) { record("connectionRemoved", c); });
    }
    std::vector<std::string> const& log() const { return m_log; }
    void clear() { m_log.clear(); }

private:
    void record(char const* event, Basalt::Attribute* carried) {
        m_log.push_back(std::string(event) + ":" + carried->name().toStdString());
    }
    std::vector<std::string> m_log;
};

template <typename E>
E* addNamedChild(Basalt::Node& parent, QByteArray const& name) {
    auto* child = new E();
    parent.addAttribute(name, child);
    return child;
}

} // namespace

TEST(TransientRoot, DeclaresNoAttributesAndPassesNoFlags) {
    TransientRoot root;
    TestSupport::expectDeclaredAttributes(root, {});
    EXPECT_EQ(root.flags().bits(), 0u);
}

TEST(TransientRoot, ViewsListsTheViewsOfEveryConnectionInAttributeOrder) {
    TransientRoot root;
    auto* first = addNamedChild<Connection>(root, "c1");
    addNamedChild<View>(*first, "v1");
    addNamedChild<Tessel::Element>(*first, "not-a-view");
    addNamedChild<View>(*first, "v2");
    addNamedChild<Tessel::Element>(root, "not-a-connection");
    auto* second = addNamedChild<Connection>(root, "c2");
    addNamedChild<View>(*second, "v3");

    std::vector<QByteArray> names;
    for (View* view : root.views()) {
        names.push_back(view->name());
    }
    EXPECT_EQ(names, (std::vector<QByteArray>{"v1", "v2", "v3"}));
}

TEST(TransientRoot, RemovingAConnectionWithTwoViewsRaisesBothViewRemovedThenConnectionRemoved) {
    TransientRoot root;
    auto* connection = addNamedChild<Connection>(root, "c");
    addNamedChild<View>(*connection, "v1");
    addNamedChild<View>(*connection, "v2");
    RootEvents events(root);

    ASSERT_TRUE(root.removeAttribute(connection));
    std::unique_ptr<Connection> const removed(connection);

    EXPECT_EQ(events.log(),
              (std::vector<std::string>{"viewRemoved:v1", "viewRemoved:v2", "connectionRemoved:c"}))
        << "views must leave before their connection";
}

TEST(TransientRoot, RemovingAChildThatIsNoConnectionRaisesNothing) {
    TransientRoot root;
    auto* plain = addNamedChild<Tessel::Element>(root, "plain");
    RootEvents events(root);
    ASSERT_TRUE(root.removeAttribute(plain));
    std::unique_ptr<Tessel::Element> const removed(plain);
    EXPECT_TRUE(events.log().empty());
}

TEST(TransientRoot, AddingAConnectionRaisesNothingUntilItsAttributesArrive) {
    TransientRoot root;
    RootEvents events(root);
    auto* connection = addNamedChild<Connection>(root, "c");
    EXPECT_TRUE(events.log().empty()) << "a new connection tells of itself through its first change";
    connection->userName = QStringLiteral("Ada");
    EXPECT_EQ(events.log(), (std::vector<std::string>{"connectionChanged:c"}));
}
