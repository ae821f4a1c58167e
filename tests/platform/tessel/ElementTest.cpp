#include "platform/tessel/Element.hpp"
#include "platform/tessel/DocumentConnection.hpp"
#include "platform/tessel/ElementFactory.hpp"
#include "platform/tessel/Uuid.hpp"
#include "tests/support/Stopwatch.hpp"
#include "tests/support/TestExecutors.hpp"

#include <gtest/gtest.h>

#include <QRegularExpression>

#include <memory>
#include <vector>

namespace {

class Marker : public Tessel::Element {
public:
    using Tessel::Element::Element;
};
class OtherMarker : public Tessel::Element {};

// Counts how often the platform initialised it and with which document.
class Recording : public Tessel::Element {
public:
    void initialize(Tessel::DocumentConnection& connection) override {
        ++initializations;
        seen = &connection;
    }
    int initializations = 0;
    Tessel::DocumentConnection* seen = nullptr;
};

Tessel::Element* addChild(Tessel::Element& parent, Tessel::Element* child) {
    child->initName();
    parent.addAttribute(child);
    return child;
}

} // namespace

TEST(Uuid, GeneratedUuidsAreDistinctTextsWithoutBraces) {
    QByteArray const first = Tessel::generateUuid();
    QByteArray const second = Tessel::generateUuid();
    EXPECT_NE(first, second);
    QRegularExpression const form(
        QStringLiteral("^[0-9a-f]{8}-[0-9a-f]{4}-[0-9a-f]{4}-[0-9a-f]{4}-[0-9a-f]{12}$"));
    EXPECT_TRUE(form.match(QString::fromLatin1(first)).hasMatch()) << first.constData();
}

TEST(Uuid, ShortHexHashIsTheStartOfTheSha256InHex) {
    // SHA-256 of "abc" begins ba7816bf8f01cfea.
    EXPECT_EQ(Tessel::shortHexHash("abc"), QByteArray("ba7816bf8f01cfea"));
    EXPECT_EQ(Tessel::shortHexHash("abc").size(), 16);
    EXPECT_NE(Tessel::shortHexHash("abc"), Tessel::shortHexHash("abd"));
}

TEST(Element, InitNameGivesAFreshGuidThatIsAlsoTheName) {
    Tessel::Element element;
    EXPECT_TRUE(element.guid().isEmpty());
    element.initName();
    QByteArray const first = element.guid();
    EXPECT_FALSE(first.isEmpty());
    EXPECT_EQ(element.name(), first);
    element.initName();
    EXPECT_NE(element.guid(), first) << "a new copy must not keep the old guid";
}

TEST(Element, FlagsAreKeptAsGiven) {
    Tessel::Element connector(Tessel::Element::Flags::fromBits(3));
    EXPECT_TRUE(connector.flags().test(Tessel::Element::FLAG_0));
    EXPECT_TRUE(connector.flags().test(Tessel::Element::FLAG_1));
    EXPECT_FALSE(Tessel::Element().flags().any());
}

TEST(Element, FindByGuidSearchesTheWholeTreeFromAnyElement) {
    Tessel::Element root;
    root.initName();
    Tessel::Element* left = addChild(root, new Tessel::Element());
    Tessel::Element* right = addChild(root, new Tessel::Element());
    Tessel::Element* deep = addChild(*right, new Marker());
    EXPECT_EQ(left->findByGuid(deep->guid()), deep) << "a leaf must reach its cousins";
    EXPECT_EQ(deep->findByGuid(root.guid()), &root);
    EXPECT_EQ(left->findByGuid<Marker>(deep->guid()), deep);
    EXPECT_EQ(left->findByGuid<OtherMarker>(deep->guid()), nullptr)
        << "an element of another class is no match";
    EXPECT_EQ(left->findByGuid("no-such-guid"), nullptr);
    EXPECT_EQ(left->findByGuid(QByteArray()), nullptr) << "the empty guid names nothing";
}

TEST(Element, DestroyingAnElementDestroysItsChildElements) {
    bool childDeleted = false;
    auto* root = new Tessel::Element();
    Tessel::Element* child = addChild(*root, new Tessel::Element());
    child->addListener([&childDeleted] { childDeleted = true; }, Basalt::Attribute::ROLE_DELETE);
    delete root;
    EXPECT_TRUE(childDeleted);
}

// Taking a large tree apart is linear work: quadratic work on these sizes would take minutes.
TEST(Element, DestroyingAHundredThousandChildElementsAndDeletingTenThousandOneByOneAreFast) {
    constexpr int count = 100000;
    auto root = std::make_unique<Tessel::Element>();
    std::vector<Tessel::Element*> children;
    for (int i = 0; i < count; ++i) {
        children.push_back(addChild(*root, new Tessel::Element()));
    }
    int deleted = 0;
    children.back()->addListener([&deleted] { ++deleted; }, Basalt::Attribute::ROLE_DELETE);
    double const oneByOne = TestSupport::secondsTaken([&] {
        for (int i = 0; i < count; i += 10) {
            delete children[static_cast<std::size_t>(i)];
        }
    });
    EXPECT_LT(oneByOne, 5.0) << "deleting 10 000 child elements one by one must be linear work";
    ASSERT_EQ(root->attributes().size(), static_cast<std::size_t>(count - count / 10));
    EXPECT_EQ(root->attributes().front().second, children[1]) << "the rest keeps its order";
    double const whole = TestSupport::secondsTaken([&] { root.reset(); });
    EXPECT_LT(whole, 5.0) << "destroying an element with 90 000 children must be linear work";
    EXPECT_EQ(deleted, 1) << "the last child heard its deletion once";
}

TEST(DocumentConnection, ElementsFindTheirDocumentThroughTheirRoot) {
    TestSupport::ManualExecutor executor;
    auto root = std::make_unique<Tessel::Element>();
    Tessel::Element* child = addChild(*root, new Tessel::Element());
    Tessel::Element loose;
    EXPECT_EQ(child->documentConnection(), nullptr) << "an element in no document has no connection";

    auto document = Tessel::DocumentConnection::create(std::move(root), nullptr, &executor, nullptr);
    EXPECT_EQ(child->documentConnection(), document);
    EXPECT_EQ(document->documentRoot()->documentConnection(), document);
    EXPECT_EQ(loose.documentConnection(), nullptr);
    EXPECT_EQ(document->connection(), nullptr);
}

TEST(DocumentConnection, FindByGuidReachesTheTransientTreeToo) {
    TestSupport::ManualExecutor executor;
    auto root = std::make_unique<Tessel::Element>();
    auto transient = std::make_unique<Tessel::Element>();
    Tessel::Element* slide = addChild(*root, new Tessel::Element());
    Tessel::Element* connection = addChild(*transient, new Tessel::Element());
    auto document =
        Tessel::DocumentConnection::create(std::move(root), std::move(transient), &executor, nullptr);
    EXPECT_EQ(slide->findByGuid(connection->guid()), connection);
    EXPECT_EQ(connection->findByGuid(slide->guid()), slide);
}

TEST(DocumentConnection, InitializeReachesEveryElementOnceWithItsDocument) {
    TestSupport::ManualExecutor executor;
    auto root = std::make_unique<Recording>();
    Recording* rootElement = root.get();
    auto* child = static_cast<Recording*>(addChild(*root, new Recording()));
    auto transient = std::make_unique<Recording>();
    Recording* transientRoot = transient.get();
    auto document =
        Tessel::DocumentConnection::create(std::move(root), std::move(transient), &executor, nullptr);
    document->initializeElements();
    for (Recording* element : {rootElement, child, transientRoot}) {
        EXPECT_EQ(element->initializations, 1);
        EXPECT_EQ(element->seen, document.get());
    }
}

TEST(DocumentConnection, MainThreadExecutorRunsTheDocumentsWork) {
    TestSupport::ManualExecutor executor;
    auto document = Tessel::DocumentConnection::create(nullptr, nullptr, &executor, nullptr);
    bool ran = false;
    document->mainThreadExecutor()->add([&ran] { ran = true; });
    EXPECT_FALSE(ran) << "work waits for the document's thread";
    executor.drain();
    EXPECT_TRUE(ran);
}

TEST(ClientToServerConnection, KeepsWhatTheServerAnnounced) {
    TestSupport::ManualExecutor idle;
    Tessel::ClientToServerConnection::Announcement announcement;
    announcement.serverVersion = Cobalt::VersionString(QStringLiteral("3.2.0"));
    announcement.userId = 7;
    announcement.connectionId = 3;
    announcement.serverTimeOffset = 60 * Cobalt::TimeStamp::ticksPerSecond();
    Tessel::ClientToServerConnection connection(announcement, &idle);
    EXPECT_EQ(connection.serverVersion(), Cobalt::VersionString(QStringLiteral("3.2")));
    EXPECT_EQ(connection.userId(), 7u);
    EXPECT_EQ(connection.connectionId(), 3u);
    std::int64_t const ahead =
        connection.currentServerTime().ticks() - Cobalt::TimeStamp::currentTime().ticks();
    EXPECT_GT(ahead, 59 * Cobalt::TimeStamp::ticksPerSecond()) << "server time carries the announced offset";
    EXPECT_LE(ahead, 60 * Cobalt::TimeStamp::ticksPerSecond());
    EXPECT_EQ(connection.idleExecutor().get(), &idle);
}
