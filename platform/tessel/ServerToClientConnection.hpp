#pragma once

#include "platform/tessel/WireFormat.hpp"

#include <QByteArray>
#include <QString>

#include <memory>

namespace Tessel {

class MessageLink;
class ServerNode;

/// The server's side of one client's link: who the client is and how to reach it. Made by the server when
/// a link arrives; gone when the link closes. Used on the server's executor.
class ServerToClientConnection {
public:
    ServerToClientConnection(std::shared_ptr<MessageLink> link, unsigned connectionId);
    ServerToClientConnection(ServerToClientConnection const&) = delete;
    ServerToClientConnection& operator=(ServerToClientConnection const&) = delete;
    ~ServerToClientConnection();

    unsigned connectionId() const { return m_connectionId; }
    /// The user the client acts for; 0 for none.
    unsigned userId() const { return m_userId; }
    QString const& userName() const { return m_userName; }
    QString const& installationName() const { return m_installationName; }
    /// Whether the client said who it is.
    bool isGreeted() const { return m_greeted; }
    /// Whether the server trusts the client (one of its own in this process): it signs in as whoever it
    /// says and is not asked the access policy.
    bool isTrusted() const { return m_trusted; }
    void setTrusted(bool trusted) { m_trusted = trusted; }
    /// Who the client says it is (its greeting).
    void greet(QString installationName, QString userName, unsigned userId);

    /// Sends a message to the client.
    void send(Wire::MessageKind kind, Cobalt::BinaryData const& payload) const;
    /// Fills a connection node of the transient tree with who this client is ("user-id", "user-name",
    /// "installation-name"), as far as the node's type has those attributes.
    void describe(ServerNode& node) const;
    /// A short text naming the connection in logs.
    QByteArray logName() const;
    /// Ends the link.
    void close();

private:
    std::shared_ptr<MessageLink> m_link;
    unsigned m_connectionId;
    unsigned m_userId = 0;
    QString m_userName;
    QString m_installationName;
    bool m_greeted = false;
    bool m_trusted = false;
};

} // namespace Tessel
