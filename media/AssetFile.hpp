#pragma once

#include "attributes/AttributeAsset.hpp"
#include "attributes/AttributeT.hpp"
#include "attributes/Event.hpp"
#include "platform/basalt/Reference.hpp"
#include "platform/tessel/AssetNode.hpp"
#include "platform/tessel/AssetStorage.hpp"

#include "folly/Executor.h"
#include "folly/Unit.h"
#include "folly/futures/Future.h"
#include "folly/futures/Promise.h"

#include <QByteArray>
#include <QString>

#include <functional>
#include <memory>
#include <utility>

namespace Kelp {
class TypeRegistry;
}

namespace Tessel {
class DocumentConnection;
}

namespace Datamodel {

/// The attribute through which an element refers to a stored file. Its value is the file's public hash
/// as hexadecimal text, so elements with the same content share one stored item.
///
/// Around the value it imports files and buffers into the client's asset storage, hands the result to the
/// document, follows the transfer state of the content on the connection, and keeps the local path of the
/// content while the storage holds it whole. The document, the connection and the storage each live and die
/// on their own, so it holds them weakly; without a connection it keeps one operation waiting until
/// `initialize`.
///
/// Belongs to the thread of its document, like every attribute: call it there. Imports run on the storage's
/// threads, but everything they lead to here runs on the document's executor.
class AssetFile : public Basalt::AttributeAsset {
public:
    using ItemPtr = std::shared_ptr<Tessel::AssetStorage::Item>;
    /// Transfer state, progress as (done, total) and error text of the content.
    using StateEvent =
        Basalt::Event<Tessel::AssetNode::ClientState, std::pair<unsigned long, unsigned long>, QString>;

    /// What a setting operation gives back.
    struct SetResult {
        /// Ready when the import has finished and the item is handed to the document. Fails with the
        /// import's error, with "Operation interrupted" when a newer operation replaced a waiting one, and
        /// with "Asset was deleted" when the attribute died first.
        folly::Future<ItemPtr> item;
        /// Ready when the platform has finished publishing; fails as `item` does, or with the platform's
        /// reason.
        folly::Future<folly::Unit> done;
    };

    /// An empty hash, added to `host` under `key`.
    AssetFile(Basalt::Node& host, QByteArray const& key);
    /// An empty hash without a host: for an attribute that joins its node later, or a detached one that the
    /// type registry makes.
    explicit AssetFile(QByteArray const& key);
    ~AssetFile() override;

    /// Writes `hash` (hexadecimal) on the user layer.
    AssetFile& operator=(QString const& hash) {
        Basalt::AttributeAsset::operator=(hash);
        return *this;
    }

    /// Ties the attribute to `connection`: its storage, its executor and its asset nodes. Runs the waiting
    /// operation, if any. Called by the host's `initialize`; safe to call again, and called again by the
    /// attribute itself when a hash arrives after an `initialize` that had none.
    void initialize(Tessel::DocumentConnection& connection);

    /// Imports a copy of the file at `path` under `name` and makes it the content.
    SetResult setAssetFromFile(QString const& path, QString const& name);
    /// Imports the file at `path`, a temporary one of the caller's that the storage may take over, under
    /// `name`, and makes it the content.
    SetResult setAssetFromTemporaryFile(QString const& path, QString const& name);
    /// Imports `bytes` under `name` and makes them the content.
    SetResult setAssetFromBuffer(QByteArray const& bytes, QString const& name);
    /// Makes a stored item the content, with no import: a null item clears the hash.
    ///
    /// Every setting operation starts at once when the attribute has a live storage and connection, and
    /// otherwise waits for `initialize`; a newer one replaces a waiting one, whose futures fail with
    /// "Operation interrupted". Once a waiting operation has run, every later setting operation throws
    /// `folly::PromiseAlreadySatisfied` and does not start.
    SetResult setAsset(ItemPtr item);
    /// `setAsset` with a null item, without waiting for it.
    void reset();

    /// The hash as raw bytes; empty when there is no hash. Characters that aren't hex digits are skipped,
    /// as `QByteArray::fromHex` does.
    QByteArray publicHashBin() const;
    /// The hash as it stands, in hexadecimal.
    QString publicHashHex() const;
    /// A short digest of the hash (sixteen hex digits), short enough to show a user.
    QString publicHashHexShort() const;

    /// The transfer state of the content on the connection; `STATE_NONE` while no asset node is known.
    Tessel::AssetNode::ClientState state() const;
    /// Raised on the document's thread whenever the transfer state, the progress or the error changes, and
    /// with `STATE_NONE`, (0, 0) and no text when the asset node went and no other was found.
    StateEvent& stateEvent() { return m_stateEvent; }
    /// The local path of the content: defined on the user layer only while the local item holds the content
    /// whole, undefined (an empty text) otherwise. Has neither host nor name: it is never shared.
    Basalt::AttributeT<QString> const& localPath() const { return m_localPath; }
    /// The local storage item of the present hash; null when the storage has none or isn't known yet.
    ItemPtr item() const { return m_item.lock(); }
    /// The content's node on the connection; null when there is none. Owned by the connection.
    Tessel::AssetNode* assetNode() const { return m_assetNode; }

    /// Makes `registry` build an `AssetFile` wherever it builds an attribute of the asset type, so that an
    /// asset hash read from storage gets this class. The asset type must be registered already
    /// (`Basalt::registerAttributeTypes`); otherwise nothing changes.
    static void registerType(Kelp::TypeRegistry& registry);

protected:
    /// Gives the storage to an import.
    using Operation = std::function<folly::Future<ItemPtr>(std::shared_ptr<Tessel::AssetStorage>)>;

    /// Runs `operation` now when storage and connection live, else keeps it for `initialize`, replacing
    /// (and failing) one that waits. Throws `std::bad_function_call` for an empty `operation` when it runs.
    SetResult queueItem(Operation operation);

private:
    using QueuedFunction = std::function<void(std::shared_ptr<Tessel::AssetStorage>,
                                              std::shared_ptr<Tessel::DocumentConnection>)>;

    void listenForHash();
    /// Hands the imported item to the connection on the document's thread; the item future that it
    /// returns fails with the import's error or "Asset was deleted", as `m_pendingDone` does.
    folly::Future<ItemPtr> setAsset(std::shared_ptr<Tessel::DocumentConnection> connection,
                                    folly::Future<ItemPtr> item);
    void initAssetNode(Tessel::AssetNode* node);
    void findAssetNode(Tessel::DocumentConnection& connection);
    void updateItem(ItemPtr const& item);
    void updateListeners();

    StateEvent m_stateEvent;
    Basalt::AttributeT<QString> m_localPath;
    std::weak_ptr<Tessel::DocumentConnection> m_connection;
    std::weak_ptr<Tessel::AssetStorage> m_assetStorage;
    folly::Executor::KeepAlive<> m_executor;
    /// Owner of the listeners on the storage and on the item.
    Basalt::Reference m_itemReference;
    std::weak_ptr<Tessel::AssetStorage::Item> m_item;
    Tessel::AssetNode* m_assetNode = nullptr;
    /// Owner of the listeners on the connection's node events and on the node.
    Basalt::Reference m_nodeReference;
    long m_nodeListener = -1;
    std::shared_ptr<folly::Promise<ItemPtr>> m_pendingItem;
    std::shared_ptr<folly::Promise<folly::Unit>> m_pendingDone;
    QueuedFunction m_queued;
    bool m_nodeSearched = false;
};

} // namespace Datamodel
