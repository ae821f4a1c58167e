// A server asks its access policy before a client opens a document and before each change it makes: a
// refused change is taken back at its client alone, and a client that may no longer see a document is closed
// out of it while the others go on.

#include "tests/support/ExceptionMessage.hpp"
#include "tests/support/LiveSites.hpp"

#include "canvas/Note.hpp"
#include "index/ServerIndex.hpp"
#include "index/ServerIndexFolder.hpp"
#include "platform/tessel/AccessPolicy.hpp"
#include "platform/tessel/ServerDocument.hpp"
#include "platform/tessel/ServerNode.hpp"
#include "platform/tessel/ServerToClientConnection.hpp"
#include "platform/tessel/UserAccounts.hpp"

#include <gtest/gtest.h>

#include <set>

using Datamodel::Note;
using TestSupport::LiveSites;

namespace {

constexpr unsigned writer = 1;
constexpr unsigned reader = 2;

/// Lets users open what they like, except those in `closed`, and change what they like, except those in
/// `readOnly`.
class ScriptedPolicy : public Tessel::AccessPolicy {
public:
    bool mayOpen(Tessel::ServerToClientConnection const& client, Tessel::ServerDocument const&,
                 QString& error) const override {
        ++opensAsked;
        error = QStringLiteral("user %1 may not see this").arg(client.userId());
        return !closed.count(client.userId());
    }
    bool mayChange(Tessel::ServerDocumentConnection const& connection,
                   std::vector<Tessel::Wire::Operation> const&, QString& error) const override {
        error = QStringLiteral("user %1 may only look").arg(connection.connection().userId());
        return !readOnly.count(connection.connection().userId());
    }

    std::set<unsigned> closed;
    std::set<unsigned> readOnly{reader};
    mutable int opensAsked = 0;
};

class AccessPolicyLiveTest : public ::testing::Test {
protected:
    AccessPolicyLiveTest()
        : policy(std::make_shared<ScriptedPolicy>()),
          sites(QStringLiteral("26.07.5"), nullptr, QString(),
                [this](Tessel::TesselServer::Options& options) { options.accessPolicy = policy; }) {}

    LiveSites::Site& join(QString const& name, unsigned userId, QByteArray const& id = "canvas",
                          QByteArray const& type = Datamodel::SharedCanvas::documentType()) {
        return sites.join(name, id, type, userId);
    }

    /// Commits `transaction` and returns the server's refusal, or "<nothing thrown>".
    std::string refusalOf(Tessel::NodeTransaction& transaction) {
        auto committed = transaction.commit();
        sites.deliver();
        return TestSupport::messageOf<std::runtime_error>(
            [&] { LiveSites::answered(std::move(committed), "no answer"); });
    }

    static Note* noteAt(LiveSites::Site const& site, QByteArray const& guid) {
        return dynamic_cast<Note*>(site.document->findSharedElement(guid));
    }

    std::shared_ptr<ScriptedPolicy> policy;
    LiveSites sites;
};

} // namespace

TEST_F(AccessPolicyLiveTest, ARefusedAdditionIsTakenBackAtItsClientAndReachesNobody) {
    auto& a = join("a", writer);
    auto& b = join("b", reader);
    auto* note = new Note();
    note->initName(); // its guid, known before the server answers
    QByteArray const guid = note->guid();
    Tessel::NodeTransaction transaction(*b.document);
    transaction.addNode(*note, b.canvas());
    EXPECT_EQ(refusalOf(transaction), "user 2 may only look");
    EXPECT_EQ(noteAt(b, guid), nullptr) << "the refused note is gone at its client";
    EXPECT_EQ(noteAt(a, guid), nullptr);
    EXPECT_EQ(sites.serverDocument()->findNode(guid), nullptr);
}

TEST_F(AccessPolicyLiveTest, ARefusedValueReturnsToTheServersValueAtItsClientOnly) {
    auto& a = join("a", writer);
    auto& b = join("b", reader);
    Note& note = sites.addToCanvas<Note>(a);
    note.text = QStringLiteral("kept");
    sites.deliver();
    ASSERT_EQ(noteAt(b, note.guid())->text.value(), QStringLiteral("kept"));

    noteAt(b, note.guid())->text = QStringLiteral("refused");
    sites.deliver();
    EXPECT_EQ(noteAt(b, note.guid())->text.value(), QStringLiteral("kept")) << "taken back at b";
    EXPECT_EQ(note.text.value(), QStringLiteral("kept")) << "never seen at a";
}

TEST_F(AccessPolicyLiveTest, ARefusedFirstValueOfAnAttributeFallsBackToItsDefault) {
    auto& a = join("a", writer);
    auto& b = join("b", reader);
    Note& note = sites.addToCanvas<Note>(a);
    ASSERT_EQ(sites.serverDocument()->findNode(note.guid())->childAttribute("text"), nullptr)
        << "the server holds no text of the note";
    Note* const atB = noteAt(b, note.guid());
    atB->text = QStringLiteral("refused");
    sites.deliver();
    EXPECT_EQ(atB->text.value(), Note().text.value()) << "the default again";
    EXPECT_FALSE(atB->text.isValueDefinedOnLayer(Basalt::Attribute::LAYER_USER));
}

TEST_F(AccessPolicyLiveTest, ARefusedDeletionBringsTheNodeBackWithItsValues) {
    auto& a = join("a", writer);
    auto& b = join("b", reader);
    Note& note = sites.addToCanvas<Note>(a);
    note.text = QStringLiteral("still here");
    sites.deliver();
    QByteArray const guid = note.guid();
    Tessel::NodeTransaction transaction(*b.document);
    transaction.deleteNode(*noteAt(b, guid));
    EXPECT_EQ(refusalOf(transaction), "user 2 may only look");
    ASSERT_NE(noteAt(b, guid), nullptr) << "the note is back at b";
    EXPECT_EQ(noteAt(b, guid)->text.value(), QStringLiteral("still here"));
    EXPECT_NE(noteAt(a, guid), nullptr);
}

TEST_F(AccessPolicyLiveTest, ARefusedMoveReturnsTheNodeToItsParent) {
    auto& a = join("a", writer, "index", Datamodel::ServerIndex::documentType());
    auto& b = join("b", reader, "index", Datamodel::ServerIndex::documentType());
    auto* outer = new Datamodel::ServerIndexFolder();
    auto* inner = new Datamodel::ServerIndexFolder();
    Tessel::NodeTransaction adding(*a.document);
    adding.addNode(*outer, *a.document->documentRoot());
    adding.addNode(*inner, *a.document->documentRoot());
    ASSERT_EQ(refusalOf(adding), "<nothing thrown>");

    auto* const innerAtB = dynamic_cast<Tessel::Element*>(b.document->findSharedElement(inner->guid()));
    ASSERT_NE(innerAtB, nullptr);
    Tessel::NodeTransaction moving(*b.document);
    moving.moveNode(*innerAtB, *b.document->findSharedElement(outer->guid()));
    EXPECT_EQ(refusalOf(moving), "user 2 may only look");
    EXPECT_EQ(innerAtB->host(), b.document->documentRoot()) << "back under the root at b";
    EXPECT_EQ(inner->host(), a.document->documentRoot());
}

TEST_F(AccessPolicyLiveTest, AChangeOfTheTransientTreeIsAskedForToo) {
    auto& b = join("b", reader);
    policy->readOnly.clear();
    auto& a = join("a", writer);
    policy->readOnly.insert(writer);
    auto* note = new Note();
    note->initName();
    QByteArray const guid = note->guid();
    Tessel::NodeTransaction transaction(*a.document);
    transaction.addNode(*note, *a.document->transientRoot());
    EXPECT_EQ(refusalOf(transaction), "user 1 may only look") << "the policy decides what it lets through";
    EXPECT_EQ(a.document->findSharedElement(guid), nullptr) << "taken back at a";
    EXPECT_EQ(b.document->findSharedElement(guid), nullptr);
}

TEST_F(AccessPolicyLiveTest, AClientThePolicyRefusesCantOpenTheDocument) {
    policy->closed.insert(reader);
    auto& b = sites.connect("b", reader);
    auto opened = b.connection->openDocument("canvas", Datamodel::SharedCanvas::documentType(),
                                             LiveSites::factoryOf(Datamodel::SharedCanvas::documentType()));
    sites.deliver();
    EXPECT_EQ(TestSupport::messageOf<std::runtime_error>(
                  [&] { LiveSites::answered(std::move(opened), "no answer"); }),
              "user 2 may not see this");
    EXPECT_TRUE(sites.serverDocument()->connections().empty());
}

TEST_F(AccessPolicyLiveTest, ReviewingAccessClosesOutOnlyTheClientsThatMayNoLongerSeeTheDocument) {
    auto& a = join("a", writer);
    auto& b = join("b", reader);
    policy->closed.insert(reader);
    sites.server()->reviewAccess();
    sites.deliver();
    EXPECT_FALSE(b.document->isLive());
    EXPECT_EQ(b.document->closeReason(), QStringLiteral("user 2 may not see this"));
    EXPECT_TRUE(a.document->isLive());
    ASSERT_EQ(sites.serverDocument()->connections().size(), 1u);

    Note& note = sites.addToCanvas<Note>(a);
    EXPECT_NE(sites.serverDocument()->findNode(note.guid()), nullptr) << "a goes on";
    EXPECT_EQ(noteAt(b, note.guid()), nullptr) << "b hears nothing more";
}

TEST_F(AccessPolicyLiveTest, ATrustedConnectionSignsInAsItSaysAndIsNeverAsked) {
    auto accounts = std::make_shared<Tessel::UserAccounts>();
    QString error;
    ASSERT_NE(accounts->addUser(QStringLiteral("alice"), QStringLiteral("secret"), error), 0u);
    auto refuseAll = std::make_shared<ScriptedPolicy>();
    refuseAll->closed = {7};
    refuseAll->readOnly = {7};
    LiveSites guarded(QStringLiteral("26.07.5"), nullptr, QString(),
                      [&](Tessel::TesselServer::Options& options) {
                          options.accounts = accounts;
                          options.accessPolicy = refuseAll;
                      });
    TestSupport::ManualExecutor executor;
    auto connected = Tessel::ClientToServerConnection::connect(
        guarded.server()->connectInProcess(folly::getKeepAliveToken(&executor),
                                           Tessel::TesselServer::Trust::Trusted),
        {QStringLiteral("server"), QStringLiteral("nobody"), 7}, folly::getKeepAliveToken(&executor),
        guarded.registry());
    auto const settle = [&] {
        for (bool ran = true; ran;) {
            ran = (guarded.serverExecutor().drain() + executor.drain()) > 0;
        }
    };
    settle();
    auto connection = LiveSites::answered(std::move(connected), "no welcome");
    EXPECT_EQ(connection->userId(), 7u) << "no password asked";
    auto opened = connection->openDocument("canvas", Datamodel::SharedCanvas::documentType(),
                                           LiveSites::factoryOf(Datamodel::SharedCanvas::documentType()));
    settle();
    auto document = LiveSites::answered(std::move(opened), "no document");
    auto* note = new Note();
    Tessel::NodeTransaction transaction(*document);
    transaction.addNode(*note, *document->documentRoot());
    auto committed = transaction.commit();
    settle();
    EXPECT_NO_THROW(LiveSites::answered(std::move(committed), "no answer"));
    EXPECT_EQ(refuseAll->opensAsked, 0);
    document.reset();
    connection.reset();
    settle();
}
