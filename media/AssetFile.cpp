#include "media/AssetFile.hpp"

#include "attributes/WeakAttributePtrT.hpp"
#include "platform/kelp/TypeRegistry.hpp"
#include "platform/tessel/ClientToServerConnection.hpp"
#include "platform/tessel/DocumentConnection.hpp"
#include "platform/tessel/Uuid.hpp"

#include <stdexcept>

namespace Datamodel {

AssetFile::AssetFile(Basalt::Node& host, QByteArray const& key)
    : Basalt::AttributeAsset(&host, key), m_localPath(nullptr, QByteArray(), QString()) {
    listenForHash();
}

AssetFile::AssetFile(QByteArray const& key)
    : Basalt::AttributeAsset(nullptr, key), m_localPath(nullptr, QByteArray(), QString()) {
    listenForHash();
}

AssetFile::~AssetFile() {
    // The node outlives us as often as not; its delete listener would call into a dead object.
    if (m_assetNode && m_nodeListener != -1) {
        m_assetNode->removeListener(m_nodeListener);
    }
}

void AssetFile::listenForHash() {
    addListener(
        [this] {
            // The first hash after an initialize that had none still needs its node searched for.
            if (!m_nodeSearched) {
                if (std::shared_ptr<Tessel::DocumentConnection> const connection = m_connection.lock()) {
                    initialize(*connection);
                    return;
                }
            }
            updateListeners();
        },
        ROLE_CHANGE);
}

void AssetFile::initialize(Tessel::DocumentConnection& connection) {
    m_connection = connection.weak_from_this();
    std::shared_ptr<Tessel::ClientToServerConnection> const server = connection.connection();
    m_assetStorage = server ? server->connectionManager()->assetStorage() : nullptr;
    m_executor = connection.mainThreadExecutor();
    updateListeners();
    std::shared_ptr<Tessel::AssetStorage> const storage = m_assetStorage.lock();
    if (m_queued && storage) {
        QueuedFunction const queued = std::move(m_queued);
        m_queued = nullptr;
        queued(storage, std::shared_ptr<Tessel::DocumentConnection>(m_connection));
    }
    if (!publicHashBin().isEmpty()) {
        findAssetNode(connection);
        m_nodeSearched = true;
    }
}

AssetFile::SetResult AssetFile::setAssetFromFile(QString const& path, QString const& name) {
    return queueItem([path, name](std::shared_ptr<Tessel::AssetStorage> storage) {
        return storage->importFile(path, name, 0);
    });
}

AssetFile::SetResult AssetFile::setAssetFromTemporaryFile(QString const& path, QString const& name) {
    return queueItem([path, name](std::shared_ptr<Tessel::AssetStorage> storage) {
        return storage->importFile(path, name, Tessel::AssetStorage::IMPORT_TEMPORARY);
    });
}

AssetFile::SetResult AssetFile::setAssetFromBuffer(QByteArray const& bytes, QString const& name) {
    return queueItem([bytes, name](std::shared_ptr<Tessel::AssetStorage> storage) {
        return storage->importData(bytes, name);
    });
}

AssetFile::SetResult AssetFile::setAsset(ItemPtr item) {
    return queueItem([item](std::shared_ptr<Tessel::AssetStorage>) { return folly::makeFuture(item); });
}

void AssetFile::reset() {
    setAsset(ItemPtr());
}

AssetFile::SetResult AssetFile::queueItem(Operation operation) {
    if (m_pendingItem) {
        // A newer choice replaces one that still waits. A promise that a queued operation already
        // satisfied throws here, to the caller, before the new operation starts.
        std::runtime_error const interrupted("Operation interrupted");
        m_pendingItem->setException(interrupted);
        m_pendingItem.reset();
        m_pendingDone->setException(interrupted);
        m_pendingDone.reset();
        m_queued = nullptr;
    }
    m_pendingDone = std::make_shared<folly::Promise<folly::Unit>>();

    std::shared_ptr<Tessel::AssetStorage> const storage = m_assetStorage.lock();
    std::shared_ptr<Tessel::DocumentConnection> const connection = m_connection.lock();
    if (storage && connection) {
        folly::Future<folly::Unit> done = m_pendingDone->getFuture();
        folly::Future<ItemPtr> item = setAsset(connection, operation(storage));
        return SetResult{std::move(item), std::move(done)};
    }

    m_pendingItem = std::make_shared<folly::Promise<ItemPtr>>();
    m_queued = [this, operation,
                pendingItem = m_pendingItem](std::shared_ptr<Tessel::AssetStorage> queuedStorage,
                                             std::shared_ptr<Tessel::DocumentConnection> queuedConnection) {
        // The continuation runs on the document's executor; the promise outlives this attribute if it must.
        setAsset(std::move(queuedConnection), operation(std::move(queuedStorage)))
            .thenTry([pendingItem](folly::Try<ItemPtr>&& result) {
                if (pendingItem->isFulfilled()) {
                    return;
                }
                if (result.hasException()) {
                    pendingItem->setException(std::move(result).exception());
                } else {
                    pendingItem->setValue(std::move(result).value());
                }
            });
    };
    return SetResult{m_pendingItem->getFuture(), m_pendingDone->getFuture()};
}

folly::Future<AssetFile::ItemPtr> AssetFile::setAsset(std::shared_ptr<Tessel::DocumentConnection> connection,
                                                      folly::Future<ItemPtr> item) {
    // The import may outlive the attribute: the continuations reach it only through this pointer, which
    // the attribute's deletion empties.
    auto const self = std::make_shared<Basalt::WeakAttributePtrT<AssetFile>>(this);
    std::shared_ptr<folly::Promise<folly::Unit>> const done = m_pendingDone;
    return std::move(item)
        .via(m_executor.copy())
        .thenValue([connection, self, done](ItemPtr imported) {
            AssetFile* const file = self->get();
            self->reset();
            if (!file) {
                throw std::runtime_error("Asset was deleted");
            }
            // An interrupted operation has failed already: what it imported is not the content any more.
            if (!done->isFulfilled()) {
                connection->setAsset(*file, imported, done);
            }
            return imported;
        })
        .thenError([self, done](folly::exception_wrapper error) -> ItemPtr {
            self->reset();
            if (!done->isFulfilled()) {
                done->setException(error);
            }
            error.throw_exception();
        });
}

void AssetFile::updateListeners() {
    m_item.reset();
    m_itemReference.reset();

    std::shared_ptr<Tessel::AssetStorage> const storage = m_assetStorage.lock();
    if (!storage || !m_executor) {
        m_localPath.clearValue(LAYER_USER);
        return;
    }
    QByteArray const hash = publicHashBin();
    if (hash.isEmpty()) {
        m_localPath.clearValue(LAYER_USER);
        return;
    }

    folly::Future<ItemPtr> found = storage->item(hash);
    ItemPtr const item = found.isReady() && found.hasValue() ? found.value() : nullptr;
    std::weak_ptr<void> const receiver = m_itemReference.weak();
    if (item) {
        m_item = item;
        item->changed.addListener(m_executor.get(), receiver, [this] {
            if (ItemPtr const current = m_item.lock()) {
                updateItem(current);
            } else {
                updateListeners();
            }
        });
        updateItem(item);
        return;
    }

    m_localPath.clearValue(LAYER_USER);
    storage->itemAdded.addListener(m_executor.get(), receiver, [this, hash](ItemPtr const& added) {
        if (added && added->publicHash() == hash) {
            updateListeners();
        }
    });
}

void AssetFile::updateItem(ItemPtr const& item) {
    if (item->isComplete()) {
        m_localPath.setValue(item->localPath(), LAYER_USER);
    } else {
        m_localPath.clearValue(LAYER_USER);
    }
}

void AssetFile::findAssetNode(Tessel::DocumentConnection& connection) {
    if (Tessel::AssetNode* const node = connection.assetNode(publicHashBin())) {
        initAssetNode(node);
    }
    if (m_assetNode) {
        return;
    }
    connection.assetNodeAdded.addListener(m_nodeReference.weak(), [this](Tessel::AssetNode* added) {
        if (added && added->publicHashBin() == publicHashBin()) {
            initAssetNode(added);
        }
    });
}

void AssetFile::initAssetNode(Tessel::AssetNode* node) {
    if (m_assetNode && m_nodeListener != -1) {
        m_assetNode->removeListener(m_nodeListener);
    }
    m_assetNode = node;
    m_nodeListener = node->addListener(
        [this] {
            m_assetNode = nullptr;
            m_nodeListener = -1;
            if (std::shared_ptr<Tessel::DocumentConnection> const connection = m_connection.lock()) {
                findAssetNode(*connection);
            }
            if (!m_assetNode) {
                m_stateEvent.raise(Tessel::AssetNode::STATE_NONE, {0, 0}, QString());
            }
        },
        ROLE_DELETE);
    // The search is over, and whatever listened to a former node is no news any more: a new identity ends
    // both kinds of listener at once.
    m_nodeReference.reset();
    node->stateChanged.addListener(m_nodeReference.weak(),
                                   [this](Tessel::AssetNode::ClientState state,
                                          Tessel::AssetNode::Progress progress,
                                          QString text) { m_stateEvent.raise(state, progress, text); });
    if (node->clientState() != Tessel::AssetNode::STATE_NONE) {
        m_stateEvent.raise(node->clientState(), node->progress(), node->errorText());
    }
}

Tessel::AssetNode::ClientState AssetFile::state() const {
    return m_assetNode ? m_assetNode->clientState() : Tessel::AssetNode::STATE_NONE;
}

QByteArray AssetFile::publicHashBin() const {
    return QByteArray::fromHex(value().toUtf8());
}

QString AssetFile::publicHashHex() const {
    return value();
}

QString AssetFile::publicHashHexShort() const {
    return QString::fromLatin1(Tessel::shortHexHash(publicHashBin()));
}

void AssetFile::registerType(Kelp::TypeRegistry& registry) {
    // The class differs from its base only in behaviour, not in what it stores, so it takes over the
    // base's entry rather than adding a type of its own.
    registry.setAttributeMaker(Basalt::AttributeAsset().type(), [] { return new AssetFile(QByteArray()); });
}

} // namespace Datamodel
