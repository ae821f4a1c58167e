// Links over WebSockets on 127.0.0.1, both ends in this process on this thread's event loop.

#include "platform/tessel/WebSocketTransport.hpp"
#include "platform/tessel/QtExecutor.hpp"

#include "tests/support/ExceptionMessage.hpp"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QTcpSocket>

#include <gtest/gtest.h>

#include <vector>

namespace {

class WebSocketTransportTest : public ::testing::Test {
protected:
    /// Listens on a free port; each link accepted gets handlers that record what it hears.
    void listen(Tessel::WebSocketLimits limits = Tessel::WebSocketLimits(),
                Tessel::WebSocketTls const& tls = Tessel::WebSocketTls()) {
        QString error;
        m_listener = Tessel::WebSocketListener::listen(
            QHostAddress::LocalHost, 0,
            [this](std::shared_ptr<Tessel::MessageLink> link, QString const&) {
                link->setHandlers([this](QByteArray const& frame) { m_received.push_back(frame); },
                                  [this] { ++m_serverClosed; });
                m_accepted.push_back(std::move(link));
            },
            folly::getKeepAliveToken(&m_executor), error, limits, tls);
        ASSERT_NE(m_listener, nullptr) << error.toStdString();
    }

    QUrl url() const { return QUrl(QStringLiteral("ws://127.0.0.1:%1").arg(m_listener->port())); }

    static bool waitUntil(std::function<bool()> const& done) {
        QElapsedTimer clock;
        clock.start();
        while (!done() && clock.elapsed() < 5000) {
            QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
        }
        return done();
    }

    std::shared_ptr<Tessel::MessageLink> connect() {
        auto future = Tessel::WebSocketTransport::connect(url(), folly::getKeepAliveToken(&m_executor));
        EXPECT_TRUE(waitUntil([&] { return future.isReady(); }));
        return std::move(future).get();
    }

    int m_argc = 0;
    QCoreApplication m_application{m_argc, nullptr};
    Tessel::QtExecutor m_executor;
    std::unique_ptr<Tessel::WebSocketListener> m_listener;
    std::vector<std::shared_ptr<Tessel::MessageLink>> m_accepted;
    std::vector<QByteArray> m_received;
    int m_serverClosed = 0;
};

} // namespace

TEST_F(WebSocketTransportTest, FramesArriveWholeAndInTheOrderTheyWereSent) {
    listen();
    auto const client = connect();
    std::vector<QByteArray> sent;
    for (int i = 0; i < 100; ++i) {
        sent.push_back(QByteArray(i * 37, static_cast<char>(i)) + QByteArray::number(i));
        client->send(sent.back());
    }
    EXPECT_TRUE(waitUntil([&] { return m_received.size() == sent.size(); }));
    EXPECT_EQ(m_received, sent);
}

TEST_F(WebSocketTransportTest, AFrameAboveTheLimitClosesItsLinkAndNoOther) {
    Tessel::WebSocketLimits limits;
    limits.maximumFrameSize = 1024;
    listen(limits);
    auto const big = connect();
    auto const small = connect();
    int bigClosed = 0;
    big->setHandlers([](QByteArray const&) {}, [&] { ++bigClosed; });
    big->send(QByteArray(4096, 'x'));
    EXPECT_TRUE(waitUntil([&] { return m_serverClosed == 1 && bigClosed == 1; }))
        << "both ends hear the close";
    EXPECT_TRUE(m_received.empty()) << "the frame is refused whole";

    small->send(QByteArray(512, 'y'));
    EXPECT_TRUE(waitUntil([&] { return m_received.size() == 1; })) << "the other link goes on";
    EXPECT_TRUE(small->isOpen());
}

TEST_F(WebSocketTransportTest, ClosingOneEndTellsTheOtherOnce) {
    listen();
    auto const client = connect();
    ASSERT_TRUE(waitUntil([&] { return m_accepted.size() == 1; }));
    int clientClosed = 0;
    client->setHandlers([](QByteArray const&) {}, [&] { ++clientClosed; });
    m_accepted.front()->close();
    EXPECT_TRUE(waitUntil([&] { return clientClosed == 1; }));
    EXPECT_FALSE(client->isOpen());
    client->send("after the close");
    client->close();
    QCoreApplication::processEvents();
    EXPECT_EQ(clientClosed, 1);
    EXPECT_EQ(m_serverClosed, 1);
}

TEST_F(WebSocketTransportTest, ConnectingWhereNobodyListensFailsAndNamesTheAddress) {
    listen();
    QUrl const nobody = url();
    m_listener.reset();
    auto future = Tessel::WebSocketTransport::connect(nobody, folly::getKeepAliveToken(&m_executor));
    ASSERT_TRUE(waitUntil([&] { return future.isReady(); }));
    std::string const message = TestSupport::messageOf<std::runtime_error>([&] { std::move(future).get(); });
    EXPECT_NE(message.find(nobody.toString().toStdString()), std::string::npos) << message;
}

TEST_F(WebSocketTransportTest, AnAddressThatCanNotBeListenedOnIsRefusedWithTheReason) {
    listen();
    QString error;
    auto const second = Tessel::WebSocketListener::listen(
        QHostAddress::LocalHost, m_listener->port(),
        [](std::shared_ptr<Tessel::MessageLink>, QString const&) {}, folly::getKeepAliveToken(&m_executor),
        error);
    EXPECT_EQ(second, nullptr);
    EXPECT_TRUE(error.contains(QString::number(m_listener->port()))) << error.toStdString();
}

TEST_F(WebSocketTransportTest, AnAddressWithTooManyOpenLinksIsRefusedUntilOneCloses) {
    Tessel::WebSocketLimits limits;
    limits.maximumLinksPerAddress = 3;
    listen(limits);
    std::vector<std::shared_ptr<Tessel::MessageLink>> clients;
    for (int i = 0; i < 3; ++i) {
        clients.push_back(connect());
    }
    ASSERT_TRUE(waitUntil([&] { return m_accepted.size() == 3; }));
    auto const refused = connect();
    EXPECT_TRUE(waitUntil([&] { return !refused->isOpen(); })) << "the fourth is closed at once";
    EXPECT_EQ(m_accepted.size(), 3u);

    clients.front()->close();
    ASSERT_TRUE(waitUntil([&] { return m_serverClosed == 1; }));
    auto const admitted = connect();
    EXPECT_TRUE(waitUntil([&] { return m_accepted.size() == 4; })) << "a closed link makes room";
}

// A peer that answers no ping and sends nothing is closed once the idle time is over.
TEST_F(WebSocketTransportTest, APeerThatStaysSilentIsClosedAfterTheIdleTime) {
    Tessel::WebSocketLimits limits;
    limits.heartbeat = std::chrono::milliseconds(20);
    limits.idleTimeout = std::chrono::milliseconds(100);
    listen(limits);
    // A socket that completes the opening handshake by hand and then never reads or answers again.
    QTcpSocket silent;
    silent.connectToHost(QHostAddress::LocalHost, m_listener->port());
    ASSERT_TRUE(waitUntil([&] { return silent.state() == QAbstractSocket::ConnectedState; }));
    silent.write("GET / HTTP/1.1\r\nHost: 127.0.0.1\r\nUpgrade: websocket\r\nConnection: Upgrade\r\n"
                 "Sec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==\r\nSec-WebSocket-Version: 13\r\n\r\n");
    ASSERT_TRUE(waitUntil([&] { return m_accepted.size() == 1; })) << "the handshake is accepted";
    QElapsedTimer clock;
    clock.start();
    EXPECT_TRUE(waitUntil([&] { return m_serverClosed == 1; })) << "closed for its silence";
    EXPECT_GE(clock.elapsed(), 50);
}

namespace {

/// The test certificate for 127.0.0.1 and its key, as a listener serves them.
Tessel::WebSocketTls testTls() {
    Tessel::WebSocketTls tls;
    QString error;
    QString const directory = QStringLiteral(DATAMODEL_SOURCE_DIR "/tests/testdata/tls/");
    EXPECT_TRUE(Tessel::WebSocketTls::readServing(directory + QStringLiteral("server.crt"),
                                                  directory + QStringLiteral("server.key"), tls, error))
        << error.toStdString();
    return tls;
}

/// A client's trust in the test certificate.
Tessel::WebSocketTls trustingTestTls() {
    Tessel::WebSocketTls tls;
    QString error;
    EXPECT_TRUE(Tessel::WebSocketTls::readTrusted(
        QStringLiteral(DATAMODEL_SOURCE_DIR "/tests/testdata/tls/server.crt"), tls, error))
        << error.toStdString();
    return tls;
}

} // namespace

TEST_F(WebSocketTransportTest, OverTlsFramesReachAListenerWhoseCertificateTheClientTrusts) {
    listen(Tessel::WebSocketLimits(), testTls());
    QUrl secure = url();
    secure.setScheme(QStringLiteral("wss"));
    auto connected = Tessel::WebSocketTransport::connect(secure, folly::getKeepAliveToken(&m_executor),
                                                         Tessel::WebSocketLimits(), trustingTestTls());
    ASSERT_TRUE(waitUntil([&] { return connected.isReady(); }));
    auto const client = std::move(connected).get();
    client->send(QByteArrayLiteral("over TLS"));
    EXPECT_TRUE(waitUntil([&] { return m_received.size() == 1; }));
    EXPECT_EQ(m_received, std::vector<QByteArray>{QByteArrayLiteral("over TLS")});
}

TEST_F(WebSocketTransportTest, AClientRefusesACertificateItDoesNotTrustAndAPlainClientGetsNowhere) {
    listen(Tessel::WebSocketLimits(), testTls());
    QUrl secure = url();
    secure.setScheme(QStringLiteral("wss"));
    auto untrusting = Tessel::WebSocketTransport::connect(secure, folly::getKeepAliveToken(&m_executor));
    ASSERT_TRUE(waitUntil([&] { return untrusting.isReady(); }));
    EXPECT_TRUE(untrusting.hasException()) << "a self-signed certificate nobody trusts";
    auto plain = Tessel::WebSocketTransport::connect(url(), folly::getKeepAliveToken(&m_executor));
    ASSERT_TRUE(waitUntil([&] { return plain.isReady(); }));
    EXPECT_TRUE(plain.hasException()) << "no WebSocket without TLS on a TLS listener";
    EXPECT_TRUE(m_accepted.empty());
}

TEST(WebSocketTls, FilesThatHoldNoCertificateOrKeyAreRefusedWithTheirName) {
    Tessel::WebSocketTls tls;
    QString error;
    QString const certificate = QStringLiteral(DATAMODEL_SOURCE_DIR "/tests/testdata/tls/server.crt");
    EXPECT_FALSE(Tessel::WebSocketTls::readServing(certificate, certificate, tls, error));
    EXPECT_TRUE(error.contains(QStringLiteral("holds no private key"))) << error.toStdString();
    EXPECT_FALSE(
        Tessel::WebSocketTls::readServing(QStringLiteral("/nonexistent.crt"), certificate, tls, error));
    EXPECT_TRUE(error.contains(QStringLiteral("/nonexistent.crt"))) << error.toStdString();
}

TEST_F(WebSocketTransportTest, APeerThatDoesNotKeepUpIsClosedAndTheOthersAreNotKeptWaiting) {
    Tessel::WebSocketLimits limits;
    limits.maximumQueuedBytes = 256 * 1024;
    listen(limits);
    // A peer that greets and then reads nothing more: what is sent to it piles up.
    QTcpSocket slow;
    slow.setReadBufferSize(1);
    slow.connectToHost(QHostAddress::LocalHost, m_listener->port());
    ASSERT_TRUE(waitUntil([&] { return slow.state() == QAbstractSocket::ConnectedState; }));
    slow.write("GET / HTTP/1.1\r\nHost: 127.0.0.1\r\nUpgrade: websocket\r\nConnection: Upgrade\r\n"
               "Sec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==\r\nSec-WebSocket-Version: 13\r\n\r\n");
    ASSERT_TRUE(waitUntil([&] { return m_accepted.size() == 1; }));
    auto const fast = connect();
    ASSERT_TRUE(waitUntil([&] { return m_accepted.size() == 2; }));
    std::shared_ptr<Tessel::MessageLink> const toSlow = m_accepted.front();
    std::shared_ptr<Tessel::MessageLink> const toFast = m_accepted.back();
    std::vector<QByteArray> heardByFast;
    fast->setHandlers([&](QByteArray const& frame) { heardByFast.push_back(frame); }, [] {});

    QByteArray const block(64 * 1024, 'x');
    for (int i = 0; i < 1024 && toSlow->isOpen(); ++i) {
        toSlow->send(block);
        QCoreApplication::processEvents(QEventLoop::AllEvents, 1);
    }
    EXPECT_TRUE(waitUntil([&] { return !toSlow->isOpen(); })) << "the slow peer is closed";
    EXPECT_EQ(m_serverClosed, 1) << "its link tells why it went, once";
    toFast->send(QByteArrayLiteral("still here"));
    EXPECT_TRUE(waitUntil([&] { return heardByFast.size() == 1; })) << "the other link goes on";
}

TEST_F(WebSocketTransportTest, AFrameSentJustBeforeTheOtherEndClosesStillArrivesBeforeTheClose) {
    listen();
    auto const client = connect();
    ASSERT_TRUE(waitUntil([&] { return m_accepted.size() == 1; }));
    std::vector<QByteArray> heard;
    bool heardBeforeClose = false;
    bool closed = false;
    client->setHandlers([&](QByteArray const& frame) { heard.push_back(frame); },
                        [&] {
                            heardBeforeClose = !heard.empty();
                            closed = true;
                        });
    m_accepted.front()->send(QByteArrayLiteral("last words"));
    m_accepted.front()->close();
    ASSERT_TRUE(waitUntil([&] { return closed; }));
    EXPECT_EQ(heard, std::vector<QByteArray>{QByteArrayLiteral("last words")});
    EXPECT_TRUE(heardBeforeClose);
}
