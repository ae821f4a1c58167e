// Passwords are checked away from the server's thread: a client that signs in holds up nobody.

#include "tests/support/LiveSites.hpp"

#include "canvas/Note.hpp"
#include "platform/tessel/ServerDocument.hpp"
#include "platform/tessel/UserAccounts.hpp"

#include <gtest/gtest.h>

#include <chrono>
#include <thread>

using TestSupport::LiveSites;

TEST(SignInLiveTest, WhileAPasswordIsCheckedTheServerGoesOnServingTheOthers) {
    auto accounts = std::make_shared<Tessel::UserAccounts>();
    QString error;
    unsigned const alice = accounts->addUser(QStringLiteral("alice"), QStringLiteral("wonderland"), error);
    LiveSites sites(QStringLiteral("26.07.5"), nullptr, QString(),
                    [&](Tessel::TesselServer::Options& options) { options.accounts = accounts; });
    // A trusted site, in the canvas before anybody signs in.
    TestSupport::ManualExecutor writerExecutor;
    auto writerConnection = Tessel::ClientToServerConnection::connect(
        sites.server()->connectInProcess(folly::getKeepAliveToken(&writerExecutor),
                                         Tessel::TesselServer::Trust::Trusted),
        {QStringLiteral("writer"), QStringLiteral("writer"), 0}, folly::getKeepAliveToken(&writerExecutor),
        sites.registry());
    auto const settle = [&] {
        for (bool ran = true; ran;) {
            sites.deliver();
            ran = writerExecutor.drain() > 0;
        }
    };
    settle();
    auto writer = LiveSites::answered(std::move(writerConnection), "no welcome");
    auto opened = writer->openDocument("canvas", Datamodel::SharedCanvas::documentType(),
                                       LiveSites::factoryOf(Datamodel::SharedCanvas::documentType()));
    settle();
    auto document = LiveSites::answered(std::move(opened), "no document");

    TestSupport::ManualExecutor aliceExecutor;
    auto greeting = Tessel::ClientToServerConnection::connect(
        sites.server()->connectInProcess(folly::getKeepAliveToken(&aliceExecutor)),
        {QStringLiteral("laptop"), QStringLiteral("alice"), 0, QStringLiteral("wonderland")},
        folly::getKeepAliveToken(&aliceExecutor), sites.registry());
    sites.serverExecutor().drain(); // the server takes the greeting, and hands the password on
    aliceExecutor.drain();
    ASSERT_FALSE(greeting.isReady()) << "a tenth of a second of checking goes on elsewhere";

    auto* note = new Datamodel::Note();
    note->initName();
    Tessel::NodeTransaction transaction(*document);
    transaction.addNode(*note, *document->documentRoot());
    auto committed = transaction.commit();
    sites.serverExecutor().drain();
    writerExecutor.drain();
    EXPECT_TRUE(committed.isReady()) << "the server applied the other client's change meanwhile";
    EXPECT_NE(sites.serverDocument()->findNode(note->guid()), nullptr);

    auto const deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (!greeting.isReady() && std::chrono::steady_clock::now() < deadline) {
        sites.serverExecutor().drain();
        aliceExecutor.drain();
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    ASSERT_TRUE(greeting.isReady()) << "the check ends and the server answers";
    EXPECT_EQ(std::move(greeting).get()->userId(), alice);
    document.reset();
    writer.reset();
    settle();
}
