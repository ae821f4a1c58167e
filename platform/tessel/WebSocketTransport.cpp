#include "platform/tessel/WebSocketTransport.hpp"

#include "platform/cobalt/Trace.hpp"

#include <QElapsedTimer>
#include <QFile>
#include <QSslConfiguration>
#include <QSslSocket>
#include <QTcpServer>
#include <QTcpSocket>
#include <QThread>
#include <QTimer>
#include <QWebSocket>
#include <QWebSocketServer>

#include <algorithm>
#include <atomic>
#include <mutex>
#include <stdexcept>

namespace Tessel {

namespace {

/// One end of a link over a WebSocket. Everything that touches the socket runs on the socket's thread;
/// `send` and `close` from other threads are posted there.
class WebSocketLink final : public MessageLink, public std::enable_shared_from_this<WebSocketLink> {
public:
    WebSocketLink(QWebSocket* socket, folly::Executor::KeepAlive<> executor,
                  WebSocketTransport::Limits limits)
        : m_socket(socket), m_executor(std::move(executor)), m_limits(limits),
          m_peer(QStringLiteral("%1:%2").arg(socket->peerAddress().toString()).arg(socket->peerPort())) {}

    ~WebSocketLink() override {
        QObject::disconnect(m_socket, nullptr, nullptr, nullptr);
        // The socket goes on its own thread, whichever thread lets go of the link.
        QWebSocket* const socket = m_socket;
        QMetaObject::invokeMethod(
            socket,
            [socket] {
                socket->abort();
                socket->deleteLater();
            },
            Qt::AutoConnection);
    }

    /// Hears the socket; called once, right after the link is made.
    void start() {
        std::weak_ptr<WebSocketLink> const weak = weak_from_this();
        m_socket->setParent(nullptr);
        m_socket->setMaxAllowedIncomingMessageSize(static_cast<quint64>(m_limits.maximumFrameSize));
        m_socket->setMaxAllowedIncomingFrameSize(static_cast<quint64>(m_limits.maximumFrameSize));
        m_heard.start();
        QObject::connect(m_socket, &QWebSocket::binaryMessageReceived, m_socket,
                         [weak](QByteArray const& frame) {
                             if (auto const link = weak.lock()) {
                                 link->received(frame);
                             }
                         });
        QObject::connect(m_socket, &QWebSocket::textMessageReceived, m_socket, [weak](QString const&) {
            if (auto const link = weak.lock()) {
                link->closeFor(QStringLiteral("a text message, where only frames are spoken"));
            }
        });
        QObject::connect(m_socket, &QWebSocket::pong, m_socket, [weak](quint64, QByteArray const&) {
            if (auto const link = weak.lock()) {
                link->m_heard.restart();
            }
        });
        QObject::connect(m_socket, &QWebSocket::disconnected, m_socket, [weak] {
            if (auto const link = weak.lock()) {
                link->closed();
            }
        });
        auto* const heartbeat = new QTimer(m_socket);
        QObject::connect(heartbeat, &QTimer::timeout, m_socket, [weak] {
            if (auto const link = weak.lock()) {
                link->beat();
            }
        });
        heartbeat->start(m_limits.heartbeat);
    }

    void setHandlers(FrameHandler onFrame, CloseHandler onClosed) override {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_onFrame = std::move(onFrame);
        m_onClosed = std::move(onClosed);
    }

    void send(QByteArray frame) override {
        if (!m_open) {
            return;
        }
        onSocketThread([frame = std::move(frame)](WebSocketLink& link) {
            if (!link.m_open) {
                return;
            }
            if (link.m_socket->bytesToWrite() + frame.size() > link.m_limits.maximumQueuedBytes) {
                link.closeFor(QStringLiteral("it doesn't keep up: more than %1 bytes wait to be sent")
                                  .arg(link.m_limits.maximumQueuedBytes));
                return;
            }
            link.m_socket->sendBinaryMessage(frame);
        });
    }

    void close() override {
        m_closedHere = true;
        onSocketThread([](WebSocketLink& link) {
            link.m_socket->close();
            link.closed();
        });
    }

    bool isOpen() const override { return m_open; }

private:
    /// Runs `work` on the socket's thread: now when this is it, else posted there.
    void onSocketThread(std::function<void(WebSocketLink&)> work) {
        if (QThread::currentThread() == m_socket->thread()) {
            work(*this);
            return;
        }
        std::weak_ptr<WebSocketLink> const weak = weak_from_this();
        QMetaObject::invokeMethod(
            m_socket,
            [weak, work = std::move(work)] {
                if (auto const link = weak.lock()) {
                    work(*link);
                }
            },
            Qt::QueuedConnection);
    }

    void received(QByteArray const& frame) {
        m_heard.restart();
        std::weak_ptr<WebSocketLink> const weak = weak_from_this();
        m_executor->add([weak, frame] {
            auto const link = weak.lock();
            if (!link) {
                return;
            }
            FrameHandler handler;
            {
                std::lock_guard<std::mutex> lock(link->m_mutex);
                handler = link->m_onFrame;
            }
            // A frame that arrived before the other end closed still counts; after this end closed, none.
            if (handler && !link->m_closedHere) {
                handler(frame);
            }
        });
    }

    void beat() {
        if (m_heard.elapsed() > m_limits.idleTimeout.count()) {
            closeFor(QStringLiteral("nothing heard for %1 ms").arg(m_heard.elapsed()));
            return;
        }
        m_socket->ping();
    }

    void closeFor(QString const& reason) {
        m_closedHere = true;
        Cobalt::Trace::warning("WebSocketTransport # Closing the link with %s: %s", qUtf8Printable(m_peer),
                               qUtf8Printable(reason));
        m_socket->close(QWebSocketProtocol::CloseCodePolicyViolated, reason);
        closed();
    }

    /// Runs the close handler once, on the executor, after the frames that arrived before.
    void closed() {
        if (!m_open.exchange(false)) {
            return;
        }
        CloseHandler handler;
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            handler = std::move(m_onClosed);
        }
        std::weak_ptr<WebSocketLink> const weak = weak_from_this();
        m_executor->add([weak, handler = std::move(handler)] {
            if (auto const link = weak.lock()) {
                std::lock_guard<std::mutex> lock(link->m_mutex);
                link->m_onFrame = nullptr;
            }
            if (handler) {
                handler();
            }
        });
    }

    QWebSocket* m_socket;
    folly::Executor::KeepAlive<> m_executor;
    WebSocketTransport::Limits m_limits;
    QString m_peer;
    std::atomic<bool> m_open{true};
    /// This end closed the link (rather than the other): frames that still come in are dropped.
    std::atomic<bool> m_closedHere{false};
    QElapsedTimer m_heard;
    std::mutex m_mutex;
    FrameHandler m_onFrame;
    CloseHandler m_onClosed;
};

/// Takes TCP connections and speaks TLS on each before it is handed on.
class TlsTcpServer final : public QTcpServer {
public:
    explicit TlsTcpServer(QSslConfiguration configuration) : m_configuration(std::move(configuration)) {}

protected:
    void incomingConnection(qintptr descriptor) override {
        auto* const socket = new QSslSocket(this);
        if (!socket->setSocketDescriptor(descriptor)) {
            delete socket;
            return;
        }
        QObject::connect(socket, QOverload<QList<QSslError> const&>::of(&QSslSocket::sslErrors), socket,
                         [socket](QList<QSslError> const& errors) {
                             Cobalt::Trace::warning("WebSocketTransport # TLS with %s failed: %s",
                                                    qUtf8Printable(socket->peerAddress().toString()),
                                                    qUtf8Printable(errors.value(0).errorString()));
                         });
        socket->setSslConfiguration(m_configuration);
        socket->startServerEncryption();
        addPendingConnection(socket);
    }

private:
    QSslConfiguration m_configuration;
};

std::unique_ptr<QTcpServer> makeTcpServer(WebSocketTls const& tls) {
    if (!tls.isServing()) {
        return std::make_unique<QTcpServer>();
    }
    QSslConfiguration configuration = QSslConfiguration::defaultConfiguration();
    configuration.setLocalCertificateChain(tls.certificateChain);
    configuration.setPrivateKey(tls.privateKey);
    configuration.setPeerVerifyMode(QSslSocket::VerifyNone);
    return std::make_unique<TlsTcpServer>(configuration);
}

bool readFile(QString const& path, QByteArray& contents, QString& error) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        error = QStringLiteral("Can't read '%1': %2").arg(path, file.errorString());
        return false;
    }
    contents = file.readAll();
    return true;
}

} // namespace

bool WebSocketTls::readServing(QString const& certificateFile, QString const& keyFile, WebSocketTls& tls,
                               QString& error) {
    QByteArray certificates;
    QByteArray key;
    if (!readFile(certificateFile, certificates, error) || !readFile(keyFile, key, error)) {
        return false;
    }
    tls.certificateChain = QSslCertificate::fromData(certificates, QSsl::Pem);
    // The key is RSA or EC; whichever reads.
    tls.privateKey = QSslKey(key, QSsl::Rsa, QSsl::Pem);
    if (tls.privateKey.isNull()) {
        tls.privateKey = QSslKey(key, QSsl::Ec, QSsl::Pem);
    }
    if (tls.certificateChain.isEmpty() || tls.privateKey.isNull()) {
        error = tls.certificateChain.isEmpty()
                    ? QStringLiteral("'%1' holds no certificate").arg(certificateFile)
                    : QStringLiteral("'%1' holds no private key").arg(keyFile);
        return false;
    }
    return true;
}

bool WebSocketTls::readTrusted(QString const& file, WebSocketTls& tls, QString& error) {
    QByteArray certificates;
    if (!readFile(file, certificates, error)) {
        return false;
    }
    tls.trustedAuthorities += QSslCertificate::fromData(certificates, QSsl::Pem);
    if (tls.trustedAuthorities.isEmpty()) {
        error = QStringLiteral("'%1' holds no certificate").arg(file);
        return false;
    }
    return true;
}

std::shared_ptr<MessageLink> WebSocketTransport::adopt(QWebSocket* socket,
                                                       folly::Executor::KeepAlive<> executor, Limits limits) {
    auto link = std::make_shared<WebSocketLink>(socket, std::move(executor), limits);
    link->start();
    return link;
}

folly::Future<std::shared_ptr<MessageLink>> WebSocketTransport::connect(QUrl const& url,
                                                                        folly::Executor::KeepAlive<> executor,
                                                                        Limits limits,
                                                                        WebSocketTls const& tls) {
    auto* const socket = new QWebSocket();
    if (!tls.trustedAuthorities.isEmpty()) {
        QSslConfiguration configuration = QSslConfiguration::defaultConfiguration();
        configuration.setCaCertificates(configuration.caCertificates() + tls.trustedAuthorities);
        socket->setSslConfiguration(configuration);
    }
    auto promise = std::make_shared<folly::Promise<std::shared_ptr<MessageLink>>>();
    auto future = promise->getFuture();
    QObject::connect(socket, &QWebSocket::connected, socket, [socket, promise, executor, limits] {
        QObject::disconnect(socket, nullptr, nullptr, nullptr);
        promise->setValue(adopt(socket, executor, limits));
    });
    QObject::connect(
        socket, QOverload<QAbstractSocket::SocketError>::of(&QWebSocket::error), socket,
        [socket, promise, url](QAbstractSocket::SocketError) {
            QString const reason = socket->errorString();
            QObject::disconnect(socket, nullptr, nullptr, nullptr);
            socket->deleteLater();
            promise->setException(std::runtime_error(
                QStringLiteral("Can't connect to %1: %2").arg(url.toString(), reason).toStdString()));
        });
    socket->open(url);
    return future;
}

std::unique_ptr<WebSocketListener>
WebSocketListener::listen(QHostAddress const& address, quint16 port, Accept accept,
                          folly::Executor::KeepAlive<> executor, QString& error,
                          WebSocketTransport::Limits limits, WebSocketTls const& tls) {
    std::unique_ptr<WebSocketListener> listener(new WebSocketListener());
    listener->m_server =
        std::make_unique<QWebSocketServer>(QStringLiteral("tessel"), QWebSocketServer::NonSecureMode);
    QWebSocketServer* const server = listener->m_server.get();
    // The server takes the TCP connections itself, to send small frames at once instead of gathering them,
    // and to speak TLS on them before the WebSocket handshake.
    listener->m_tcp = makeTcpServer(tls);
    QTcpServer* const tcp = listener->m_tcp.get();
    if (!tcp->listen(address, port)) {
        error = QStringLiteral("Can't listen on %1:%2: %3")
                    .arg(address.toString())
                    .arg(port)
                    .arg(tcp->errorString());
        return nullptr;
    }
    QObject::connect(tcp, &QTcpServer::newConnection, server, [tcp, server] {
        while (QTcpSocket* const socket = tcp->nextPendingConnection()) {
            socket->setSocketOption(QAbstractSocket::LowDelayOption, 1);
            server->handleConnection(socket);
        }
    });
    WebSocketListener* const self = listener.get();
    QObject::connect(
        server, &QWebSocketServer::newConnection, server, [self, server, accept, executor, limits] {
            while (QWebSocket* const socket = server->nextPendingConnection()) {
                QString const address = socket->peerAddress().toString();
                QString const peer = QStringLiteral("%1:%2").arg(address).arg(socket->peerPort());
                if (!self->admits(address, limits.maximumLinksPerAddress)) {
                    Cobalt::Trace::warning(
                        "WebSocketTransport # Refused a connection from %s: %d links from there are open",
                        qUtf8Printable(peer), limits.maximumLinksPerAddress);
                    socket->close(QWebSocketProtocol::CloseCodePolicyViolated,
                                  QStringLiteral("too many connections"));
                    socket->deleteLater();
                    continue;
                }
                auto link = WebSocketTransport::adopt(socket, executor, limits);
                self->m_links[address].push_back(link);
                accept(std::move(link), peer);
            }
        });
    return listener;
}

WebSocketListener::~WebSocketListener() {
    // The WebSocket server holds connections the TCP server made: it goes first.
    m_server.reset();
}

bool WebSocketListener::admits(QString const& address, int maximum) {
    std::vector<std::weak_ptr<MessageLink>>& links = m_links[address];
    links.erase(std::remove_if(links.begin(), links.end(),
                               [](std::weak_ptr<MessageLink> const& link) {
                                   auto const open = link.lock();
                                   return !open || !open->isOpen();
                               }),
                links.end());
    return static_cast<int>(links.size()) < maximum;
}

quint16 WebSocketListener::port() const {
    return m_tcp->serverPort();
}

} // namespace Tessel
