// A server's WebSocket listener reads whatever bytes a peer sends after its handshake: frames of any kind,
// size, mask and fragmentation, cut anywhere. It refuses what it must, never crashes, and goes on serving
// the next peer. Input: the bytes a peer sends once the handshake succeeded (a client's frames are masked).

#include "fuzz/FuzzChecks.hpp"
#include "platform/tessel/QtExecutor.hpp"
#include "platform/tessel/WebSocketTransport.hpp"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QTcpSocket>

#include <algorithm>
#include <functional>
#include <vector>

#include <cstdint>
#include <cstdio>
#include <cstdlib>

namespace {

constexpr int waitMilliseconds = 2000;
/// How long the listener gets to read an input before the peer goes.
constexpr int readMilliseconds = 5;
/// Small, so that inputs reach the refusal of a message over the limit.
constexpr qint64 maximumFrameSize = 4096;
/// A probe of a real client after this many inputs.
constexpr int inputsPerProbe = 100;

QByteArray const handshake = QByteArrayLiteral("GET / HTTP/1.1\r\n"
                                               "Host: 127.0.0.1\r\n"
                                               "Upgrade: websocket\r\n"
                                               "Connection: Upgrade\r\n"
                                               "Sec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==\r\n"
                                               "Sec-WebSocket-Version: 13\r\n\r\n");

bool waitUntil(std::function<bool()> const& done) {
    QElapsedTimer clock;
    clock.start();
    while (!done() && clock.elapsed() < waitMilliseconds) {
        QCoreApplication::processEvents(QEventLoop::AllEvents, 1);
    }
    return done();
}

/// A listener whose links send every frame back, on this thread's event loop.
class World {
public:
    World() {
        Tessel::WebSocketLimits limits;
        limits.maximumFrameSize = maximumFrameSize;
        QString error;
        m_listener = Tessel::WebSocketListener::listen(
            QHostAddress::LocalHost, 0,
            [this](std::shared_ptr<Tessel::MessageLink> link, QString const&) {
                std::weak_ptr<Tessel::MessageLink> const weak = link;
                link->setHandlers(
                    [weak](QByteArray const& frame) {
                        if (auto const self = weak.lock()) {
                            self->send(frame);
                        }
                    },
                    [] {});
                keep(std::move(link));
            },
            folly::getKeepAliveToken(&m_executor), error, limits);
        FuzzSupport::expect(m_listener != nullptr, "the listener listens");
    }

    /// Sends `bytes` after a handshake, lets the listener read them, and goes.
    void feed(QByteArray const& bytes) {
        QTcpSocket peer;
        peer.connectToHost(QHostAddress::LocalHost, m_listener->port());
        FuzzSupport::expect(waitUntil([&] { return peer.state() == QAbstractSocket::ConnectedState; }),
                            "the peer connects");
        peer.write(handshake);
        QByteArray answer;
        FuzzSupport::expect(waitUntil([&] {
                                answer += peer.readAll();
                                return answer.contains("\r\n\r\n");
                            }),
                            "the handshake is answered");
        FuzzSupport::expect(answer.startsWith("HTTP/1.1 101"), "the handshake succeeds");
        peer.write(bytes);
        QElapsedTimer clock;
        clock.start();
        while (peer.state() == QAbstractSocket::ConnectedState && clock.elapsed() < readMilliseconds) {
            QCoreApplication::processEvents(QEventLoop::AllEvents, 1);
        }
        peer.abort();
        if (++m_inputs % inputsPerProbe == 0) {
            expectServing();
        }
    }

    /// Aborts unless a real client still gets its frame back.
    void expectServing() {
        auto connected = Tessel::WebSocketTransport::connect(
            QUrl(QStringLiteral("ws://127.0.0.1:%1").arg(m_listener->port())),
            folly::getKeepAliveToken(&m_executor));
        FuzzSupport::expect(waitUntil([&] { return connected.isReady(); }) && connected.hasValue(),
                            "a client connects");
        std::shared_ptr<Tessel::MessageLink> const link = std::move(connected).get();
        QByteArray echoed;
        link->setHandlers([&](QByteArray const& frame) { echoed = frame; }, [] {});
        link->send(QByteArrayLiteral("probe"));
        FuzzSupport::expect(waitUntil([&] { return echoed == "probe"; }), "the listener still serves");
        link->close();
    }

private:
    /// Holds an accepted link while it is open, as a server does.
    void keep(std::shared_ptr<Tessel::MessageLink> link) {
        m_links.erase(
            std::remove_if(m_links.begin(), m_links.end(), [](auto const& open) { return !open->isOpen(); }),
            m_links.end());
        m_links.push_back(std::move(link));
    }

    Tessel::QtExecutor m_executor;
    std::vector<std::shared_ptr<Tessel::MessageLink>> m_links;
    std::unique_ptr<Tessel::WebSocketListener> m_listener;
    int m_inputs = 0;
};

World& world() {
    static int argc = 1;
    static char name[] = "WebSocketFrameFuzz";
    static char* argv[] = {name, nullptr};
    static QCoreApplication* const application = new QCoreApplication(argc, argv);
    static_cast<void>(application);
    // Left standing at exit, with the application: sockets need it while they go.
    static World* const current = new World();
    return *current;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    FuzzSupport::silenceLogs();
    World& live = world();
    live.feed(QByteArray(reinterpret_cast<char const*>(data), static_cast<int>(size)));
    if (size == 0) {
        live.expectServing();
    }
    return 0;
}
