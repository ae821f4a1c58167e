#include "platform/tessel/ServerDocument.hpp"

#include "platform/basalt/Attribute.hpp"
#include "platform/cobalt/Trace.hpp"
#include "platform/kelp/TypeRegistry.hpp"
#include "platform/tessel/ServerAttribute.hpp"
#include "platform/tessel/ServerNode.hpp"
#include "platform/tessel/ServerOperators.hpp"
#include "platform/tessel/ServerToClientConnection.hpp"
#include "platform/tessel/TesselServer.hpp"
#include "platform/tessel/Uuid.hpp"

#include <QPair>
#include <QSet>

#include <algorithm>
#include <exception>

namespace Tessel {

/// One step of the document: what it queues goes out when the outermost step ends.
class ServerDocument::Step {
public:
    explicit Step(ServerDocument& document) : m_document(document) { ++m_document.m_stepDepth; }
    ~Step() {
        if (--m_document.m_stepDepth == 0) {
            m_document.flush();
        }
    }
    Step(Step const&) = delete;
    Step& operator=(Step const&) = delete;

private:
    ServerDocument& m_document;
};

namespace {

bool isVector(unsigned typeCode) {
    return (typeCode & Kelp::TYPE_VECTOR_FLAG) != 0;
}

/// Whether `bytes` hold a value of the attribute: of its size, or, for a type whose values vary in size,
/// readable by its decoder, so that no client is handed what it can't read.
bool holdsValue(ServerNodeTypeDefinition::AttributeDefinition const& definition, QByteArray const& bytes,
                Kelp::TypeRegistry const& registry) {
    if (definition.valueSize == 0) {
        Kelp::TypeRegistry::TypeInfo const* const type = registry.findByCode(definition.typeCode);
        if (!type || !type->makeAttribute || !type->serializer || isVector(definition.typeCode)) {
            return true;
        }
        std::unique_ptr<Basalt::Attribute> const sample(type->makeAttribute());
        return type->serializer->deserialize(bytes, *sample);
    }
    auto const size = static_cast<unsigned>(bytes.size());
    return isVector(definition.typeCode) ? size % definition.valueSize == 0 : size == definition.valueSize;
}

/// The operation that gives a client the whole value of an attribute of the node `nodeGuid`.
Wire::Operation valueOperation(ServerAttribute const& attribute, QByteArray const& nodeGuid) {
    Wire::AttributeValue value = attribute.encodedValue();
    Wire::Operation operation;
    operation.kind =
        isVector(value.typeCode) ? Wire::OperationKind::SetVector : Wire::OperationKind::SetValue;
    operation.nodeGuid = nodeGuid;
    operation.name = std::move(value.name);
    operation.typeCode = value.typeCode;
    operation.bytes = std::move(value.bytes);
    return operation;
}

Wire::Operation deletion(QByteArray const& guid) {
    Wire::Operation operation;
    operation.kind = Wire::OperationKind::DeleteNode;
    operation.nodeGuid = guid;
    return operation;
}

/// Moves a node to where it lies now.
Wire::Operation moveBack(ServerNode const& node) {
    Wire::Operation operation;
    operation.kind = Wire::OperationKind::MoveNode;
    operation.nodeGuid = node.guid();
    operation.name = node.name();
    operation.parentGuid = node.parent()->guid();
    return operation;
}

/// The value of an attribute as the node holds it, or its clearing when the node holds none.
Wire::Operation currentValue(ServerNode const& node, QByteArray const& name) {
    if (std::shared_ptr<ServerAttribute> const attribute = node.childAttribute(name)) {
        return valueOperation(*attribute, node.guid());
    }
    Wire::Operation operation;
    operation.kind = Wire::OperationKind::ClearValue;
    operation.nodeGuid = node.guid();
    operation.name = name;
    return operation;
}

/// Whether a guid or name can key a node: not empty, and without a NUL character.
bool isUsableKey(QByteArray const& key) {
    return !key.isEmpty() && !key.contains('\0');
}

QString quoted(QByteArray const& text) {
    return QLatin1Char('\'') + QString::fromUtf8(text) + QLatin1Char('\'');
}

/// Follows a transaction through its checks: the nodes it adds and deletes and the length of the vectors it
/// edits, over the document as it stands.
class Simulation {
public:
    explicit Simulation(ServerDocument const& document) : m_document(document) {}

    /// The type key of a node as it will be at this point of the transaction; empty if there is none.
    QByteArray typeOf(QByteArray const& guid) const {
        if (guid.isEmpty() || m_deleted.contains(guid)) {
            return QByteArray();
        }
        auto const added = m_added.constFind(guid);
        if (added != m_added.constEnd()) {
            return *added;
        }
        std::shared_ptr<ServerNode> const node = m_document.findNode(guid);
        return node ? node->typeKey() : QByteArray();
    }
    bool isTaken(QByteArray const& guid) const { return m_added.contains(guid) || m_document.findNode(guid); }
    bool hasChildNamed(QByteArray const& parentGuid, QByteArray const& name) const {
        std::shared_ptr<ServerNode> const parent = m_document.findNode(parentGuid);
        std::shared_ptr<ServerNode> const child = parent ? parent->childNode(name) : nullptr;
        return (child && !m_deleted.contains(child->guid())) ||
               m_addedNames.contains(qMakePair(parentGuid, name));
    }
    void add(Wire::Operation const& operation) {
        m_added.insert(operation.nodeGuid, operation.typeKey);
        m_addedNames.insert(qMakePair(operation.parentGuid, operation.name));
    }
    void remove(QByteArray const& guid) { m_deleted.insert(guid); }
    /// A node that moves takes its new name under its new parent.
    void move(Wire::Operation const& operation) {
        m_addedNames.insert(qMakePair(operation.parentGuid, operation.name));
    }
    /// The present length of a vector attribute.
    unsigned& length(QByteArray const& guid, QByteArray const& name) {
        auto const key = qMakePair(guid, name);
        auto found = m_lengths.find(key);
        if (found == m_lengths.end()) {
            std::shared_ptr<ServerNode> const node = m_document.findNode(guid);
            std::shared_ptr<ServerAttribute> const attribute = node ? node->childAttribute(name) : nullptr;
            ServerAttributeVectorContainer* const vector = attribute ? attribute->vectorContainer() : nullptr;
            found = m_lengths.insert(key, vector ? vector->count() : 0);
        }
        return *found;
    }

private:
    ServerDocument const& m_document;
    QHash<QByteArray, QByteArray> m_added;
    QSet<QPair<QByteArray, QByteArray>> m_addedNames;
    QSet<QByteArray> m_deleted;
    QHash<QPair<QByteArray, QByteArray>, unsigned> m_lengths;
};

/// The root above `node`, or the node itself when it is one.
std::shared_ptr<ServerNode> topOf(std::shared_ptr<ServerNode> node) {
    while (node->parent()) {
        node = node->parent();
    }
    return node;
}

/// Whether `move` takes a node the document holds, under a parent it holds in the same tree and outside the
/// node's own subtree, to a name free there.
bool canMove(ServerDocument const& document, Wire::Operation const& move, Simulation const& simulation,
             QString& error) {
    std::shared_ptr<ServerNode> const node = document.findNode(move.nodeGuid);
    std::shared_ptr<ServerNode> const parent = document.findNode(move.parentGuid);
    if (!node || !parent || !node->parent() || simulation.typeOf(move.parentGuid).isEmpty()) {
        error = QStringLiteral("node %1 can't move under %2: a root moves nowhere, and both must be held")
                    .arg(quoted(move.nodeGuid), quoted(move.parentGuid));
        return false;
    }
    for (std::shared_ptr<ServerNode> above = parent; above; above = above->parent()) {
        if (above == node) {
            error = QStringLiteral("node %1 can't move into its own subtree").arg(quoted(move.nodeGuid));
            return false;
        }
    }
    if (topOf(parent) != topOf(node)) {
        error = QStringLiteral("node %1 can't move to the other tree").arg(quoted(move.nodeGuid));
        return false;
    }
    bool const sameNode = parent->childNode(move.name) == node;
    if (!isUsableKey(move.name) || (!sameNode && simulation.hasChildNamed(move.parentGuid, move.name))) {
        error = QStringLiteral("node %1 can't take the name %2 there")
                    .arg(quoted(move.nodeGuid), quoted(move.name));
        return false;
    }
    return true;
}

} // namespace

ServerDocument::ServerDocument(std::shared_ptr<TesselServer> const& server, QByteArray id,
                               std::shared_ptr<ServerDocumentType const> type)
    : m_server(server), m_id(std::move(id)), m_type(std::move(type)),
      m_registry(server->sharedTypeRegistry()), m_executor(server->executor()) {
    m_root = makeRoot(m_type->rootTypeKey);
    if (!m_type->transientRootTypeKey.isEmpty()) {
        m_transientRoot = makeRoot(m_type->transientRootTypeKey);
    }
}

ServerDocument::~ServerDocument() {
    // Operators may keep nodes past the document; those nodes then belong to no document.
    for (ServerNode* node : std::as_const(m_nodes)) {
        node->m_document = nullptr;
    }
}

std::shared_ptr<ServerNode> ServerDocument::makeRoot(QByteArray const& typeKey) {
    auto root = std::make_shared<ServerNode>(this);
    root->setGuid(generateUuid());
    root->setName(root->guid());
    root->setTypeKey(typeKey);
    root->setInDocument(true);
    return root;
}

std::shared_ptr<ServerNode> ServerDocument::findNode(QByteArray const& guid) const {
    ServerNode* const node = m_nodes.value(guid);
    return node ? node->shared_from_this() : nullptr;
}

void ServerDocument::index(ServerNode& node) {
    m_nodes.insert(node.guid(), &node);
}

void ServerDocument::unindex(ServerNode const& node) {
    auto const found = m_nodes.find(node.guid());
    if (found != m_nodes.end() && found.value() == &node) {
        m_nodes.erase(found);
    }
}

void ServerDocument::adoptRootGuid(QByteArray const& guid) {
    unindex(*m_root);
    m_root->setGuid(guid);
    m_root->setName(guid);
    index(*m_root);
}

int ServerDocument::persistentNodeCount() const {
    return nodeCount() - (m_transientRoot ? static_cast<int>(m_transientRoot->subtree().size()) : 0);
}

bool ServerDocument::touchesPersistentTree(std::vector<Wire::Operation> const& operations) const {
    for (Wire::Operation const& operation : operations) {
        std::shared_ptr<ServerNode> node = findNode(
            operation.kind == Wire::OperationKind::AddNode ? operation.parentGuid : operation.nodeGuid);
        while (node && node->parent()) {
            node = node->parent();
        }
        if (node && node == m_root) {
            return true;
        }
    }
    return false;
}

void ServerDocument::nodeDeleted(std::shared_ptr<ServerNode> node) {
    tellOperators([&](ServerDocumentOperator& op) { op.nodeDeleted(node); });
}

std::vector<ServerDocumentConnection*> ServerDocument::connections() const {
    std::vector<ServerDocumentConnection*> result;
    for (auto const& connection : m_connections) {
        result.push_back(connection.get());
    }
    return result;
}

void ServerDocument::tellOperators(std::function<void(ServerDocumentOperator&)> const& call) {
    auto const listeners = m_operators;
    for (auto const& op : listeners) {
        try {
            call(*op);
        } catch (std::exception const& failure) {
            Cobalt::Trace::error("ServerDocument::tellOperators # Operator of '%s' failed: %s",
                                 m_id.constData(), failure.what());
        }
    }
}

void ServerDocument::startOperators(
    std::vector<std::function<std::shared_ptr<ServerDocumentOperator>(ServerDocument&)>> const& factories) {
    Step step(*this);
    for (auto const& factory : factories) {
        if (std::shared_ptr<ServerDocumentOperator> op = factory(*this)) {
            m_operators.push_back(op);
            op->addedToDocument(shared_from_this());
        }
    }
    tellOperators([](ServerDocumentOperator& op) { op.rootNodeUpdated(); });
}

ServerDocumentConnection* ServerDocument::connectionOf(ServerToClientConnection const& connection) const {
    for (auto const& documentConnection : m_connections) {
        if (&documentConnection->connection() == &connection) {
            return documentConnection.get();
        }
    }
    return nullptr;
}

ServerDocumentConnection* ServerDocument::addConnection(ServerToClientConnection& connection,
                                                        QString& error) {
    Step step(*this);
    std::shared_ptr<TesselServer> const server = m_server.lock();
    for (auto const& op : m_operators) {
        if (!op->permitDocumentConnection(connection, server, error)) {
            return nullptr;
        }
    }
    auto documentConnection = std::make_unique<ServerDocumentConnection>(*this, connection);
    if (m_transientRoot && !m_type->connectionTypeKey.isEmpty()) {
        auto node = std::make_shared<ServerNode>(this);
        node->setGuid(generateUuid());
        node->setName(node->guid());
        node->setTypeKey(m_type->connectionTypeKey);
        connection.describe(*node);
        setActingConnection(nullptr);
        m_transientRoot->addChildNode(node, true);
        documentConnection->m_connectionNode = node;
    }
    flush();
    ServerDocumentConnection* const added = documentConnection.get();
    m_connections.push_back(std::move(documentConnection));

    Cobalt::BinaryData payload;
    payload.writeString(m_id);
    payload.writeString(m_root->guid());
    payload.writeString(m_root->typeKey());
    payload.writeString(m_transientRoot ? m_transientRoot->guid() : QByteArray());
    payload.writeString(added->m_connectionNode ? added->m_connectionNode->guid() : QByteArray());
    Wire::writeOperations(payload, snapshot());
    connection.send(Wire::MessageKind::DocumentOpened, payload);
    tellOperators([&](ServerDocumentOperator& op) { op.connectionAdded(added); });
    return added;
}

void ServerDocument::removeConnection(ServerToClientConnection& connection) {
    auto const found = std::find_if(m_connections.begin(), m_connections.end(), [&](auto const& candidate) {
        return &candidate->connection() == &connection;
    });
    if (found == m_connections.end()) {
        return;
    }
    Step step(*this);
    std::unique_ptr<ServerDocumentConnection> const leaving = std::move(*found);
    m_connections.erase(found);
    tellOperators([&](ServerDocumentOperator& op) { op.connectionRemoved(leaving.get()); });
    if (leaving->m_connectionNode && m_transientRoot) {
        setActingConnection(nullptr);
        m_transientRoot->removeChildNode(leaving->m_connectionNode->name());
    }
    flush();
}

std::vector<Wire::Operation> ServerDocument::snapshot() const {
    std::vector<Wire::Operation> operations;
    for (ServerNode const* root : {m_root.get(), m_transientRoot.get()}) {
        if (!root) {
            continue;
        }
        for (auto const& attribute : root->childAttributes()) {
            operations.push_back(valueOperation(*attribute, root->guid()));
        }
        for (auto const& child : root->childNodes()) {
            appendSubtree(*child.second, operations);
        }
    }
    return operations;
}

void ServerDocument::appendSubtree(ServerNode const& node, std::vector<Wire::Operation>& operations) const {
    Wire::Operation addition;
    addition.kind = Wire::OperationKind::AddNode;
    std::shared_ptr<ServerNode> const parent = node.parent();
    addition.parentGuid = parent ? parent->guid() : QByteArray();
    addition.nodeGuid = node.guid();
    addition.name = node.name();
    addition.typeKey = node.typeKey();
    for (auto const& attribute : node.childAttributes()) {
        addition.attributes.push_back(attribute->encodedValue());
    }
    operations.push_back(std::move(addition));
    for (auto const& child : node.childNodes()) {
        appendSubtree(*child.second, operations);
    }
}

void ServerDocument::publish(Wire::Operation const& operation) {
    Pending pending{m_actingConnection, Cobalt::BinaryData()};
    Wire::writeOperation(pending.encoded, operation);
    m_pending.push_back(std::move(pending));
    if (m_stepDepth == 0) {
        scheduleFlush();
    }
}

void ServerDocument::publishValue(ServerAttribute const& attribute) {
    publish(valueOperation(attribute, attribute.node()->guid()));
}

void ServerDocument::publishSubtree(ServerNode const& node) {
    std::vector<Wire::Operation> operations;
    appendSubtree(node, operations);
    for (Wire::Operation const& operation : operations) {
        publish(operation);
    }
}

void ServerDocument::scheduleFlush() {
    if (m_flushScheduled) {
        return;
    }
    m_flushScheduled = true;
    std::weak_ptr<ServerDocument> const weak = weak_from_this();
    m_executor->add([weak] {
        if (std::shared_ptr<ServerDocument> const document = weak.lock()) {
            document->m_flushScheduled = false;
            document->flush();
        }
    });
}

void ServerDocument::flush() {
    if (m_pending.empty()) {
        return;
    }
    std::vector<Pending> const pending = std::move(m_pending);
    m_pending.clear();
    for (auto const& connection : m_connections) {
        std::int32_t count = 0;
        for (Pending const& change : pending) {
            count += change.actor != connection.get() ? 1 : 0;
        }
        if (count == 0) {
            continue;
        }
        Cobalt::BinaryData payload;
        payload.writeString(m_id);
        payload.writeInt32(count);
        for (Pending const& change : pending) {
            if (change.actor != connection.get()) {
                payload.append(change.encoded);
            }
        }
        connection->connection().send(Wire::MessageKind::Changes, payload);
    }
}

bool ServerDocument::check(std::vector<Wire::Operation> const& operations, QString& error) const {
    Simulation simulation(*this);
    for (Wire::Operation const& operation : operations) {
        QByteArray const typeKey = simulation.typeOf(
            operation.kind == Wire::OperationKind::AddNode ? operation.parentGuid : operation.nodeGuid);
        if (typeKey.isEmpty()) {
            error = QStringLiteral("no node %1")
                        .arg(quoted(operation.kind == Wire::OperationKind::AddNode ? operation.parentGuid
                                                                                   : operation.nodeGuid));
            return false;
        }
        switch (operation.kind) {
        case Wire::OperationKind::AddNode: {
            ServerNodeTypeDefinition const* const type = nodeTypes().type(operation.typeKey);
            if (!type) {
                error = QStringLiteral("unknown type %1").arg(quoted(operation.typeKey));
                return false;
            }
            // A NUL character would end the key in the stored form.
            if (!isUsableKey(operation.nodeGuid) || !isUsableKey(operation.name) ||
                simulation.isTaken(operation.nodeGuid) ||
                simulation.hasChildNamed(operation.parentGuid, operation.name)) {
                error = QStringLiteral("node %1 named %2 exists already or has no usable guid or name")
                            .arg(quoted(operation.nodeGuid), quoted(operation.name));
                return false;
            }
            for (Wire::AttributeValue const& value : operation.attributes) {
                auto const* const definition = type->attributeTypeDefinition(value.name, value.typeCode);
                if (!definition || !holdsValue(*definition, value.bytes, typeRegistry())) {
                    error = QStringLiteral("type %1 has no attribute %2 of type code %3 and this size")
                                .arg(quoted(operation.typeKey), quoted(value.name))
                                .arg(value.typeCode);
                    return false;
                }
            }
            simulation.add(operation);
            break;
        }
        case Wire::OperationKind::DeleteNode:
            if (operation.nodeGuid == m_root->guid() ||
                (m_transientRoot && operation.nodeGuid == m_transientRoot->guid())) {
                error = QStringLiteral("a root can't be deleted");
                return false;
            }
            simulation.remove(operation.nodeGuid);
            break;
        case Wire::OperationKind::GuidChanged:
            error = QStringLiteral("only the server gives new guids");
            return false;
        case Wire::OperationKind::ClearValue:
            error = QStringLiteral("only the server clears values");
            return false;
        case Wire::OperationKind::MoveNode:
            if (!canMove(*this, operation, simulation, error)) {
                return false;
            }
            simulation.move(operation);
            break;
        default: {
            ServerNodeTypeDefinition const* const type = nodeTypes().type(typeKey);
            auto const* const definition = type ? type->attributeDefinition(operation.name) : nullptr;
            bool const wantsVector = operation.kind != Wire::OperationKind::SetValue;
            if (!definition || isVector(definition->typeCode) != wantsVector ||
                (operation.typeCode != definition->typeCode &&
                 operation.kind <= Wire::OperationKind::SetVector)) {
                error = QStringLiteral("node %1 of type %2 has no attribute %3 of this kind")
                            .arg(quoted(operation.nodeGuid), quoted(typeKey), quoted(operation.name));
                return false;
            }
            unsigned& length = simulation.length(operation.nodeGuid, operation.name);
            bool const singleValue = operation.kind == Wire::OperationKind::InsertElement ||
                                     operation.kind == Wire::OperationKind::ReplaceElement;
            unsigned const valueCount =
                definition->valueSize ? static_cast<unsigned>(operation.bytes.size()) / definition->valueSize
                                      : 0;
            bool valid = singleValue ? static_cast<unsigned>(operation.bytes.size()) == definition->valueSize
                                     : holdsValue(*definition, operation.bytes, typeRegistry());
            if (operation.kind == Wire::OperationKind::SetVector) {
                length = valueCount;
            } else if (operation.kind == Wire::OperationKind::InsertElement) {
                valid = valid && operation.index <= length;
                length += valid ? 1 : 0;
            } else if (operation.kind != Wire::OperationKind::SetValue) {
                valid = valid || operation.kind == Wire::OperationKind::RemoveElement;
                valid = valid && operation.index < length;
                length -= valid && operation.kind == Wire::OperationKind::RemoveElement ? 1 : 0;
            }
            if (!valid) {
                error = QStringLiteral("value of %1 on node %2 has a wrong size or index")
                            .arg(quoted(operation.name), quoted(operation.nodeGuid));
                return false;
            }
        }
        }
    }
    return true;
}

bool ServerDocument::applyTransaction(ServerDocumentConnection& acting,
                                      std::vector<Wire::Operation> const& operations, QString& error,
                                      std::vector<Wire::Operation>* rebase) {
    if (!check(operations, error)) {
        return false;
    }
    Step step(*this);
    QSet<QPair<QByteArray, QByteArray>> concurrent;
    for (Wire::Operation const& operation : operations) {
        setActingConnection(&acting);
        try {
            if (apply(operation)) {
                concurrent.insert(qMakePair(operation.nodeGuid, operation.name));
            }
        } catch (std::exception const& failure) {
            Cobalt::Trace::error("ServerDocument::applyTransaction # Change of '%s' failed: %s",
                                 m_id.constData(), failure.what());
        }
    }
    setActingConnection(nullptr);
    if (rebase) {
        appendLists(concurrent, *rebase);
    }
    return true;
}

bool ServerDocument::replay(std::vector<Wire::Operation> const& operations, QString& error) {
    if (!check(operations, error)) {
        return false;
    }
    Step step(*this);
    for (Wire::Operation const& operation : operations) {
        try {
            apply(operation);
        } catch (std::exception const& failure) {
            Cobalt::Trace::error("ServerDocument::replay # Change of '%s' failed: %s", m_id.constData(),
                                 failure.what());
        }
    }
    return true;
}

void ServerDocument::noteApplied(QByteArray const& sessionKey, std::int64_t transaction) {
    if (sessionKey.isEmpty()) {
        return;
    }
    m_appliedOrder.emplace_back(sessionKey, transaction);
    m_applied.insert(m_appliedOrder.back());
    if (m_appliedOrder.size() > rememberedTransactions) {
        m_applied.remove(m_appliedOrder.front());
        m_appliedOrder.pop_front();
    }
}

std::vector<std::int64_t> ServerDocument::appliedOf(QByteArray const& sessionKey,
                                                    std::vector<std::int64_t> const& transactions) const {
    std::vector<std::int64_t> applied;
    for (std::int64_t const transaction : transactions) {
        if (m_applied.contains(qMakePair(sessionKey, transaction))) {
            applied.push_back(transaction);
        }
    }
    return applied;
}

std::vector<Wire::Operation>
ServerDocument::restoreOperations(std::vector<Wire::Operation> const& operations) const {
    std::vector<Wire::Operation> restore;
    QSet<QPair<QByteArray, QByteArray>> values;
    QSet<QByteArray> nodes;
    // Backwards, so that a node the transaction added goes before the parent it was added to is restored.
    for (auto operation = operations.rbegin(); operation != operations.rend(); ++operation) {
        std::shared_ptr<ServerNode> const node = findNode(operation->nodeGuid);
        switch (operation->kind) {
        case Wire::OperationKind::AddNode:
            if (!node) {
                restore.push_back(deletion(operation->nodeGuid));
            }
            break;
        case Wire::OperationKind::DeleteNode:
            if (node && !nodes.contains(operation->nodeGuid)) {
                std::size_t const first = restore.size();
                appendSubtree(*node, restore);
                for (std::size_t added = first; added < restore.size(); ++added) {
                    nodes.insert(restore[added].nodeGuid);
                }
            }
            break;
        case Wire::OperationKind::MoveNode:
            if (node && node->parent() && !nodes.contains(operation->nodeGuid)) {
                restore.push_back(moveBack(*node));
                nodes.insert(operation->nodeGuid);
            }
            break;
        case Wire::OperationKind::GuidChanged:
        case Wire::OperationKind::ClearValue:
            break;
        default:
            if (node && !values.contains(qMakePair(operation->nodeGuid, operation->name))) {
                restore.push_back(currentValue(*node, operation->name));
                values.insert(qMakePair(operation->nodeGuid, operation->name));
            }
            break;
        }
    }
    return restore;
}

void ServerDocument::appendLists(QSet<QPair<QByteArray, QByteArray>> const& keys,
                                 std::vector<Wire::Operation>& lists) const {
    for (auto const& key : keys) {
        std::shared_ptr<ServerNode> const node = findNode(key.first);
        std::shared_ptr<ServerAttribute> const list = node ? node->childAttribute(key.second) : nullptr;
        if (list && list->vectorContainer()) {
            lists.push_back(valueOperation(*list, key.first));
        }
    }
}

bool ServerDocument::apply(Wire::Operation const& operation) {
    if (operation.kind == Wire::OperationKind::AddNode) {
        auto node = std::make_shared<ServerNode>(this);
        node->setGuid(operation.nodeGuid);
        node->setName(operation.name);
        node->setTypeKey(operation.typeKey);
        for (Wire::AttributeValue const& value : operation.attributes) {
            if (isVector(value.typeCode)) {
                unsigned const size =
                    nodeTypes().type(operation.typeKey)->attributeDefinition(value.name)->valueSize;
                node->addChildAttribute(std::make_shared<ServerAttributeVectorContainer>(
                                            this, value.name, value.bytes,
                                            size ? static_cast<unsigned>(value.bytes.size()) / size : 0,
                                            value.typeCode),
                                        false);
            } else {
                node->addChildAttribute(
                    std::make_shared<ServerAttributeSimple>(this, value.name, value.typeCode, value.bytes),
                    false);
            }
        }
        findNode(operation.parentGuid)->addChildNode(node, true);
        return false;
    }
    std::shared_ptr<ServerNode> const node = findNode(operation.nodeGuid);
    if (operation.kind == Wire::OperationKind::DeleteNode) {
        node->parent()->removeChildNode(node->name());
        return false;
    }
    if (operation.kind == Wire::OperationKind::MoveNode) {
        node->moveTo(*findNode(operation.parentGuid), operation.name);
        return false;
    }
    std::shared_ptr<ServerAttribute> attribute = node->childAttribute(operation.name);
    if (operation.kind == Wire::OperationKind::SetValue) {
        if (ServerAttributeSimple* const simple = attribute ? attribute->simpleAttribute() : nullptr) {
            simple->setEncoded(operation.bytes);
            return false;
        }
        auto const created = std::make_shared<ServerAttributeSimple>(this, operation.name, operation.typeCode,
                                                                     operation.bytes);
        node->addChildAttribute(created, true);
        // A client's first value of an attribute is a set like any later one, to the operators that attached
        // to the attribute as it arrived.
        auto const listeners = static_cast<ServerAttribute const&>(*created).operators();
        for (auto const& op : listeners) {
            op->valueSetSimple(*created);
        }
        return false;
    }
    auto const* const definition = nodeTypes().type(node->typeKey())->attributeDefinition(operation.name);
    unsigned const size = std::max(definition->valueSize, 1u);
    unsigned const count = static_cast<unsigned>(operation.bytes.size()) / size;
    ServerAttributeVectorContainer* vector = attribute ? attribute->vectorContainer() : nullptr;
    // A list the server didn't hold, or that another site changed last, may differ from the writer's.
    bool const concurrent =
        operation.kind != Wire::OperationKind::SetVector &&
        (!vector || vector->lastWriter() != m_actingConnection->connection().connectionId());
    if (!vector) {
        // A list the node doesn't hold yet arrives whole, or starts empty for a single-value edit.
        bool const whole = operation.kind == Wire::OperationKind::SetVector;
        auto created = std::make_shared<ServerAttributeVectorContainer>(
            this, operation.name, whole ? operation.bytes : QByteArray(), whole ? count : 0,
            definition->typeCode);
        node->addChildAttribute(created, true);
        if (whole) {
            return false;
        }
        vector = created.get();
    }
    switch (operation.kind) {
    case Wire::OperationKind::SetVector:
        vector->setValues(operation.bytes, count, 0);
        break;
    case Wire::OperationKind::InsertElement:
        vector->insertAt(operation.index, operation.bytes);
        break;
    case Wire::OperationKind::RemoveElement:
        vector->removeAt(operation.index);
        break;
    case Wire::OperationKind::ReplaceElement:
        vector->replaceAt(operation.index, operation.bytes);
        break;
    default:
        break;
    }
    return concurrent;
}

} // namespace Tessel
