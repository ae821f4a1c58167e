#pragma once

#include "platform/tessel/AccessControl.hpp"
#include "platform/tessel/AccessPolicy.hpp"
#include "platform/tessel/ClientToServerConnection.hpp"
#include "platform/tessel/DocumentConnection.hpp"

#include "folly/Executor.h"
#include "folly/futures/Future.h"

#include <memory>

namespace Tessel {
class ServerNode;
class TesselServer;
} // namespace Tessel

namespace Datamodel {

class CanvasDocument;
class ServerDirectory;
class ServerIndex;
class ServerIndexNode;
class User;

/// Holds a server's clients to the permissions of its server index, as the index resolves them for each
/// user: "view" on a canvas to open it (link permission included), "edit" to change its persistent tree,
/// "owner" on an index node to change its "permission-overrides" or "owner", "edit" on the folder a node
/// is added to, deleted from, or moved out of and into, and "edit" on a node for its other values. A user
/// who is blocked may open nothing. A canvas that the index doesn't list is open to every signed-in user.
/// Only its own node of an index's transient tree is a client's to change; the rest is the server's.
///
/// The policy reads the index through a client of its own in the server's process (`start`), so that the
/// index's own logic decides; a change of the index reaches it one turn of the server's thread after the
/// server applied it, and then every open document is reviewed (`Tessel::TesselServer::reviewAccess`).
/// "nobody" grants nothing. A record's "initial-access-password", once its canvas is listed, becomes the
/// canvas's access password (`Tessel::TesselServer::setAccessPassword`) and is cleared from the index.
class IndexAccessPolicy : public Tessel::AccessPolicy,
                          public std::enable_shared_from_this<IndexAccessPolicy> {
public:
    /// The id of the server's index document.
    static constexpr char indexDocumentId[] = "server-index";

    static std::shared_ptr<IndexAccessPolicy> create();

    /// Opens the index of `server` as the server's trusted client on `executor` (the server's thread), gives
    /// each user of `directory` but the guest a home folder that the user owns, named by the user's id and
    /// holding the user's trash, and from then on reviews the server's clients as the index changes.
    /// Completes once the index is open and the home folders are in it. Until then no client opens
    /// anything.
    folly::Future<folly::Unit> start(std::shared_ptr<Tessel::TesselServer> const& server,
                                     folly::Executor::KeepAlive<> executor,
                                     std::shared_ptr<ServerDirectory const> const& directory);

    bool mayOpen(Tessel::ServerToClientConnection const& client, Tessel::ServerDocument const& document,
                 QString& error) const override;
    bool mayChange(Tessel::ServerDocumentConnection const& connection,
                   std::vector<Tessel::Wire::Operation> const& operations, QString& error) const override;

    /// The level of user `userId` on an index node, as the index resolves it.
    Tessel::Permission levelOf(ServerIndexNode const& node, unsigned userId) const;

private:
    IndexAccessPolicy() = default;
    ServerIndex* index() const;
    User const* user(unsigned userId) const;
    /// The index's record of the canvas `canvasId`; null when the index has none.
    CanvasDocument const* record(QByteArray const& canvasId) const;
    /// Whether the user holds `needed` on the node (or its nearest index node) of `guid`; the reason in
    /// `error` when not. A node the index doesn't have yet (added earlier in the same change) is granted:
    /// its parent was asked when it was added.
    bool holds(unsigned userId, QByteArray const& guid, Tessel::Permission needed, QString& error) const;
    /// As `holds`, for the folder that holds the node `guid` now.
    bool holdsOnParent(unsigned userId, QByteArray const& guid, Tessel::Permission needed,
                       QString& error) const;
    /// Whether `client` holds `needed` on the canvas of `document` (a blocked user nothing, a canvas the
    /// index doesn't list everything); when not, the reason in `error`, naming `what`.
    bool admits(Tessel::ServerToClientConnection const& client, Tessel::ServerDocument const& document,
                Tessel::Permission needed, QByteArray const& what, QString& error) const;
    bool mayChangeIndex(Tessel::ServerDocumentConnection const& connection,
                        std::vector<Tessel::Wire::Operation> const& operations, QString& error) const;
    bool mayChangeIndexNode(unsigned userId, Tessel::Wire::Operation const& operation, QString& error) const;
    void addHomeFolders(ServerDirectory const& directory);
    /// Reviews the server's clients once, after the changes of this turn.
    void scheduleReview();
    /// Gives each listed canvas the access password its record asks for ("initial-access-password"), and
    /// clears that from the record.
    void takeAccessPasswords(Tessel::TesselServer& server);

    std::weak_ptr<Tessel::TesselServer> m_server;
    folly::Executor::KeepAlive<> m_executor;
    std::shared_ptr<Tessel::ClientToServerConnection> m_connection;
    std::shared_ptr<Tessel::DocumentConnection> m_index;
    bool m_reviewScheduled = false;
};

} // namespace Datamodel
