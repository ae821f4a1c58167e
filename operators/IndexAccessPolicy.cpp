#include "operators/IndexAccessPolicy.hpp"

#include "index/CanvasDocument.hpp"
#include "index/ServerIndex.hpp"
#include "index/ServerIndexFolder.hpp"
#include "index/User.hpp"
#include "operators/ServerDirectory.hpp"
#include "platform/tessel/NodeTransaction.hpp"
#include "platform/tessel/ServerDocument.hpp"
#include "platform/tessel/ServerNode.hpp"
#include "platform/tessel/ServerToClientConnection.hpp"
#include "platform/tessel/TesselServer.hpp"
#include "platform/tessel/UserAccounts.hpp"

namespace Datamodel {

namespace {

bool grants(Tessel::Permission level, Tessel::Permission needed) {
    return level >= needed && level != Tessel::PERMISSION_NOBODY;
}

QString missing(Tessel::Permission needed, QByteArray const& what) {
    return QStringLiteral("no '%1' permission on %2")
        .arg(QString::fromUtf8(s_accessModes.name(needed)), QString::fromUtf8(what));
}

/// The nearest index node at or above `element`; null if none.
ServerIndexNode const* indexNodeAt(Basalt::Node const* element) {
    for (Basalt::Node const* node = element; node; node = node->host()) {
        if (auto const* const indexNode = dynamic_cast<ServerIndexNode const*>(node)) {
            return indexNode;
        }
    }
    return nullptr;
}

/// Whether `node` lies in the subtree of `top`.
bool liesIn(Tessel::ServerNode const* node, Tessel::ServerNode const* top) {
    for (; node && top; node = node->parent().get()) {
        if (node == top) {
            return true;
        }
    }
    return false;
}

bool isAccessAttribute(QByteArray const& name) {
    return name == QByteArrayLiteral("permission-overrides") || name == QByteArrayLiteral("owner");
}

/// The node an operation changes, or adds under.
QByteArray const& changedGuid(Tessel::Wire::Operation const& operation) {
    return operation.kind == Tessel::Wire::OperationKind::AddNode ? operation.parentGuid : operation.nodeGuid;
}

/// The first canvas record in the subtree of `node`, depth first, that `wanted` takes; null if none.
CanvasDocument* findRecord(Basalt::Node& node, std::function<bool(CanvasDocument&)> const& wanted) {
    auto* const record = dynamic_cast<CanvasDocument*>(&node);
    if (record && wanted(*record)) {
        return record;
    }
    for (auto const& entry : node.attributes()) {
        auto* const child = dynamic_cast<Tessel::Element*>(entry.second);
        if (CanvasDocument* const found = child ? findRecord(*child, wanted) : nullptr) {
            return found;
        }
    }
    return nullptr;
}

ServerIndexFolder* makeFolder(QByteArray const& id, QString const& name, int owner) {
    auto* folder = new ServerIndexFolder();
    folder->setName(id);
    folder->folderName = name;
    folder->owner = owner;
    return folder;
}

} // namespace

std::shared_ptr<IndexAccessPolicy> IndexAccessPolicy::create() {
    return std::shared_ptr<IndexAccessPolicy>(new IndexAccessPolicy());
}

folly::Future<folly::Unit> IndexAccessPolicy::start(std::shared_ptr<Tessel::TesselServer> const& server,
                                                    folly::Executor::KeepAlive<> executor,
                                                    std::shared_ptr<ServerDirectory const> const& directory) {
    m_server = server;
    m_executor = executor;
    std::weak_ptr<IndexAccessPolicy> const weak = weak_from_this();
    auto link = server->connectInProcess(executor, Tessel::TesselServer::Trust::Trusted);
    return Tessel::ClientToServerConnection::connect(std::move(link),
                                                     {QStringLiteral("server"), QStringLiteral("server"), 0},
                                                     executor, server->sharedTypeRegistry())
        .via(executor)
        .thenValue([weak](std::shared_ptr<Tessel::ClientToServerConnection> connection) {
            std::shared_ptr<IndexAccessPolicy> const self = weak.lock();
            if (!self) {
                throw std::runtime_error("The access policy went");
            }
            self->m_connection = connection;
            return connection->openDocument(QByteArray(indexDocumentId), ServerIndex::documentType(),
                                            ServerIndex::elementFactory());
        })
        .thenValue([weak, directory](std::shared_ptr<Tessel::DocumentConnection> index) {
            std::shared_ptr<IndexAccessPolicy> const self = weak.lock();
            if (!self || !ServerIndex::root(*index->documentRoot())) {
                throw std::runtime_error("The server index can't be read");
            }
            self->m_index = index;
            self->addHomeFolders(*directory);
            ServerIndex& root = *self->index();
            auto const review = [weak] {
                if (std::shared_ptr<IndexAccessPolicy> const policy = weak.lock()) {
                    policy->scheduleReview();
                }
            };
            root.onCanvasAdded.addListener([review](CanvasDocument*) { review(); });
            root.onCanvasChanged.addListener([review](CanvasDocument*) { review(); });
            root.onCanvasReparented.addListener([review](CanvasDocument*, QByteArray const&) { review(); });
            root.onUserChanged.addListener([review](User*) { review(); });
            root.onGroupsChanged.addListener([review](QMap<int, QSet<int>> const*) { review(); });
        });
}

void IndexAccessPolicy::addHomeFolders(ServerDirectory const& directory) {
    ServerIndex& root = *index();
    Tessel::NodeTransaction transaction(*m_index);
    for (DirectoryUser const& entry : directory.users()) {
        QByteArray const id = QByteArray::number(entry.id);
        if (entry.id == static_cast<int>(Tessel::UserAccounts::guestId) || root.attribute(id)) {
            continue;
        }
        ServerIndexFolder* const home = makeFolder(id, entry.fullName, entry.id);
        transaction.addNode(*home, root);
        transaction.addNode(*makeFolder("trash." + id, QStringLiteral("Trash"), entry.id), *home);
    }
    transaction.commit();
}

void IndexAccessPolicy::scheduleReview() {
    if (m_reviewScheduled) {
        return;
    }
    m_reviewScheduled = true;
    std::weak_ptr<IndexAccessPolicy> const weak = weak_from_this();
    m_executor->add([weak] {
        std::shared_ptr<IndexAccessPolicy> const self = weak.lock();
        if (!self) {
            return;
        }
        self->m_reviewScheduled = false;
        if (std::shared_ptr<Tessel::TesselServer> const server = self->m_server.lock()) {
            self->takeAccessPasswords(*server);
            server->reviewAccess();
        }
    });
}

void IndexAccessPolicy::takeAccessPasswords(Tessel::TesselServer& server) {
    findRecord(*index(), [&](CanvasDocument& record) {
        QString const password = record.initialAccessPassword.value();
        // Taken once its canvas is listed; cleared from the index, where everybody reads it.
        if (!password.isEmpty() && server.setAccessPassword(record.canvasId(), password)) {
            record.initialAccessPassword = QString();
        }
        return false;
    });
}

ServerIndex* IndexAccessPolicy::index() const {
    return m_index ? ServerIndex::root(*m_index->documentRoot()) : nullptr;
}

User const* IndexAccessPolicy::user(unsigned userId) const {
    Basalt::Attribute const* const users =
        m_index ? m_index->transientRoot()->attribute(QByteArrayLiteral("user_container")) : nullptr;
    return users ? dynamic_cast<User const*>(users->attribute(QByteArray::number(userId))) : nullptr;
}

CanvasDocument const* IndexAccessPolicy::record(QByteArray const& canvasId) const {
    ServerIndex* const root = index();
    if (CanvasDocument const* const listed = root->findByCanvasId(canvasId)) {
        return listed;
    }
    // The index lists a record once its canvas is listed by the server, which its first open does a turn
    // after the open is asked for.
    return findRecord(*root, [&](CanvasDocument& candidate) { return candidate.canvasId() == canvasId; });
}

Tessel::Permission IndexAccessPolicy::levelOf(ServerIndexNode const& node, unsigned userId) const {
    return node.resolveAccess(user(userId));
}

bool IndexAccessPolicy::mayOpen(Tessel::ServerToClientConnection const& client,
                                Tessel::ServerDocument const& document, QString& error) const {
    return admits(client, document, Tessel::PERMISSION_VIEW, "canvas '" + document.id() + "'", error);
}

bool IndexAccessPolicy::mayChange(Tessel::ServerDocumentConnection const& connection,
                                  std::vector<Tessel::Wire::Operation> const& operations,
                                  QString& error) const {
    Tessel::ServerDocument const& document = connection.document();
    if (document.documentType() == ServerIndex::documentType()) {
        return mayOpen(connection.connection(), document, error) &&
               mayChangeIndex(connection, operations, error);
    }
    bool const persistent = !operations.empty() && document.touchesPersistentTree(operations);
    QByteArray const what =
        persistent ? "node '" + changedGuid(operations.front()) + "' of canvas '" + document.id() + "'"
                   : "canvas '" + document.id() + "'";
    return admits(connection.connection(), document,
                  persistent ? Tessel::PERMISSION_EDIT : Tessel::PERMISSION_VIEW, what, error);
}

bool IndexAccessPolicy::admits(Tessel::ServerToClientConnection const& client,
                               Tessel::ServerDocument const& document, Tessel::Permission needed,
                               QByteArray const& what, QString& error) const {
    ServerIndex* const root = index();
    if (!root) {
        error = QStringLiteral("The server is starting");
        return false;
    }
    User const* const member = user(client.userId());
    if (member && member->isBlocked.value()) {
        error = QStringLiteral("user %1 is blocked").arg(client.userId());
        return false;
    }
    CanvasDocument const* const canvas =
        document.documentType() == ServerIndex::documentType() ? nullptr : record(document.id());
    if (!canvas || grants(canvas->resolveAccess(member), needed)) {
        return true;
    }
    error = missing(needed, what);
    return false;
}

bool IndexAccessPolicy::mayChangeIndex(Tessel::ServerDocumentConnection const& connection,
                                       std::vector<Tessel::Wire::Operation> const& operations,
                                       QString& error) const {
    Tessel::ServerDocument const& document = connection.document();
    std::shared_ptr<Tessel::ServerNode> const own = connection.connectionNode();
    unsigned const userId = connection.connection().userId();
    QSet<QByteArray> added;
    for (Tessel::Wire::Operation const& operation : operations) {
        QByteArray const& guid = changedGuid(operation);
        std::shared_ptr<Tessel::ServerNode> const node = document.findNode(guid);
        bool const transient = node && liesIn(node.get(), document.transientRootNode().get());
        if (added.contains(guid)) {
            // Below a node of this same change, which was asked for already.
        } else if (transient && !liesIn(node.get(), own.get())) {
            error = QStringLiteral("node '%1' belongs to the server").arg(QString::fromUtf8(guid));
            return false;
        } else if (!transient && !mayChangeIndexNode(userId, operation, error)) {
            return false;
        }
        if (operation.kind == Tessel::Wire::OperationKind::AddNode) {
            added.insert(operation.nodeGuid);
        }
    }
    return true;
}

bool IndexAccessPolicy::mayChangeIndexNode(unsigned userId, Tessel::Wire::Operation const& operation,
                                           QString& error) const {
    switch (operation.kind) {
    case Tessel::Wire::OperationKind::AddNode:
        return holds(userId, operation.parentGuid, Tessel::PERMISSION_EDIT, error);
    case Tessel::Wire::OperationKind::DeleteNode:
        return holdsOnParent(userId, operation.nodeGuid, Tessel::PERMISSION_EDIT, error);
    case Tessel::Wire::OperationKind::MoveNode:
        return holdsOnParent(userId, operation.nodeGuid, Tessel::PERMISSION_EDIT, error) &&
               holds(userId, operation.parentGuid, Tessel::PERMISSION_EDIT, error);
    default:
        return holds(userId, operation.nodeGuid,
                     isAccessAttribute(operation.name) ? Tessel::PERMISSION_OWNER : Tessel::PERMISSION_EDIT,
                     error);
    }
}

bool IndexAccessPolicy::holds(unsigned userId, QByteArray const& guid, Tessel::Permission needed,
                              QString& error) const {
    Tessel::Element const* const element = m_index->findSharedElement(guid);
    ServerIndexNode const* const node = indexNodeAt(element);
    if (!element || !node || grants(levelOf(*node, userId), needed)) {
        return true;
    }
    error = missing(needed, "node '" + guid + "'");
    return false;
}

bool IndexAccessPolicy::holdsOnParent(unsigned userId, QByteArray const& guid, Tessel::Permission needed,
                                      QString& error) const {
    Tessel::Element const* const element = m_index->findSharedElement(guid);
    auto const* const parent = element ? dynamic_cast<Tessel::Element const*>(element->host()) : nullptr;
    return !parent || holds(userId, parent->guid(), needed, error);
}

} // namespace Datamodel
