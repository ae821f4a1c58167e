#pragma once

#include "platform/tessel/MessageLink.hpp"

#include "folly/Executor.h"
#include "folly/futures/Future.h"

#include <QHostAddress>
#include <QList>
#include <QSslCertificate>
#include <QSslKey>
#include <QString>
#include <QUrl>

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <vector>

class QTcpServer;
class QWebSocket;
class QWebSocketServer;

namespace Tessel {

/// What one WebSocket link accepts and how it watches the other end.
struct WebSocketLimits {
    /// A message above this size is refused and the link closed.
    qint64 maximumFrameSize = 64 * 1024 * 1024;
    /// A link whose unsent bytes grow above this is closed: the other end doesn't keep up, and
    /// nobody waits for it.
    qint64 maximumQueuedBytes = 64 * 1024 * 1024;
    /// How often a ping goes out.
    std::chrono::milliseconds heartbeat{5000};
    /// A link that hears nothing (no frame, no pong) for this long is closed.
    std::chrono::milliseconds idleTimeout{30000};
    /// A listener refuses a connection from an address that holds this many open links already.
    int maximumLinksPerAddress = 256;
};

/// TLS of WebSocket links (wss://): a listener's certificate and key, and the authorities a client trusts
/// besides the system's. Empty: links without TLS (ws://).
struct WebSocketTls {
    QList<QSslCertificate> certificateChain;
    QSslKey privateKey;
    QList<QSslCertificate> trustedAuthorities;

    /// Whether a listener with this speaks TLS.
    bool isServing() const { return !privateKey.isNull() && !certificateChain.isEmpty(); }
    /// Reads a listener's certificate chain and private key from PEM files; false, with the reason in
    /// `error`, when either can't be read.
    static bool readServing(QString const& certificateFile, QString const& keyFile, WebSocketTls& tls,
                            QString& error);
    /// Reads authorities a client trusts from a PEM file; false, with the reason in `error`, when it holds
    /// none.
    static bool readTrusted(QString const& file, WebSocketTls& tls, QString& error);
};

/// Links over the network: frames of the wire format travel unchanged, one binary WebSocket message each.
/// The sockets live on the thread whose Qt event loop made them; the handlers of each link run on the
/// executor it was given.
class WebSocketTransport {
public:
    using Limits = WebSocketLimits;

    /// A link over an open socket, which it takes; frames for this end run on `executor`.
    static std::shared_ptr<MessageLink> adopt(QWebSocket* socket, folly::Executor::KeepAlive<> executor,
                                              Limits limits = WebSocketLimits());

    /// Connects to `url` ("ws://host:port", or "wss://host:port" over TLS, trusting the system's authorities
    /// and those of `tls`); completes with the link once the socket is open, or fails with the socket's
    /// reason (a certificate that isn't trusted among them). Call on a thread with a Qt event loop.
    static folly::Future<std::shared_ptr<MessageLink>> connect(QUrl const& url,
                                                               folly::Executor::KeepAlive<> executor,
                                                               Limits limits = WebSocketLimits(),
                                                               WebSocketTls const& tls = WebSocketTls());
};

/// Accepts WebSocket connections on an address and hands each as a link to `accept`.
class WebSocketListener {
public:
    using Accept = std::function<void(std::shared_ptr<MessageLink> link, QString const& peer)>;

    /// Listens on `address` and `port` (0: a free port), over TLS when `tls` serves; null, with the reason
    /// in `error`, when it can't. A peer whose TLS handshake fails is logged and dropped. Links run their
    /// handlers on `executor`. Call on a thread with a Qt event loop.
    static std::unique_ptr<WebSocketListener> listen(QHostAddress const& address, quint16 port, Accept accept,
                                                     folly::Executor::KeepAlive<> executor, QString& error,
                                                     WebSocketLimits limits = WebSocketLimits(),
                                                     WebSocketTls const& tls = WebSocketTls());
    ~WebSocketListener();

    /// The port it listens on.
    quint16 port() const;

private:
    WebSocketListener() = default;

    /// Whether `address` may open one more link; drops the links that closed.
    bool admits(QString const& address, int maximum);

    std::unique_ptr<QTcpServer> m_tcp;
    std::unique_ptr<QWebSocketServer> m_server;
    std::map<QString, std::vector<std::weak_ptr<MessageLink>>> m_links;
};

} // namespace Tessel
