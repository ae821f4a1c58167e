#pragma once

#include "platform/tessel/ServerDocumentNodeTypes.hpp"
#include "platform/tessel/WireFormat.hpp"

#include "folly/Executor.h"

#include <QByteArray>
#include <QHash>
#include <QPair>
#include <QSet>
#include <QString>

#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <vector>

namespace Kelp {
class TypeRegistry;
}

namespace Tessel {

class ElementFactory;
class ServerAttribute;
class ServerDocument;
class ServerDocumentOperator;
class ServerNode;
class ServerToClientConnection;
class TesselServer;

/// What a server knows of a document type.
struct ServerDocumentType {
    QByteArray name;
    std::shared_ptr<ElementFactory> factory;
    /// The type key of the root of a new document.
    QByteArray rootTypeKey;
    /// The type key of the transient root; empty when the type has no transient tree.
    QByteArray transientRootTypeKey;
    /// The type key of the node made in the transient tree for each client that joins; empty for none.
    QByteArray connectionTypeKey;
    ServerDocumentNodeTypes nodeTypes;
};

/// One client in one document: made when the client opens the document, gone when it leaves.
class ServerDocumentConnection {
public:
    ServerDocumentConnection(ServerDocument& document, ServerToClientConnection& connection)
        : m_document(document), m_connection(connection) {}

    ServerDocument& document() const { return m_document; }
    ServerToClientConnection& connection() const { return m_connection; }
    /// The node of this client in the transient tree; null when the document type has none.
    std::shared_ptr<ServerNode> connectionNode() const { return m_connectionNode; }
    /// What the client calls this opening of the document, so that after a lost link it can ask which of
    /// its transactions were applied; empty when it named none.
    QByteArray const& sessionKey() const { return m_sessionKey; }
    void setSessionKey(QByteArray key) { m_sessionKey = std::move(key); }

private:
    friend class ServerDocument;
    ServerDocument& m_document;
    ServerToClientConnection& m_connection;
    std::shared_ptr<ServerNode> m_connectionNode;
    QByteArray m_sessionKey;
};

/// A live document on the server: a persistent tree and a transient tree of `ServerNode`, the operators of
/// its type, and the clients that have it open.
///
/// It applies one change at a time on its executor. A client's change runs with that client as the acting
/// connection, and reaches every other client; a change made with no acting connection (an operator's own,
/// made with `setActingConnection(nullptr)`) reaches every client. The changes of one step go out together
/// when the step ends; changes made outside a step (a timer of an operator) go out on the next turn of the
/// executor.
class ServerDocument : public std::enable_shared_from_this<ServerDocument> {
public:
    ServerDocument(std::shared_ptr<TesselServer> const& server, QByteArray id,
                   std::shared_ptr<ServerDocumentType const> type);
    ~ServerDocument();

    QByteArray const& id() const { return m_id; }
    QByteArray const& documentType() const { return m_type->name; }
    ServerDocumentNodeTypes const& nodeTypes() const { return m_type->nodeTypes; }
    ServerDocumentType const& type() const { return *m_type; }
    Kelp::TypeRegistry const& typeRegistry() const { return *m_registry; }
    /// Null once the server is gone.
    std::shared_ptr<TesselServer> server() const { return m_server.lock(); }
    /// Where the document's work runs, and where work posted to run after the current change goes.
    folly::Executor::KeepAlive<> executor() const { return m_executor; }

    std::shared_ptr<ServerNode> rootNode() const { return m_root; }
    std::shared_ptr<ServerNode> transientRootNode() const { return m_transientRoot; }
    /// A node of either tree by guid; null if none.
    std::shared_ptr<ServerNode> findNode(QByteArray const& guid) const;
    /// Number of nodes in both trees.
    int nodeCount() const { return m_nodes.size(); }
    /// Number of nodes in the persistent tree, its root included.
    int persistentNodeCount() const;
    /// Whether any of the operations changes the persistent tree (as opposed to the transient one).
    bool touchesPersistentTree(std::vector<Wire::Operation> const& operations) const;

    /// The connection on whose behalf the current change runs; null for the server's own changes.
    ServerDocumentConnection* actingConnection() const { return m_actingConnection; }
    void setActingConnection(ServerDocumentConnection* connection) { m_actingConnection = connection; }
    /// Tells the operators that `node` was taken out of the document.
    void nodeDeleted(std::shared_ptr<ServerNode> node);
    /// Gives the root the guid of a stored root, while the document is filled from storage.
    void adoptRootGuid(QByteArray const& guid);

    std::vector<std::shared_ptr<ServerDocumentOperator>> const& operators() const { return m_operators; }
    std::vector<ServerDocumentConnection*> connections() const;

    // The platform's side.

    /// Makes the operators of the document's type and gives them the root. Called once, when it opens.
    void
    startOperators(std::vector<std::function<std::shared_ptr<ServerDocumentOperator>(ServerDocument&)>> const&
                       factories);
    /// Lets a client in: asks the operators, makes its node in the transient tree, sends it the document.
    /// Null, with the reason in `error`, when an operator refuses.
    ServerDocumentConnection* addConnection(ServerToClientConnection& connection, QString& error);
    /// Lets a client out: its node in the transient tree goes.
    void removeConnection(ServerToClientConnection& connection);
    /// The document connection of a client; null if it hasn't the document open.
    ServerDocumentConnection* connectionOf(ServerToClientConnection const& connection) const;
    /// Checks every operation of a client's transaction and, when all hold, applies them in order. False,
    /// changing nothing, with the reason in `error`, when one is refused.
    ///
    /// `rebase`, when given, receives the whole value (SetVector) of each list that the transaction edited
    /// value by value right after another site changed it: the client's edit rested on a list that may
    /// have lacked that change, and the client takes the server's list back before its later edits.
    bool applyTransaction(ServerDocumentConnection& acting, std::vector<Wire::Operation> const& operations,
                          QString& error, std::vector<Wire::Operation>* rebase = nullptr);
    /// Applies again a transaction that was applied once and journaled, before any client or operator has
    /// the document: checked as a client's would be, applied without an acting connection. False, changing
    /// nothing, with the reason in `error`, when the check refuses it.
    bool replay(std::vector<Wire::Operation> const& operations, QString& error);
    /// What a client whose transaction was refused applies to take it back: for each value it wrote, the
    /// value the document holds now (ClearValue when it holds none); each node it added deleted, each node
    /// it deleted added again with its subtree, each node it moved moved back.
    std::vector<Wire::Operation> restoreOperations(std::vector<Wire::Operation> const& operations) const;

    /// Remembers that the transaction `transaction` of the session `sessionKey` was applied, among the last
    /// `rememberedTransactions` of all sessions. An empty key is not remembered.
    void noteApplied(QByteArray const& sessionKey, std::int64_t transaction);
    /// Which of `transactions` of the session `sessionKey` were applied, as far as they are remembered.
    std::vector<std::int64_t> appliedOf(QByteArray const& sessionKey,
                                        std::vector<std::int64_t> const& transactions) const;
    static constexpr std::size_t rememberedTransactions = 65536;

    /// Queues a change for the clients, on behalf of the acting connection.
    void publish(Wire::Operation const& operation);
    /// Queues the value of an attribute that sits in the document.
    void publishValue(ServerAttribute const& attribute);
    /// Queues a node and everything below it.
    void publishSubtree(ServerNode const& node);
    /// Sends what was queued: to each client the changes it didn't make.
    void flush();
    /// Calls `call` on each operator; an operator that throws is logged and the others go on.
    void tellOperators(std::function<void(ServerDocumentOperator&)> const& call);
    void index(ServerNode& node);
    void unindex(ServerNode const& node);

private:
    class Step;
    struct Pending {
        ServerDocumentConnection* actor;
        Cobalt::BinaryData encoded;
    };

    std::shared_ptr<ServerNode> makeRoot(QByteArray const& typeKey);
    void appendSubtree(ServerNode const& node, std::vector<Wire::Operation>& operations) const;
    std::vector<Wire::Operation> snapshot() const;
    bool check(std::vector<Wire::Operation> const& operations, QString& error) const;
    /// Applies one checked operation; true when it edited one value of a list that another site changed
    /// last, or that the server didn't hold yet.
    bool apply(Wire::Operation const& operation);
    /// Appends the whole value of each list named by `keys` (node guid, attribute name) that exists.
    void appendLists(QSet<QPair<QByteArray, QByteArray>> const& keys,
                     std::vector<Wire::Operation>& lists) const;
    void scheduleFlush();

    std::weak_ptr<TesselServer> m_server;
    QByteArray m_id;
    std::shared_ptr<ServerDocumentType const> m_type;
    std::shared_ptr<Kelp::TypeRegistry const> m_registry;
    folly::Executor::KeepAlive<> m_executor;
    std::shared_ptr<ServerNode> m_root;
    std::shared_ptr<ServerNode> m_transientRoot;
    QHash<QByteArray, ServerNode*> m_nodes;
    std::vector<std::shared_ptr<ServerDocumentOperator>> m_operators;
    std::vector<std::unique_ptr<ServerDocumentConnection>> m_connections;
    ServerDocumentConnection* m_actingConnection = nullptr;
    std::vector<Pending> m_pending;
    /// The transactions applied lately, oldest first, and the same as a set.
    std::deque<QPair<QByteArray, std::int64_t>> m_appliedOrder;
    QSet<QPair<QByteArray, std::int64_t>> m_applied;
    int m_stepDepth = 0;
    bool m_flushScheduled = false;
};

} // namespace Tessel
