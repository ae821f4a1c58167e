#include "platform/tessel/DocumentConnection.hpp"

#include "attributes/AttributeAsset.hpp"
#include "attributes/WeakAttributePtrT.hpp"
#include "platform/basalt/Attribute.hpp"
#include "platform/cobalt/Trace.hpp"
#include "platform/kelp/TypeRegistry.hpp"
#include "platform/tessel/ClientAssets.hpp"
#include "platform/tessel/ClientTransaction.hpp"
#include "platform/tessel/ElementFactory.hpp"
#include "platform/tessel/Uuid.hpp"

#include <stdexcept>

namespace Tessel {

namespace {

std::vector<Element*> childElements(Element const& element) {
    std::vector<Element*> children;
    for (Basalt::Node::Entry const& entry : element.attributes()) {
        if (auto* child = dynamic_cast<Element*>(entry.second)) {
            children.push_back(child);
        }
    }
    return children;
}

void initializeTree(Element& element, DocumentConnection& connection) {
    element.initialize(connection);
    // Collected first: an initialize hook may add or remove attributes of its element.
    for (Element* child : childElements(element)) {
        initializeTree(*child, connection);
    }
}

bool isVector(unsigned typeCode) {
    return (typeCode & Kelp::TYPE_VECTOR_FLAG) != 0;
}

folly::Future<folly::Unit> connectionLostFuture() {
    return folly::makeFuture<folly::Unit>(std::runtime_error("Connection lost"));
}

/// Marks an attribute taking a value from the server, so that the value isn't sent back.
class ApplyingScope {
public:
    ApplyingScope(Basalt::Attribute const*& applying, Basalt::Attribute const* attribute)
        : m_applying(applying), m_was(applying) {
        m_applying = attribute;
    }
    ~ApplyingScope() { m_applying = m_was; }
    ApplyingScope(ApplyingScope const&) = delete;
    ApplyingScope& operator=(ApplyingScope const&) = delete;

private:
    Basalt::Attribute const*& m_applying;
    Basalt::Attribute const* m_was;
};

} // namespace

DocumentConnection::DocumentConnection(std::unique_ptr<Element> documentRoot,
                                       std::unique_ptr<Element> transientRoot,
                                       folly::Executor* mainThreadExecutor,
                                       std::shared_ptr<ClientToServerConnection> connection)
    : m_documentRoot(std::move(documentRoot)), m_transientRoot(std::move(transientRoot)),
      m_mainThreadExecutor(mainThreadExecutor), m_connection(std::move(connection)) {}

std::shared_ptr<DocumentConnection>
DocumentConnection::create(std::unique_ptr<Element> documentRoot, std::unique_ptr<Element> transientRoot,
                           folly::Executor* mainThreadExecutor,
                           std::shared_ptr<ClientToServerConnection> connection) {
    std::shared_ptr<DocumentConnection> document(new DocumentConnection(
        std::move(documentRoot), std::move(transientRoot), mainThreadExecutor, std::move(connection)));
    document->attach(document->m_documentRoot.get());
    document->attach(document->m_transientRoot.get());
    return document;
}

DocumentConnection::~DocumentConnection() {
    connectionLost();
    // The roots go first, while the index they leave still exists.
    m_transientRoot.reset();
    m_documentRoot.reset();
}

void DocumentConnection::attach(Element* root) {
    if (root) {
        root->m_documentConnection = weak_from_this();
    }
}

void DocumentConnection::initializeElements() {
    for (Element* root : {m_documentRoot.get(), m_transientRoot.get()}) {
        if (root) {
            initializeTree(*root, *this);
        }
    }
}

bool DocumentConnection::isLive() const {
    return m_live && m_connection && m_connection->isConnected();
}

Element* DocumentConnection::connectionElement() const {
    return findSharedElement(m_connectionElementGuid);
}

Element* DocumentConnection::findSharedElement(QByteArray const& guid) const {
    return guid.isEmpty() ? nullptr : m_elements.value(guid);
}

void DocumentConnection::ensureGuid(Element& element) {
    if (!element.guid().isEmpty()) {
        return;
    }
    element.setGuid(generateUuid());
    if (element.name().isEmpty()) {
        element.setName(element.guid());
    }
}

std::shared_ptr<DocumentConnection>
DocumentConnection::open(QByteArray const& id, std::shared_ptr<ElementFactory> factory,
                         std::shared_ptr<ClientToServerConnection> connection, folly::Executor* executor,
                         Cobalt::BinaryData& answer, QByteArray sessionKey,
                         std::vector<std::int64_t> recovered) {
    QByteArray rootGuid;
    QByteArray rootType;
    QByteArray transientGuid;
    QByteArray connectionGuid;
    std::vector<Wire::Operation> operations;
    if (!Wire::PayloadReader(answer)
             .text(rootGuid)
             .text(rootType)
             .text(transientGuid)
             .text(connectionGuid)
             .ok() ||
        !Wire::readOperations(answer, operations) || !answer.atEnd()) {
        return nullptr;
    }
    std::unique_ptr<Element> root(factory->create(rootType));
    if (!root) {
        Cobalt::Trace::error("DocumentConnection::open # Unknown root type '%s' of '%s'",
                             rootType.constData(), id.constData());
        return nullptr;
    }
    std::unique_ptr<Element> transient(transientGuid.isEmpty() ? nullptr : factory->createTransientRoot());
    std::shared_ptr<DocumentConnection> document =
        create(std::move(root), std::move(transient), executor, std::move(connection));
    document->m_documentId = id;
    document->m_factory = std::move(factory);
    document->m_connectionElementGuid = connectionGuid;
    document->m_sessionKey = std::move(sessionKey);
    document->m_recovered = std::move(recovered);
    document->m_live = true;
    std::weak_ptr<DocumentConnection> const weak = document;
    document->m_connection->assets().transferChanged.addListener(weak, [weak](QByteArray const& publicHash) {
        if (std::shared_ptr<DocumentConnection> const self = weak.lock()) {
            self->updateAssetNode(publicHash);
        }
    });
    for (auto const& [element, guid] : {std::make_pair(document->documentRoot(), rootGuid),
                                        std::make_pair(document->transientRoot(), transientGuid)}) {
        if (element) {
            element->setGuid(guid);
            element->setName(guid);
            document->shareSubtree(*element, nullptr);
        }
    }
    document->applyChanges(operations);
    return document;
}

void DocumentConnection::shareSubtree(Element& element, std::vector<Wire::Operation>* operations) {
    ensureGuid(element);
    m_elements.insert(element.guid(), &element);
    element.setChangeObserver(this);
    for (Basalt::Node::Entry const& entry : element.attributes()) {
        trackAsset(*entry.second);
    }
    if (!element.m_initialized) {
        element.m_initialized = true;
        element.initialize(*this);
    }
    if (operations) {
        Wire::Operation addition;
        addition.kind = Wire::OperationKind::AddNode;
        auto const* parent = dynamic_cast<Element const*>(element.host());
        addition.parentGuid = parent ? parent->guid() : QByteArray();
        addition.nodeGuid = element.guid();
        addition.name = element.name();
        addition.typeKey = m_factory ? m_factory->keyOf(element) : QByteArray();
        for (Basalt::Node::Entry const& entry : element.attributes()) {
            Wire::Operation value;
            if (Element::isSharedAttribute(*entry.second) && valueOperation(*entry.second, value)) {
                addition.attributes.push_back({value.name, value.typeCode, value.bytes});
            }
        }
        operations->push_back(std::move(addition));
    }
    for (Element* child : childElements(element)) {
        shareSubtree(*child, operations);
    }
}

void DocumentConnection::forget(Element& element) {
    auto const found = m_elements.find(element.guid());
    if (found != m_elements.end() && found.value() == &element) {
        m_elements.erase(found);
    }
}

DocumentConnection::TypeOfAttribute const* DocumentConnection::typeOf(Basalt::Attribute const& attribute) {
    std::type_index const key(typeid(attribute));
    auto found = m_types.find(key);
    if (found == m_types.end()) {
        TypeOfAttribute type;
        Kelp::TypeRegistry const* const registry = m_connection ? m_connection->typeRegistry() : nullptr;
        if (registry) {
            type.serializer = registry->createSerializer(const_cast<Basalt::Attribute*>(&attribute),
                                                         type.typeCode, type.valueSize);
        }
        found = m_types.emplace(key, std::move(type)).first;
    }
    return found->second.serializer ? &found->second : nullptr;
}

bool DocumentConnection::valueOperation(Basalt::Attribute& attribute, Wire::Operation& operation) {
    TypeOfAttribute const* const type = typeOf(attribute);
    if (!type) {
        return false;
    }
    bool const vector = isVector(type->typeCode);
    // Defaults come from the element classes at every site; only what is written on the user layer is shared.
    if (!vector && !attribute.isValueDefinedOnLayer(Basalt::Attribute::LAYER_USER)) {
        return false;
    }
    operation.kind = vector ? Wire::OperationKind::SetVector : Wire::OperationKind::SetValue;
    operation.nodeGuid = static_cast<Element*>(attribute.host())->guid();
    operation.name = attribute.name();
    operation.typeCode = type->typeCode;
    operation.bytes = type->serializer->serialize(attribute);
    return !vector || !operation.bytes.isEmpty();
}

void DocumentConnection::attributeChanged(Basalt::Attribute& attribute) {
    trackAsset(attribute);
    if (m_applying == &attribute || !m_live || !Element::isSharedAttribute(attribute)) {
        return;
    }
    Wire::Operation operation;
    if (valueOperation(attribute, operation)) {
        send({operation});
    }
}

void DocumentConnection::containerChanged(Basalt::Attribute& container, Basalt::AttributeEvent event) {
    if (m_applying == &container || !m_live || !Element::isSharedAttribute(container)) {
        return;
    }
    TypeOfAttribute const* const type = typeOf(container);
    if (!type || !isVector(type->typeCode) || type->valueSize == 0) {
        return;
    }
    Wire::Operation operation;
    operation.nodeGuid = static_cast<Element*>(container.host())->guid();
    operation.name = container.name();
    operation.typeCode = type->typeCode;
    operation.index = static_cast<std::uint32_t>(event.key);
    QByteArray const values = type->serializer->serialize(container);
    auto const offset = static_cast<int>(event.key * type->valueSize);
    switch (event.type) {
    case Basalt::AttributeEvent::LIST_CHANGED:
        operation.kind = Wire::OperationKind::SetVector;
        operation.bytes = values;
        break;
    case Basalt::AttributeEvent::ELEMENT_INSERTED:
        operation.kind = Wire::OperationKind::InsertElement;
        operation.bytes = values.mid(offset, static_cast<int>(type->valueSize));
        break;
    case Basalt::AttributeEvent::ELEMENT_REMOVED:
        operation.kind = Wire::OperationKind::RemoveElement;
        break;
    case Basalt::AttributeEvent::ELEMENT_CHANGED:
        operation.kind = Wire::OperationKind::ReplaceElement;
        operation.bytes = values.mid(offset, static_cast<int>(type->valueSize));
        break;
    }
    send({operation});
}

std::int64_t DocumentConnection::send(std::vector<Wire::Operation> const& operations) {
    std::int64_t const id = m_nextTransaction++;
    Sent& sent = m_sent[id];
    for (Wire::Operation const& operation : operations) {
        if (operation.kind == Wire::OperationKind::AddNode ||
            operation.kind == Wire::OperationKind::DeleteNode) {
            continue;
        }
        sent.written.push_back(qMakePair(operation.nodeGuid, operation.name));
        ++m_unanswered[sent.written.back()];
        if (operation.kind != Wire::OperationKind::SetValue) {
            sent.listOperations.push_back(operation);
        }
    }
    Cobalt::BinaryData payload;
    payload.writeString(m_documentId);
    payload.writeInt64(id);
    Wire::writeOperations(payload, operations);
    m_connection->send(Wire::MessageKind::Transaction, payload);
    return id;
}

folly::Future<folly::Unit> DocumentConnection::sendTransaction(std::vector<Wire::Operation> operations) {
    if (!isLive()) {
        return connectionLostFuture();
    }
    return m_waiting[send(operations)].getFuture();
}

void DocumentConnection::transactionAnswered(std::int64_t id, QString const& error,
                                             std::vector<Wire::Operation> const& rebase) {
    auto const sent = m_sent.find(id);
    if (sent != m_sent.end()) {
        for (AttributeKey const& key : sent->second.written) {
            if (--m_unanswered[key] <= 0) {
                m_unanswered.remove(key);
            }
        }
        m_sent.erase(sent);
    }
    if (!rebase.empty()) {
        ClientTransaction transaction;
        for (Wire::Operation const& serverValue : rebase) {
            if (serverValue.kind == Wire::OperationKind::SetVector) {
                rebaseList(serverValue);
            } else {
                applyOperation(serverValue);
            }
        }
    }
    auto const found = m_waiting.find(id);
    if (found == m_waiting.end()) {
        if (!error.isEmpty()) {
            Cobalt::Trace::warning(
                "DocumentConnection::transactionAnswered # The server refused a change of '%s': %s",
                m_documentId.constData(), qPrintable(error));
        }
        return;
    }
    folly::Promise<folly::Unit> promise = std::move(found->second);
    m_waiting.erase(found);
    if (error.isEmpty()) {
        promise.setValue(folly::unit);
    } else {
        promise.setException(std::runtime_error(error.toStdString()));
    }
}

DocumentResume DocumentConnection::resume() const {
    DocumentResume resume{m_sessionKey, m_lost};
    for (auto const& sent : m_sent) {
        resume.unanswered.push_back(sent.first);
    }
    return resume;
}

void DocumentConnection::connectionLost(QString const& reason) {
    m_live = false;
    m_closeReason = reason;
    for (auto const& sent : m_sent) {
        m_lost.push_back(sent.first);
    }
    m_unanswered.clear();
    m_sent.clear();
    std::map<std::int64_t, folly::Promise<folly::Unit>> waiting;
    waiting.swap(m_waiting);
    for (auto& entry : waiting) {
        entry.second.setException(std::runtime_error(reason.toStdString()));
    }
}

void DocumentConnection::applyChanges(std::vector<Wire::Operation> const& operations) {
    ClientTransaction transaction;
    for (Wire::Operation const& operation : operations) {
        applyOperation(operation);
    }
}

void DocumentConnection::applyOperation(Wire::Operation const& operation) {
    if (operation.kind == Wire::OperationKind::AddNode) {
        addElement(operation);
        return;
    }
    Element* const element = findSharedElement(operation.nodeGuid);
    if (!element) {
        Cobalt::Trace::debug("DocumentConnection::applyChanges # No element '%s'",
                             operation.nodeGuid.constData());
        return;
    }
    switch (operation.kind) {
    case Wire::OperationKind::DeleteNode:
        // Taken out first, so that the host hears the removal while the element still lives.
        element->removeHost();
        delete element;
        return;
    case Wire::OperationKind::MoveNode:
        if (Element* const parent = findSharedElement(operation.parentGuid)) {
            parent->addAttribute(operation.name, element);
        }
        return;
    case Wire::OperationKind::GuidChanged:
        forget(*element);
        element->setGuid(operation.name);
        m_elements.insert(element->guid(), element);
        return;
    case Wire::OperationKind::SetValue:
    case Wire::OperationKind::SetVector:
        applyValue(*element, operation.name, operation.typeCode, operation.bytes);
        return;
    case Wire::OperationKind::ClearValue:
        clearValue(*element, operation.name);
        return;
    default:
        break;
    }
    TypeOfAttribute const* type = nullptr;
    Basalt::Attribute* const attribute = attributeOf(operation, type);
    // While this client's own edit of the list is unanswered, the server hands the list back if it changed
    // under the edit.
    if (attribute && !isUnanswered(operation.nodeGuid, operation.name)) {
        applyListOperation(*attribute, *type, operation);
    }
}

Basalt::Attribute* DocumentConnection::attributeOf(Wire::Operation const& operation,
                                                   TypeOfAttribute const*& type) {
    Element* const element = findSharedElement(operation.nodeGuid);
    Basalt::Attribute* const attribute = element ? element->attribute(operation.name) : nullptr;
    type = attribute ? typeOf(*attribute) : nullptr;
    bool const whole = operation.kind == Wire::OperationKind::SetVector;
    return type && (!whole || type->typeCode == operation.typeCode) ? attribute : nullptr;
}

void DocumentConnection::applyListOperation(Basalt::Attribute& list, TypeOfAttribute const& type,
                                            Wire::Operation const& operation) {
    ApplyingScope applying(m_applying, &list);
    if (operation.kind == Wire::OperationKind::SetVector) {
        type.serializer->deserialize(operation.bytes, list);
        return;
    }
    auto const event =
        operation.kind == Wire::OperationKind::InsertElement   ? Basalt::AttributeEvent::ELEMENT_INSERTED
        : operation.kind == Wire::OperationKind::RemoveElement ? Basalt::AttributeEvent::ELEMENT_REMOVED
                                                               : Basalt::AttributeEvent::ELEMENT_CHANGED;
    type.serializer->applyElementEvent(list, event, operation.index, operation.bytes);
}

void DocumentConnection::rebaseList(Wire::Operation const& serverValue) {
    TypeOfAttribute const* type = nullptr;
    Basalt::Attribute* const list =
        serverValue.kind == Wire::OperationKind::SetVector ? attributeOf(serverValue, type) : nullptr;
    if (!list) {
        return;
    }
    applyListOperation(*list, *type, serverValue);
    for (auto const& entry : m_sent) {
        for (Wire::Operation const& operation : entry.second.listOperations) {
            if (operation.nodeGuid == serverValue.nodeGuid && operation.name == serverValue.name) {
                applyListOperation(*list, *type, operation);
            }
        }
    }
}

void DocumentConnection::addElement(Wire::Operation const& operation) {
    Element* const parent = findSharedElement(operation.parentGuid);
    std::unique_ptr<Element> element(parent && m_factory ? m_factory->create(operation.typeKey) : nullptr);
    if (!element) {
        Cobalt::Trace::warning("DocumentConnection::applyChanges # Can't add '%s' of type '%s' under '%s'",
                               operation.nodeGuid.constData(), operation.typeKey.constData(),
                               operation.parentGuid.constData());
        return;
    }
    element->setGuid(operation.nodeGuid);
    element->setName(operation.name);
    Element* const added = element.release();
    parent->addAttribute(added);
    shareSubtree(*added, nullptr);
    for (Wire::AttributeValue const& value : operation.attributes) {
        applyValue(*added, value.name, value.typeCode, value.bytes);
    }
}

void DocumentConnection::applyValue(Element& element, QByteArray const& name, unsigned typeCode,
                                    QByteArray const& bytes) {
    Basalt::Attribute* const attribute = element.attribute(name);
    TypeOfAttribute const* const type = attribute ? typeOf(*attribute) : nullptr;
    if (isUnanswered(element.guid(), name)) {
        return; // this client's own later write is on its way, and the server will apply it after this one
    }
    if (!type || type->typeCode != typeCode) {
        // An attribute this client's class keeps back (a newer server's) or of another type: not ours.
        Cobalt::Trace::debug("DocumentConnection::applyChanges # '%s' has no attribute '%s' of type %u",
                             element.guid().constData(), name.constData(), typeCode);
        return;
    }
    ApplyingScope applying(m_applying, attribute);
    if (!type->serializer->deserialize(bytes, *attribute)) {
        Cobalt::Trace::warning("DocumentConnection::applyChanges # Can't read the value of '%s' on '%s'",
                               name.constData(), element.guid().constData());
    }
}

void DocumentConnection::clearValue(Element& element, QByteArray const& name) {
    Basalt::Attribute* const attribute = element.attribute(name);
    if (!attribute || isUnanswered(element.guid(), name)) {
        return;
    }
    ApplyingScope applying(m_applying, attribute);
    attribute->clearValue(Basalt::Attribute::LAYER_USER);
}

AssetNode* DocumentConnection::assetNode(QByteArray const& publicHash) const {
    auto const found = m_assetNodes.find(publicHash);
    return found == m_assetNodes.end() ? nullptr : found->second.get();
}

void DocumentConnection::trackAsset(Basalt::Attribute& attribute) {
    auto const* const asset = dynamic_cast<Basalt::AttributeAsset const*>(&attribute);
    if (!asset || !m_connection) {
        return;
    }
    QByteArray const hash = QByteArray::fromHex(asset->value().toUtf8());
    auto const found = m_assetHashes.find(&attribute);
    if (found == m_assetHashes.end()) {
        std::weak_ptr<DocumentConnection> const weak = weak_from_this();
        Basalt::Attribute const* const key = &attribute;
        attribute.addListener(
            [weak, key] {
                if (std::shared_ptr<DocumentConnection> const self = weak.lock()) {
                    self->untrackAsset(key);
                }
            },
            Basalt::Attribute::ROLE_DELETE);
        m_assetHashes.insert(&attribute, hash);
    } else if (found.value() == hash) {
        return;
    } else {
        QByteArray const former = found.value();
        found.value() = hash;
        releaseAsset(former);
    }
    holdAsset(hash);
}

void DocumentConnection::untrackAsset(Basalt::Attribute const* attribute) {
    auto const found = m_assetHashes.find(attribute);
    if (found != m_assetHashes.end()) {
        QByteArray const hash = found.value();
        m_assetHashes.erase(found);
        releaseAsset(hash);
    }
}

void DocumentConnection::holdAsset(QByteArray const& publicHash) {
    if (publicHash.isEmpty() || ++m_assetHolders[publicHash] > 1) {
        return;
    }
    auto node = std::make_unique<AssetNode>(publicHash, QString());
    AssetNode* const added = node.get();
    m_assetNodes[publicHash] = std::move(node);
    updateAssetNode(publicHash);
    assetNodeAdded.raise(added);
}

void DocumentConnection::releaseAsset(QByteArray const& publicHash) {
    if (publicHash.isEmpty() || --m_assetHolders[publicHash] > 0) {
        return;
    }
    m_assetHolders.remove(publicHash);
    // Taken out of the map first: its delete listeners may look for it again.
    std::unique_ptr<AssetNode> const gone = std::move(m_assetNodes[publicHash]);
    m_assetNodes.erase(publicHash);
}

void DocumentConnection::updateAssetNode(QByteArray const& publicHash) {
    AssetNode* const node = assetNode(publicHash);
    if (!node || !m_connection) {
        return;
    }
    ClientAssets& assets = m_connection->assets();
    ClientAssets::Transfer transfer = assets.transfer(publicHash);
    if (transfer.state == AssetNode::STATE_NONE && isLive()) {
        if (!assets.storage()) {
            transfer.state = AssetNode::STATE_REMOTE;
        } else {
            assets.fetch(publicHash, node->originalFileName());
            return; // the fetch tells how it stands
        }
    }
    if (std::shared_ptr<AssetStorage::Item> const item =
            assets.storage() ? assets.storage()->findItem(publicHash) : nullptr) {
        node->setOriginalFileName(item->fileName());
    }
    node->update(transfer.state, transfer.progress, transfer.error);
}

void DocumentConnection::setAsset(Basalt::AttributeAsset& attribute,
                                  std::shared_ptr<AssetStorage::Item> const& item,
                                  std::shared_ptr<folly::Promise<folly::Unit>> done) {
    if (!item || !isLive()) {
        writeAssetHash(attribute, item ? QString::fromLatin1(item->publicHashHex()) : QString(), done);
        return;
    }
    QByteArray const hash = item->publicHash();
    // The node follows the upload while no attribute holds the hash yet.
    holdAsset(hash);
    auto const target = std::make_shared<Basalt::WeakAttributePtrT<Basalt::AttributeAsset>>(&attribute);
    std::weak_ptr<DocumentConnection> const weak = weak_from_this();
    m_connection->assets()
        .publish(item)
        .via(mainThreadExecutor())
        .thenTry([weak, target, done, hash](folly::Try<folly::Unit>&& published) {
            std::shared_ptr<DocumentConnection> const self = weak.lock();
            if (published.hasException() || !self || !*target) {
                folly::exception_wrapper const error =
                    published.hasException() ? published.exception()
                    : !self                  ? folly::exception_wrapper(std::runtime_error("Connection lost"))
                            : folly::exception_wrapper(std::runtime_error("Asset was deleted"));
                if (!done->isFulfilled()) {
                    done->setException(error);
                }
            } else {
                self->writeAssetHash(*target->get(), QString::fromLatin1(hash.toHex()), done);
            }
            if (self) {
                self->releaseAsset(hash);
            }
        });
}

void DocumentConnection::writeAssetHash(Basalt::AttributeAsset& attribute, QString const& hash,
                                        std::shared_ptr<folly::Promise<folly::Unit>> const& done) {
    Wire::Operation operation;
    {
        // Shared below as a transaction of its own, whose answer the promise waits for.
        ApplyingScope applying(m_applying, &attribute);
        attribute = hash;
    }
    bool const shared =
        isLive() && Element::isSharedAttribute(attribute) && valueOperation(attribute, operation);
    if (!shared) {
        if (!done->isFulfilled()) {
            done->setValue();
        }
        return;
    }
    sendTransaction({operation}).thenTry([done](folly::Try<folly::Unit>&& applied) {
        if (done->isFulfilled()) {
            return;
        }
        if (applied.hasException()) {
            done->setException(applied.exception());
        } else {
            done->setValue();
        }
    });
}

} // namespace Tessel
