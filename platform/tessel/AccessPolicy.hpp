#pragma once

#include "platform/tessel/WireFormat.hpp"

#include <QString>

#include <vector>

namespace Tessel {

class ServerDocument;
class ServerDocumentConnection;
class ServerToClientConnection;

/// What a client may do on a server, asked by the server on its own thread: before the client opens a
/// document, before each change it makes, and again for every open document when the server is told that
/// access changed (`TesselServer::reviewAccess`). Connections the server trusts are never asked.
class AccessPolicy {
public:
    virtual ~AccessPolicy() = default;

    /// Whether `client` may open (or keep open) `document`; when not, the reason in `error`.
    virtual bool mayOpen(ServerToClientConnection const& client, ServerDocument const& document,
                         QString& error) const = 0;
    /// Whether the client of `connection` may make `operations` in the document it has open; when not, the
    /// reason in `error`, naming the node and the permission missing.
    virtual bool mayChange(ServerDocumentConnection const& connection,
                           std::vector<Wire::Operation> const& operations, QString& error) const = 0;
};

} // namespace Tessel
