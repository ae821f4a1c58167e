// A server in a process of its own (`tavola serve`), reached over WebSockets on 127.0.0.1: the same frames
// as in one process, carried by the network.

#include "tests/support/ExceptionMessage.hpp"
#include "tests/support/LiveSites.hpp"
#include "tests/support/ServerProcess.hpp"

#include "canvas/Note.hpp"
#include "index/CanvasDocument.hpp"
#include "index/ServerIndex.hpp"
#include "index/ServerIndexFolder.hpp"
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

    /// Options of `tavola serve` besides the data directory and the address.
    virtual QStringList serveOptions() const { return {}; }

    void startServer() {
        ASSERT_NO_THROW(m_server.start(QStringLiteral(TAVOLA_EXECUTABLE), m_data.path(), serveOptions()));
    }

    struct Client {
        std::shared_ptr<Tessel::ClientToServerConnection> connection;
        std::shared_ptr<Tessel::DocumentConnection> document;
    };

    /// A client that greeted the server over the network as `user`, with `password` (none when empty).
    folly::Future<std::shared_ptr<Tessel::ClientToServerConnection>>
    greet(QString const& user, QString const& password = QString()) {
        return connectWith({QStringLiteral("tests"), user, 0, password});
    }

    /// A client that greeted the server over the network as `identity` says.
    folly::Future<std::shared_ptr<Tessel::ClientToServerConnection>>
    connectWith(Tessel::ClientToServerConnection::Identity const& identity) {
        auto link =
            waitFor(Tessel::WebSocketTransport::connect(m_server.url(), folly::getKeepAliveToken(&m_executor),
                                                        Tessel::WebSocketLimits(), m_tls),
                    "the socket to open");
        return Tessel::ClientToServerConnection::connect(link, identity,
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
    /// What clients trust of a server that speaks TLS.
    Tessel::WebSocketTls m_tls;
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

// A client whose server died reopens the canvas on the restarted server and learns which of the changes it
// never heard answered were applied: the journal remembers them.
TEST_F(NetworkServerTest, AClientThatReconnectsAfterAKillLearnsWhichOfItsUnansweredChangesWereApplied) {
    Client a = join(QStringLiteral("a"));
    std::vector<folly::Future<folly::Unit>> answers;
    for (int i = 0; i < 2000; ++i) {
        auto* note = new Datamodel::Note();
        note->text = QStringLiteral("streamed %1").arg(i);
        Tessel::NodeTransaction transaction(*a.document);
        transaction.addNode(*note, *a.document->documentRoot());
        answers.push_back(transaction.commit());
    }
    ASSERT_TRUE(waitUntil([&] { return answers.front().isReady(); })) << "the server answers the first";
    m_server.kill();
    ASSERT_TRUE(waitUntil([&] { return !a.connection->isConnected(); }));
    std::size_t const acknowledged = static_cast<std::size_t>(
        std::count_if(answers.begin(), answers.end(), [](auto const& answer) { return answer.hasValue(); }));
    Tessel::DocumentResume const resume = a.document->resume();
    EXPECT_EQ(resume.unanswered.size(), answers.size() - acknowledged);

    startServer();
    Client again;
    again.connection = waitFor(greet(QStringLiteral("a")), "the greeting after the restart");
    again.document =
        waitFor(again.connection->openDocument("canvas", Datamodel::SharedCanvas::documentType(),
                                               Datamodel::SharedCanvas::elementFactory(), {resume}),
                "the canvas to open again");
    std::vector<std::int64_t> const& recovered = again.document->recoveredTransactions();
    for (std::int64_t const id : recovered) {
        EXPECT_NE(std::find(resume.unanswered.begin(), resume.unanswered.end(), id), resume.unanswered.end())
            << "only transactions that were asked about";
    }
    std::size_t notes = 0;
    for (auto const& entry : again.document->documentRoot()->attributes()) {
        notes += dynamic_cast<Datamodel::Note*>(entry.second) ? 1 : 0;
    }
    EXPECT_EQ(notes, acknowledged + recovered.size())
        << "the canvas holds each acknowledged note and each recovered one, and nothing else";
}

namespace {

QString testTlsFile(char const* name) {
    return QStringLiteral(DATAMODEL_SOURCE_DIR "/tests/testdata/tls/") + QLatin1String(name);
}

/// A server that speaks TLS with the test certificate, which its clients trust.
class TlsNetworkTest : public NetworkServerTest {
protected:
    void prepareData() override {
        QString error;
        ASSERT_TRUE(Tessel::WebSocketTls::readTrusted(testTlsFile("server.crt"), m_tls, error))
            << error.toStdString();
    }
    QStringList serveOptions() const override {
        return {QStringLiteral("--tls-cert"), testTlsFile("server.crt"), QStringLiteral("--tls-key"),
                testTlsFile("server.key")};
    }
};

} // namespace

TEST_F(TlsNetworkTest, ClientsShareACanvasOverTls) {
    EXPECT_EQ(m_server.url().scheme(), QStringLiteral("wss"));
    Client a = join(QStringLiteral("a"));
    Client b = join(QStringLiteral("b"));
    QByteArray const guid = addNote(a, QStringLiteral("encrypted on the way"));
    ASSERT_TRUE(waitUntil([&] { return noteAt(b, guid) != nullptr; }));
    EXPECT_EQ(noteAt(b, guid)->text.value(), QStringLiteral("encrypted on the way"));
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

TEST_F(SignInNetworkTest, AUserSignsInAgainWithTheTokenItGotInPlaceOfItsPassword) {
    auto first = waitFor(greet(QStringLiteral("alice"), QStringLiteral("wonderland")), "the sign-in");
    QByteArray const token = first->signInToken();
    ASSERT_FALSE(token.isEmpty()) << "a sign-in with a password gets a token";
    auto again = waitFor(connectWith({QStringLiteral("tests"), QStringLiteral("alice"), 0, QString(), token}),
                         "the sign-in with the token");
    EXPECT_EQ(again->userId(), m_alice);
    EXPECT_TRUE(again->signInToken().isEmpty()) << "a token gets no new one";

    auto forged =
        connectWith({QStringLiteral("tests"), QStringLiteral("alice"), 0, QString(), QByteArray(64, 'f')});
    ASSERT_TRUE(waitUntil([&] { return forged.isReady(); }));
    EXPECT_EQ(TestSupport::messageOf<std::runtime_error>([&] { std::move(forged).get(); }), "Sign-in failed");
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

namespace {

/// A server whose users alice, bob and carol sign in, with guests blocked, and whose index decides what each
/// may open and change.
class PermissionNetworkTest : public NetworkServerTest {
protected:
    void prepareData() override {
        Tessel::UserAccounts accounts;
        QString error;
        for (auto const& name : {QStringLiteral("alice"), QStringLiteral("bob"), QStringLiteral("carol")}) {
            m_ids[name] = accounts.addUser(name, name + QStringLiteral("-password"), error);
        }
        ASSERT_TRUE(
            accounts.save(QDir(m_data.path()).filePath(QLatin1String(Tessel::UserAccounts::fileName)), error))
            << error.toStdString();
    }

    Client signIn(QString const& name) {
        Client client;
        client.connection = waitFor(greet(name, name + QStringLiteral("-password")), "the sign-in");
        return client;
    }

    /// `client` with the server index open.
    void openIndex(Client& client) {
        client.document =
            waitFor(client.connection->openDocument("server-index", Datamodel::ServerIndex::documentType(),
                                                    Datamodel::ServerIndex::elementFactory()),
                    "the index to open");
    }

    /// Alice, signed in with the index open, adds a record of "canvas" with `permissions` to her home folder;
    /// returns it as her index shows it.
    Datamodel::CanvasDocument* aliceShares(Tessel::ResourcePermissions const& permissions) {
        Client index = signIn(QStringLiteral("alice"));
        openIndex(index);
        auto* const home = Datamodel::ServerIndex::root(*index.document->documentRoot())
                               ->findByFolderId(QByteArray::number(m_ids[QStringLiteral("alice")]));
        EXPECT_NE(home, nullptr) << "alice has a home folder";
        auto* record = new Datamodel::CanvasDocument();
        record->canvasIdAttribute = QStringLiteral("canvas");
        record->permissionOverrides.setValue(permissions);
        record->owner = static_cast<int>(m_ids[QStringLiteral("alice")]);
        Tessel::NodeTransaction transaction(*index.document);
        transaction.addNode(*record, *home);
        waitFor(transaction.commit(), "the record to be added");
        m_aliceIndex = index;
        return record;
    }

    Tessel::ResourcePermissions grant(QString const& name, Tessel::Permission level) {
        Tessel::ResourcePermissions permissions;
        permissions.acl.users.insert(static_cast<int>(m_ids[name]), {level, 0});
        return permissions;
    }

    std::map<QString, unsigned> m_ids;
    Client m_aliceIndex;
};

} // namespace

TEST_F(PermissionNetworkTest, AViewUsersWriteIsUndoneThereAloneAndLosingViewClosesItOut) {
    Datamodel::CanvasDocument* const record =
        aliceShares(grant(QStringLiteral("bob"), Tessel::PERMISSION_VIEW));
    Client alice = join(QStringLiteral("alice"), QStringLiteral("alice-password"));
    Client bob = join(QStringLiteral("bob"), QStringLiteral("bob-password"));

    auto* note = new Datamodel::Note();
    note->initName(); // its guid, known before the server answers
    Tessel::NodeTransaction transaction(*bob.document);
    transaction.addNode(*note, *bob.document->documentRoot());
    QByteArray const guid = note->guid();
    std::string const refusal = TestSupport::messageOf<std::runtime_error>(
        [&] { waitFor(transaction.commit(), "the server's answer"); });
    EXPECT_NE(refusal.find("no 'edit' permission"), std::string::npos) << refusal;
    EXPECT_EQ(bob.document->findSharedElement(guid), nullptr) << "undone at bob";
    QByteArray const aliceNote = addNote(alice, QStringLiteral("alice writes"));
    ASSERT_TRUE(waitUntil([&] { return noteAt(bob, aliceNote) != nullptr; }));
    EXPECT_EQ(alice.document->findSharedElement(guid), nullptr) << "bob's note never reached alice";

    Client carol = signIn(QStringLiteral("carol"));
    EXPECT_EQ(TestSupport::messageOf<std::runtime_error>([&] {
                  waitFor(carol.connection->openDocument("canvas", Datamodel::SharedCanvas::documentType(),
                                                         Datamodel::SharedCanvas::elementFactory()),
                          "carol's open");
              }),
              "no 'view' permission on canvas 'canvas'");

    record->permissionOverrides.setValue(Tessel::ResourcePermissions());
    EXPECT_TRUE(waitUntil([&] { return !bob.document->isLive(); })) << "bob is closed out";
    EXPECT_EQ(bob.document->closeReason(), QStringLiteral("no 'view' permission on canvas 'canvas'"));
    EXPECT_TRUE(alice.document->isLive());
    QString log;
    EXPECT_TRUE(waitUntil([&] {
        log += m_server.takeLog();
        return log.contains(QStringLiteral("Closed connection"));
    })) << log.toStdString();
}

TEST_F(PermissionNetworkTest, AnEditUserCannotChangeTheCanvasPermissions) {
    Datamodel::CanvasDocument* const record =
        aliceShares(grant(QStringLiteral("bob"), Tessel::PERMISSION_EDIT));
    Client bob = signIn(QStringLiteral("bob"));
    openIndex(bob);
    auto* const atBob =
        dynamic_cast<Datamodel::CanvasDocument*>(bob.document->findSharedElement(record->guid()));
    ASSERT_NE(atBob, nullptr);
    Tessel::ResourcePermissions const granted = grant(QStringLiteral("bob"), Tessel::PERMISSION_EDIT);
    atBob->permissionOverrides.setValue(grant(QStringLiteral("carol"), Tessel::PERMISSION_EDIT));
    EXPECT_TRUE(waitUntil([&] { return atBob->permissionOverrides.value() == granted; }))
        << "taken back at bob";
    EXPECT_EQ(record->permissionOverrides.value(), granted) << "alice never saw the change";

    Client bobOnCanvas = join(QStringLiteral("bob"), QStringLiteral("bob-password"));
    EXPECT_FALSE(addNote(bobOnCanvas, QStringLiteral("bob may write")).isEmpty());
}

TEST_F(PermissionNetworkTest, AGuestIsRefusedWhereGuestsAreBlocked) {
    auto greeting = greet(QStringLiteral("guest"));
    EXPECT_EQ(TestSupport::messageOf<std::runtime_error>([&] { waitFor(std::move(greeting), "an answer"); }),
              "Sign-in failed");
}

TEST_F(SignInNetworkTest, AClientThatStaysAfterItsSignInWasRefusedIsClosedByTheServer) {
    QWebSocket raw;
    raw.open(m_server.url());
    ASSERT_TRUE(waitUntil([&] { return raw.state() == QAbstractSocket::ConnectedState; }));
    Cobalt::BinaryData hello;
    hello.writeString("raw");
    hello.writeString("alice");
    hello.writeInt32(0);
    hello.writeString("not her password");
    std::vector<QByteArray> heard;
    QObject::connect(&raw, &QWebSocket::binaryMessageReceived,
                     [&](QByteArray const& frame) { heard.push_back(frame); });
    raw.sendBinaryMessage(Tessel::Wire::encodeFrame(Tessel::Wire::MessageKind::Hello, hello));
    EXPECT_TRUE(waitUntil([&] { return raw.state() == QAbstractSocket::UnconnectedState; }, 5000))
        << "the server closed the link it refused";
    ASSERT_EQ(heard.size(), 1u) << "after its one answer";
    Tessel::Wire::Frame frame;
    QString error;
    ASSERT_TRUE(Tessel::Wire::decodeFrame(heard.front(), frame, error));
    EXPECT_EQ(frame.kind, Tessel::Wire::MessageKind::SignInRefused);
}
