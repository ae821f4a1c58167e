// The server's side of a live document: its operators, who hears which change, and values set on nodes.

#include "tests/support/ExceptionMessage.hpp"
#include "tests/support/LiveSites.hpp"

#include "canvas/Note.hpp"
#include "platform/tessel/NodeTransaction.hpp"
#include "platform/tessel/QtExecutor.hpp"
#include "platform/tessel/ServerAttribute.hpp"
#include "platform/tessel/ServerNode.hpp"
#include "platform/tessel/ServerOperators.hpp"

#include <QCoreApplication>
#include <QTimer>

#include <gtest/gtest.h>

using TestSupport::LiveSites;

namespace {

/// Writes down every call it gets, and can make a change of its own when a node is added.
class RecordingOperator : public Tessel::ServerDocumentOperator,
                          public Tessel::ServerNodeOperator,
                          public Tessel::ServerAttributeOperator,
                          public std::enable_shared_from_this<RecordingOperator> {
public:
    std::vector<std::string> calls;
    std::weak_ptr<Tessel::ServerDocument> document;
    std::function<void(std::shared_ptr<Tessel::ServerNode> const&)> onChildAdded;

    void addedToDocument(std::shared_ptr<Tessel::ServerDocument> added) override {
        document = added;
        calls.push_back("addedToDocument");
    }
    void connectionAdded(Tessel::ServerDocumentConnection*) override { calls.push_back("connectionAdded"); }
    void connectionRemoved(Tessel::ServerDocumentConnection*) override {
        calls.push_back("connectionRemoved");
    }
    void rootNodeUpdated() override {
        calls.push_back("rootNodeUpdated");
        document.lock()->rootNode()->addOperator(shared_from_this());
    }
    void childNodeAdded(std::shared_ptr<Tessel::ServerNode> const& parent,
                        std::shared_ptr<Tessel::ServerNode> const& child) override {
        calls.push_back("childNodeAdded " + parent->typeKey().toStdString() + " " +
                        child->typeKey().toStdString());
        if (onChildAdded) {
            onChildAdded(child);
        }
    }
    void nodeDeleted(std::shared_ptr<Tessel::ServerNode> const& node) override {
        calls.push_back("nodeDeleted " + node->typeKey().toStdString());
    }
    void childAttributeAdded(std::shared_ptr<Tessel::ServerAttribute> attribute) override {
        calls.push_back("childAttributeAdded " + attribute->name().toStdString());
    }
    void childNodeAdded(std::shared_ptr<Tessel::ServerNode> node) override {
        calls.push_back("node.childNodeAdded " + node->typeKey().toStdString());
    }
    void childNodeRemoved(std::shared_ptr<Tessel::ServerNode> node) override {
        calls.push_back("node.childNodeRemoved " + node->typeKey().toStdString());
    }
};

class ServerWithOperator : public ::testing::Test {
protected:
    ServerWithOperator() : sites(QStringLiteral("26.07.5"), &withRecorder()) {}

    Tessel::ServerDocumentTypeOperators& withRecorder() {
        operators.add(Datamodel::SharedCanvas::documentType(),
                      [this](Tessel::ServerDocument&) { return recorder; });
        return operators;
    }

    std::shared_ptr<RecordingOperator> recorder = std::make_shared<RecordingOperator>();
    Tessel::ServerDocumentTypeOperators operators;
    LiveSites sites;
};

Datamodel::Note& addNote(LiveSites& sites, LiveSites::Site& site) {
    auto* note = new Datamodel::Note();
    Tessel::NodeTransaction transaction(*site.document);
    transaction.addNode(*note, site.canvas());
    transaction.commit();
    sites.deliver();
    return *note;
}

} // namespace

TEST_F(ServerWithOperator, OperatorsHearTheDocumentOpenClientsComeNodesComeAndGo) {
    auto& a = sites.join("a");
    auto& note = addNote(sites, a);
    Tessel::NodeTransaction transaction(*a.document);
    transaction.deleteNode(note);
    transaction.commit();
    sites.deliver();
    a.connection->disconnect();
    sites.deliver();

    std::vector<std::string> const expected{
        "addedToDocument",
        "rootNodeUpdated",
        "childNodeAdded node tavola_connection", // a's connection, made by the server
        "connectionAdded",
        "childNodeAdded tavola_shared_canvas tavola_note",
        "node.childNodeAdded tavola_note",
        "node.childNodeRemoved tavola_note",
        "nodeDeleted tavola_note",
        "connectionRemoved",
        "nodeDeleted tavola_connection",
    };
    EXPECT_EQ(recorder->calls, expected);
}

TEST_F(ServerWithOperator, AnOperatorsOwnChangeReachesTheActingClientToo) {
    recorder->onChildAdded = [this](std::shared_ptr<Tessel::ServerNode> const& child) {
        if (child->typeKey() != "tavola_note") {
            return;
        }
        auto document = recorder->document.lock();
        Tessel::ServerDocumentConnection* const acting = document->actingConnection();
        document->setActingConnection(nullptr);
        child->setAttributeValue<bool>("pinned", true);
        document->setActingConnection(acting);
    };
    auto& a = sites.join("a");
    auto& b = sites.join("b");
    auto& note = addNote(sites, a);

    EXPECT_TRUE(note.pinned.value()) << "the acting client got the operator's change";
    auto* atB = dynamic_cast<Datamodel::Note*>(b.document->findSharedElement(note.guid()));
    ASSERT_NE(atB, nullptr);
    EXPECT_TRUE(atB->pinned.value());
}

TEST_F(ServerWithOperator, AChangeMadeForTheActingClientDoesNotGoBackToIt) {
    recorder->onChildAdded = [](std::shared_ptr<Tessel::ServerNode> const& child) {
        if (child->typeKey() == "tavola_note") {
            child->setAttributeValue<QString>("title", QStringLiteral("from the server"));
        }
    };
    auto& a = sites.join("a");
    auto& b = sites.join("b");
    auto& note = addNote(sites, a);

    EXPECT_EQ(note.title.value(), QString()) << "a change on a's behalf isn't sent to a";
    auto* atB = dynamic_cast<Datamodel::Note*>(b.document->findSharedElement(note.guid()));
    ASSERT_NE(atB, nullptr);
    EXPECT_EQ(atB->title.value(), QStringLiteral("from the server"));
}

TEST_F(ServerWithOperator, WorkPostedToTheServersExecutorRunsAfterTheCurrentChange) {
    std::vector<std::string> order;
    recorder->onChildAdded = [&](std::shared_ptr<Tessel::ServerNode> const& child) {
        if (child->typeKey() == "tavola_note") {
            sites.server()->executor()->add([&] { order.push_back("posted"); });
            order.push_back("change");
        }
    };
    auto& a = sites.join("a");
    addNote(sites, a);
    EXPECT_EQ(order, (std::vector<std::string>{"change", "posted"}));
}

TEST_F(ServerWithOperator, SetAttributeValueOnAVectorThrowsThatItIsNotSimple) {
    sites.join("a");
    auto root = sites.serverDocument()->rootNode();
    root->addChildAttribute(std::make_shared<Tessel::ServerAttributeVectorContainer>(
                                sites.serverDocument().get(), "anchor-ids", 0x100000bu),
                            false);
    EXPECT_EQ(
        TestSupport::messageOf<std::runtime_error>([&] { root->setAttributeValue<int>("anchor-ids", 1); }),
        "'anchor-ids' is not a simple attribute");
}

TEST_F(ServerWithOperator, SetAttributeValueCreatesTheAttributeAndTellsTheNodesOperators) {
    sites.join("a");
    auto root = sites.serverDocument()->rootNode();
    recorder->calls.clear();
    auto const attribute = root->setAttributeValue<int>("reset-color-presets-request", 1);
    ASSERT_NE(attribute, nullptr);
    ASSERT_NE(attribute->simpleAttribute(), nullptr);
    EXPECT_EQ(attribute->simpleAttribute()->asVariant(), QVariant(1));
    EXPECT_EQ(recorder->calls, (std::vector<std::string>{"childAttributeAdded reset-color-presets-request"}));
    EXPECT_EQ(root->setAttributeValue<int>("reset-color-presets-request", 2), attribute)
        << "set again, not made again";
    EXPECT_EQ(attribute->simpleAttribute()->asVariant(), QVariant(2));
}

TEST_F(ServerWithOperator, AnOperatorThatThrowsIsLoggedAndTheServerGoesOn) {
    recorder->onChildAdded = [](std::shared_ptr<Tessel::ServerNode> const& child) {
        if (child->typeKey() == "tavola_note") {
            throw std::runtime_error("broken operator");
        }
    };
    auto& a = sites.join("a");
    auto& b = sites.join("b");
    auto& note = addNote(sites, a);
    EXPECT_NE(b.document->findSharedElement(note.guid()), nullptr) << "the note was added all the same";
}

TEST(ServerOnQtEventLoop, AQTimerOfAnOperatorFiresOnTheDocumentsThread) {
    int argc = 0;
    QCoreApplication application(argc, nullptr);
    Tessel::QtExecutor serverExecutor;
    Tessel::QtExecutor clientExecutor;
    auto registry = TestSupport::modelTypeRegistry();
    auto recorder = std::make_shared<RecordingOperator>();
    recorder->onChildAdded = [&](std::shared_ptr<Tessel::ServerNode> const& child) {
        if (child->typeKey() == "tavola_note") {
            QTimer::singleShot(20, [child] { child->setAttributeValue<bool>("pinned", true); });
        }
    };
    Tessel::ServerDocumentTypeOperators operators;
    operators.add(Datamodel::SharedCanvas::documentType(), [&](Tessel::ServerDocument&) { return recorder; });
    Tessel::TesselServer::Options options;
    options.executor = folly::getKeepAliveToken(&serverExecutor);
    options.typeRegistry = registry;
    options.operators = &operators;
    auto server = Tessel::TesselServer::create(options);
    Datamodel::registerServerDocumentTypes(*server);

    std::shared_ptr<Tessel::ClientToServerConnection> connection;
    std::shared_ptr<Tessel::DocumentConnection> document;
    Datamodel::Note* note = nullptr;
    Tessel::ClientToServerConnection::connect(
        server->connectInProcess(folly::getKeepAliveToken(&clientExecutor)),
        {QStringLiteral("qt"), QString(), 0}, folly::getKeepAliveToken(&clientExecutor), registry)
        .thenValue([&](std::shared_ptr<Tessel::ClientToServerConnection> connected) {
            connection = connected;
            return connection->openDocument("canvas", Datamodel::SharedCanvas::documentType(),
                                            Datamodel::SharedCanvas::elementFactory());
        })
        .thenValue([&](std::shared_ptr<Tessel::DocumentConnection> opened) {
            document = opened;
            note = new Datamodel::Note();
            Tessel::NodeTransaction transaction(*document);
            transaction.addNode(*note, *document->documentRoot());
            transaction.commit();
            note->pinned.addListener([&] { application.quit(); }, Basalt::Attribute::ROLE_CHANGE);
        });
    QTimer::singleShot(5000, &application, [&] { application.exit(1); });
    EXPECT_EQ(application.exec(), 0) << "the timer pinned the note within five seconds";
    ASSERT_NE(note, nullptr);
    EXPECT_TRUE(note->pinned.value());
}
