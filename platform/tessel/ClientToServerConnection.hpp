#pragma once

#include "platform/cobalt/BinaryData.hpp"
#include "platform/cobalt/TimeStamp.hpp"
#include "platform/cobalt/VersionString.hpp"
#include "platform/tessel/WireFormat.hpp"

#include "folly/Executor.h"
#include "folly/futures/Future.h"

#include <QByteArray>
#include <QString>

#include <cstdint>
#include <map>
#include <memory>
#include <vector>

namespace Kelp {
class TypeRegistry;
}

namespace Tessel {

class ClientAssets;
class ConnectionManager;
class DocumentConnection;
class Documents;
class ElementFactory;
class MessageLink;

/// What a client asks the server about when it opens a document again after its link went
/// (`DocumentConnection::resume`): the session of the lost opening and its transactions never answered.
struct DocumentResume {
    QByteArray sessionKey;
    std::vector<std::int64_t> unanswered;
};

/// What a client says when it opens a document, besides which.
struct OpenOptions {
    /// Of the same document opened before a lost link: see `DocumentResume`.
    DocumentResume resume = DocumentResume();
    /// The document's access password, for a document that has one.
    QString accessPassword = QString();
};

/// A client's link to one server, with what the server announced when the client joined: its version, the
/// user this client acts for and the identifier of this connection. Server time is the local clock
/// corrected by the offset the server reported.
///
/// A live connection (`connect`) opens documents and carries their changes; one built from an announcement
/// alone links to nothing, for documents that live apart from a server. Used on the client's thread (the
/// executor given to `connect`).
class ClientToServerConnection : public std::enable_shared_from_this<ClientToServerConnection> {
public:
    /// What a server announces to a client that joins.
    struct Announcement {
        Cobalt::VersionString serverVersion;
        /// The user this client acts for: above 0 for a known user, 0 for none.
        unsigned userId = 0;
        /// This connection's number among the server's connections.
        unsigned connectionId = 0;
        /// Server time minus local time, in ticks of `Cobalt::TimeStamp`.
        std::int64_t serverTimeOffset = 0;
        /// What the server gave a client that signed in with a password, to sign in again without it.
        QByteArray signInToken = QByteArray();
    };

    /// Who a client says it is when it joins.
    struct Identity {
        QString installationName;
        QString userName;
        /// The user to act for; 0 for none.
        unsigned userId = 0;
        /// The user's password, for a server whose users sign in; empty for none.
        QString password = QString();
        /// In place of the password: a token the server gave this user at an earlier sign-in
        /// (`signInToken`).
        QByteArray token = QByteArray();
    };

    /// A connection that links to nothing. `idleExecutor` runs work when the client has nothing else to do;
    /// it must outlive the connection (null when nothing is run there).
    ClientToServerConnection(Announcement announcement, folly::Executor* idleExecutor);
    ~ClientToServerConnection();
    ClientToServerConnection(ClientToServerConnection const&) = delete;
    ClientToServerConnection& operator=(ClientToServerConnection const&) = delete;

    /// Joins a server over `link`: greets it and completes with the connection once the server announced
    /// itself. Frames are handled on `executor`, the client's thread, which is also the idle executor and
    /// must outlive the connection. `registry` encodes values (it must know every attribute type of the
    /// documents). `manager` holds the client's services, such as its asset storage; null gives one with
    /// none. Fails with "Connection lost" if the link closes first.
    static folly::Future<std::shared_ptr<ClientToServerConnection>>
    connect(std::shared_ptr<MessageLink> link, Identity identity, folly::Executor::KeepAlive<> executor,
            std::shared_ptr<Kelp::TypeRegistry const> registry,
            std::shared_ptr<ConnectionManager> manager = nullptr);

    Cobalt::VersionString const& serverVersion() const { return m_announcement.serverVersion; }
    /// The user this client acts for; 0 when the server named none.
    unsigned userId() const { return m_announcement.userId; }
    /// The token the server gave this client for signing in again (`Identity::token`) until it expires;
    /// empty when it gave none (the client signed in without a password).
    QByteArray const& signInToken() const { return m_announcement.signInToken; }
    unsigned connectionId() const { return m_announcement.connectionId; }
    /// The server's clock now.
    Cobalt::TimeStamp currentServerTime() const;
    folly::Executor::KeepAlive<> idleExecutor() const { return folly::getKeepAliveToken(m_idleExecutor); }
    /// Encoders of values; null for a connection that links to nothing.
    Kelp::TypeRegistry const* typeRegistry() const { return m_registry.get(); }
    /// The documents the server holds, kept true by it as they come, change and go; empty for a connection
    /// that links to nothing. Lives as long as the connection.
    Documents* documents() const { return m_documentList.get(); }
    /// The client's services, such as its asset storage; never null.
    std::shared_ptr<ConnectionManager> connectionManager() const { return m_manager; }
    /// The contents this client publishes to the server and fetches from it.
    ClientAssets& assets() const { return *m_assets; }

    /// Opens the document `id` of type `type` on the server, building its elements with `factory`; completes
    /// once the whole current document arrived. Fails with the server's reason when it refuses, and with
    /// "Connection lost" when the link closes first or there is none. The caller keeps the connection alive
    /// until then; an open document keeps it alive after.
    ///
    /// With the `resume` of a document whose link went (`DocumentConnection::resume`), the server also says
    /// which of its unanswered transactions it had applied (`DocumentConnection::recoveredTransactions`). A
    /// document with an access password opens only with that password.
    folly::Future<std::shared_ptr<DocumentConnection>>
    openDocument(QByteArray const& id, QByteArray const& type, std::shared_ptr<ElementFactory> factory,
                 OpenOptions const& options = OpenOptions());
    /// Whether the link is up.
    bool isConnected() const;
    /// Closes the link: open documents stop sharing, and what waits for the server fails with "Connection
    /// lost".
    void disconnect();

    /// Sends a message to the server; nothing without a link.
    void send(Wire::MessageKind kind, Cobalt::BinaryData const& payload) const;

private:
    struct PendingOpen;

    void receive(QByteArray const& frame);
    bool handle(Wire::Frame& frame, QString& error);
    bool handleWelcome(Cobalt::BinaryData& payload);
    bool handleOpened(Cobalt::BinaryData& payload);
    void linkClosed();
    /// Asset transfers over this link, with the storage of the connection manager.
    std::unique_ptr<ClientAssets> makeAssets();

    Announcement m_announcement;
    folly::Executor* m_idleExecutor;
    std::shared_ptr<MessageLink> m_link;
    std::shared_ptr<Kelp::TypeRegistry const> m_registry;
    folly::Executor::KeepAlive<> m_executor;
    /// Waits for the server's announcement; null once it came.
    std::unique_ptr<folly::Promise<std::shared_ptr<ClientToServerConnection>>> m_welcome;
    std::shared_ptr<ClientToServerConnection> m_self;
    std::map<QByteArray, PendingOpen> m_pendingOpens;
    std::map<QByteArray, std::weak_ptr<DocumentConnection>> m_documents;
    std::unique_ptr<Documents> m_documentList;
    std::shared_ptr<ConnectionManager> m_manager;
    std::unique_ptr<ClientAssets> m_assets;
};

} // namespace Tessel
