// A server in a process of its own (`tavola serve`), reached over WebSockets on 127.0.0.1: the same frames
// as in one process, carried by the network.

#include "tests/support/ExceptionMessage.hpp"
#include "tests/support/LiveSites.hpp"
#include "tests/support/ServerProcess.hpp"

#include "canvas/Note.hpp"
#include "platform/tessel/ClientToServerConnection.hpp"
#include "platform/tessel/DocumentConnection.hpp"
#include "platform/tessel/NodeTransaction.hpp"
#include "platform/tessel/QtExecutor.hpp"
#include "platform/tessel/StoredDocument.hpp"
#include "platform/tessel/UserAccounts.hpp"
#include "platform/tessel/WebSocketTransport.hpp"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QJsonDocument>
#include <QTemporaryDir>
#include <QWebSocket>

#include <gtest/gtest.h>

using TestSupport::waitFor;
using TestSupport::waitUntil;

namespace {

/// A `tavola serve` process on a free port of 127.0.0.1 with a data directory of its own, and clients of it
/// on this thread's event loop.
class NetworkServerTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(m_data.isValid());
        prepareData();
        startServer();
    }

    /// Fills the data directory before the server starts.
    virtual void prepareData() {}

    void startServer() { ASSERT_NO_THROW(m_server.start(QStringLiteral(TAVOLA_EXECUTABLE), m_data.path())); }

    struct Client {
        std::shared_ptr<Tessel::ClientToServerConnection> connection;
        std::shared_ptr<Tessel::DocumentConnection> document;
    };

    /// A client that greeted the server over the network as `user`, with `password` (none when empty).
    folly::Future<std::shared_ptr<Tessel::ClientToServerConnection>>
    greet(QString const& user, QString const& password = QString()) {
        auto link = waitFor(
            Tessel::WebSocketTransport::connect(m_server.url(), folly::getKeepAliveToken(&m_executor)),
            "the socket to open");
        return Tessel::ClientToServerConnection::connect(link, {QStringLiteral("tests"), user, 0, password},
                                                         folly::getKeepAliveToken(&m_executor), m_registry);
    }

    /// A client over the network with the canvas "canvas" open.
    Client join(QString const& name, QString const& password = QString()) {
        Client client;
        client.connection = waitFor(greet(name, password), "the server's greeting");
        client.document =
            waitFor(client.connection->openDocument("canvas", Datamodel::SharedCanvas::documentType(),
                                                    Datamodel::SharedCanvas::elementFactory()),
                    "the canvas to open");
        return client;
    }

    /// Adds a note with `text` at `client`; returns its guid once the server applied it.
    QByteArray addNote(Client& client, QString const& text) {
        auto* note = new Datamodel::Note();
        note->text = text;
        Tessel::NodeTransaction transaction(*client.document);
        transaction.addNode(*note, *client.document->documentRoot());
        waitFor(transaction.commit(), "the server to apply the note");
        return note->guid();
    }

    static Datamodel::Note* noteAt(Client const& client, QByteArray const& guid) {
        return dynamic_cast<Datamodel::Note*>(client.document->findSharedElement(guid));
    }

    int m_argc = 0;
    // First in, last out: the sockets and the executor need the event loop.
    QCoreApplication m_application{m_argc, nullptr};
    Tessel::QtExecutor m_executor;
    std::shared_ptr<Kelp::TypeRegistry> m_registry = TestSupport::modelTypeRegistry();
    QTemporaryDir m_data;
    TestSupport::ServerProcess m_server;
};

} // namespace

TEST_F(NetworkServerTest, AChangeAtOneClientReachesAnotherThroughAServerProcess) {
    Client a = join(QStringLiteral("a"));
    Client b = join(QStringLiteral("b"));
    QByteArray const guid = addNote(a, QStringLiteral("over the network"));
    ASSERT_TRUE(waitUntil([&] { return noteAt(b, guid) != nullptr; })) << "b sees the note";
    EXPECT_EQ(noteAt(b, guid)->text.value(), QStringLiteral("over the network"));

    noteAt(b, guid)->text = QStringLiteral("changed at b");
    EXPECT_TRUE(waitUntil([&] { return noteAt(a, guid)->text.value() == QLatin1String("changed at b"); }))
        << "and a sees b's change";
}

TEST_F(NetworkServerTest, AServerStoppedBySigtermStoresItsDocumentsAndServesThemAfterARestart) {
    QByteArray guid;
    {
        Client a = join(QStringLiteral("a"));
        guid = addNote(a, QStringLiteral("kept across a restart"));
        ASSERT_TRUE(m_server.stop()) << m_server.takeLog().toStdString();
        EXPECT_TRUE(waitUntil([&] { return !a.connection->isConnected(); }))
            << "the client hears that it went";
    }
    QJsonObject stored;
    QString error;
    ASSERT_TRUE(Tessel::StoredDocument::read(QDir(m_data.path()).filePath(QStringLiteral("canvas.json")),
                                             stored, error))
        << error.toStdString();

    startServer();
    Client b = join(QStringLiteral("b"));
    ASSERT_NE(noteAt(b, guid), nullptr) << "the restarted server serves the stored canvas";
    EXPECT_EQ(noteAt(b, guid)->text.value(), QStringLiteral("kept across a restart"));
}

// Killed with no chance to store anything: every change the server acknowledged is in its journal.
TEST_F(NetworkServerTest, AServerKilledDuringAStreamOfChangesServesEveryAcknowledgedOneAfterARestart) {
    std::vector<QByteArray> guids;
    {
        Client a = join(QStringLiteral("a"));
        for (int i = 0; i < 20; ++i) {
            guids.push_back(addNote(a, QStringLiteral("note %1").arg(i)));
        }
        m_server.kill();
    }
    startServer();
    Client b = join(QStringLiteral("b"));
    for (std::size_t i = 0; i < guids.size(); ++i) {
        Datamodel::Note* const note = noteAt(b, guids[i]);
        ASSERT_NE(note, nullptr) << "note " << i << " was acknowledged";
        EXPECT_EQ(note->text.value(), QStringLiteral("note %1").arg(i));
    }
}

TEST_F(NetworkServerTest, BytesThatAreNoFrameAreRefusedAndLoggedAndOtherClientsGoOn) {
    Client a = join(QStringLiteral("a"));
    Client b = join(QStringLiteral("b"));
    QWebSocket raw;
    raw.open(m_server.url());
    ASSERT_TRUE(waitUntil([&] { return raw.state() == QAbstractSocket::ConnectedState; }));
    raw.sendBinaryMessage(QByteArray("\x01\x02 not a frame at all \xff", 24));
    raw.sendBinaryMessage(QByteArray());

    QByteArray const guid = addNote(a, QStringLiteral("still served"));
    EXPECT_TRUE(waitUntil([&] { return noteAt(b, guid) != nullptr; })) << "the other clients go on";
    QString log;
    EXPECT_TRUE(waitUntil([&] {
        log += m_server.takeLog();
        return log.contains(QStringLiteral("Refused a message"));
    })) << "the refusal is logged: "
        << log.toStdString();
}

namespace {

/// A server whose users sign in: alice, with the password "wonderland".
class SignInNetworkTest : public NetworkServerTest {
protected:
    void prepareData() override {
        Tessel::UserAccounts accounts;
        QString error;
        m_alice = accounts.addUser(QStringLiteral("alice"), QStringLiteral("wonderland"), error);
        ASSERT_TRUE(
            accounts.save(QDir(m_data.path()).filePath(QLatin1String(Tessel::UserAccounts::fileName)), error))
            << error.toStdString();
    }

    /// The reason a greeting failed with, and how long the answer took.
    std::pair<std::string, qint64> refusal(QString const& user, QString const& password) {
        QElapsedTimer clock;
        clock.start();
        auto greeting = greet(user, password);
        if (!waitUntil([&] { return greeting.isReady(); })) {
            return {"<no answer>", clock.elapsed()};
        }
        std::string const reason =
            TestSupport::messageOf<std::runtime_error>([&] { std::move(greeting).get(); });
        return {reason, clock.elapsed()};
    }

    unsigned m_alice = 0;
};

} // namespace

TEST_F(SignInNetworkTest, AUserWithItsPasswordSignsInAndActsAsItself) {
    Client alice = join(QStringLiteral("alice"), QStringLiteral("wonderland"));
    EXPECT_EQ(alice.connection->userId(), m_alice);
    QByteArray const guid = addNote(alice, QStringLiteral("signed in"));
    EXPECT_NE(noteAt(alice, guid), nullptr);
}

TEST_F(SignInNetworkTest, AWrongPasswordAndAnUnknownUserGetTheSameAnswerAfterADelay) {
    auto const wrong = refusal(QStringLiteral("alice"), QStringLiteral("looking glass"));
    auto const unknown = refusal(QStringLiteral("mallory"), QStringLiteral("wonderland"));
    auto const none = refusal(QStringLiteral("alice"), QString());
    EXPECT_EQ(wrong.first, "Sign-in failed");
    EXPECT_EQ(unknown.first, wrong.first) << "the answer tells nobody whether the user exists";
    EXPECT_EQ(none.first, wrong.first);
    EXPECT_GE(wrong.second, 900) << "a guess costs time";
    EXPECT_GE(unknown.second, 900);
    QString log;
    EXPECT_TRUE(waitUntil([&] {
        log += m_server.takeLog();
        return log.contains(QStringLiteral("Refused the sign-in of 'mallory'"));
    })) << "each refusal is logged: "
        << log.toStdString();
}
