#pragma once

#include "attributes/Event.hpp"
#include "platform/basalt/ChangeObserver.hpp"
#include "platform/tessel/AssetNode.hpp"
#include "platform/tessel/AssetStorage.hpp"
#include "platform/tessel/ClientToServerConnection.hpp"
#include "platform/tessel/Element.hpp"
#include "platform/tessel/WireFormat.hpp"

#include "folly/Executor.h"
#include "folly/futures/Future.h"

#include <QHash>
#include <QPair>

#include <map>
#include <memory>
#include <typeindex>
#include <unordered_map>
#include <vector>

namespace Basalt {
class AttributeAsset;
}

namespace Kelp {
class AttributeSerializer;
}

namespace Tessel {

class ElementFactory;

/// One open document of one client: the root of its persistent tree, the root of its transient tree (what
/// exists only while clients are connected), the executor of the document's thread and the link to the
/// server. It owns both roots, and through them every element of the document.
///
/// A live document (opened with `ClientToServerConnection::openDocument`) shares its elements: every local
/// write on the user layer of a shared attribute (`Element::isSharedAttribute`) of an element of the
/// document goes to the server, and changes from the server land on the user layer through the attributes'
/// decoders, without being sent back. Elements join and leave the shared document through
/// `NodeTransaction`; an element added to the tree by other means stays local.
///
/// Made with `create`, always held by a shared pointer: elements find it through a weak pointer on their
/// root. Use it from the document's thread.
class DocumentConnection : public std::enable_shared_from_this<DocumentConnection>,
                           public Basalt::ChangeObserver {
public:
    /// Takes the two roots (either may be null) and ties them to the new connection. `connection` may be
    /// null for a document that isn't linked to a server; `mainThreadExecutor` must outlive the document.
    static std::shared_ptr<DocumentConnection> create(std::unique_ptr<Element> documentRoot,
                                                      std::unique_ptr<Element> transientRoot,
                                                      folly::Executor* mainThreadExecutor,
                                                      std::shared_ptr<ClientToServerConnection> connection);
    DocumentConnection(DocumentConnection const&) = delete;
    DocumentConnection& operator=(DocumentConnection const&) = delete;
    ~DocumentConnection() override;

    /// The link to the server; null when there is none.
    std::shared_ptr<ClientToServerConnection> connection() const { return m_connection; }
    Element* documentRoot() const { return m_documentRoot.get(); }
    Element* transientRoot() const { return m_transientRoot.get(); }
    /// Runs work on the thread of the document.
    folly::Executor::KeepAlive<> mainThreadExecutor() const {
        return folly::getKeepAliveToken(m_mainThreadExecutor);
    }

    /// Calls `initialize(*this)` on every element of both trees, parents before children, as the platform
    /// does once the elements have their connection.
    void initializeElements();

    /// The server's name of the document; empty when it isn't live.
    QByteArray const& documentId() const { return m_documentId; }
    /// Whether the document is shared with a server now.
    bool isLive() const;
    /// This client's element in the transient tree; null when it has none.
    Element* connectionElement() const;
    /// A shared element of the document by guid; null if none.
    Element* findSharedElement(QByteArray const& guid) const;

    // Assets.

    /// The node of a content by public hash (32 bytes): there is one for every hash that an asset attribute
    /// of a live document holds. Null when no attribute holds the hash.
    AssetNode* assetNode(QByteArray const& publicHash) const;
    /// Publishes `item` to the server, then writes its hash into `attribute`; a null item clears the
    /// attribute. `done` is fulfilled once the server applied the write, or fails with the reason: the
    /// server refused the content or the write, the link went ("Connection lost"), or the attribute was
    /// deleted first ("Asset was deleted"). A document without a link writes the hash at once. A promise
    /// that already has a result is left as it is.
    void setAsset(Basalt::AttributeAsset& attribute, std::shared_ptr<AssetStorage::Item> const& item,
                  std::shared_ptr<folly::Promise<folly::Unit>> done);
    /// Raised with each asset node that the document gains, on the document's thread.
    Basalt::Event<AssetNode*> assetNodeAdded;

    // The platform's side.

    /// Makes a live document from the server's answer to an open, named `sessionKey` at the server, which
    /// applied `recovered` of the transactions of an earlier session; null when the roots can't be made.
    static std::shared_ptr<DocumentConnection> open(QByteArray const& id,
                                                    std::shared_ptr<ElementFactory> factory,
                                                    std::shared_ptr<ClientToServerConnection> connection,
                                                    folly::Executor* executor, Cobalt::BinaryData& answer,
                                                    QByteArray sessionKey = QByteArray(),
                                                    std::vector<std::int64_t> recovered = {});

    /// What an opening of the same document after a lost link asks the server about: this opening's
    /// session, and its transactions that the server never answered.
    DocumentResume resume() const;
    /// For a document opened with a `Resume`: those of its unanswered transactions that the server had
    /// applied, in the order asked. The others never changed the document.
    std::vector<std::int64_t> const& recoveredTransactions() const { return m_recovered; }
    /// Applies a change that came from the server.
    void applyChanges(std::vector<Wire::Operation> const& operations);
    /// Sends operations as one transaction; the future completes when the server applied them, and fails
    /// with the server's reason or "Connection lost".
    folly::Future<folly::Unit> sendTransaction(std::vector<Wire::Operation> operations);
    /// The server's answer to a transaction; an empty error means applied. For an applied one, `rebase` holds
    /// the server's whole value of lists that the transaction edited after another site changed them: each
    /// is taken, and the edits of this client still unanswered are made on it again. For a refused one, it
    /// holds what takes the transaction back (`ServerDocument::restoreOperations`), applied the same way.
    void transactionAnswered(std::int64_t id, QString const& error,
                             std::vector<Wire::Operation> const& rebase = {});
    /// The link went, or the server took the document away for `reason`: stop sharing and fail what waits
    /// with the reason.
    void connectionLost(QString const& reason = QStringLiteral("Connection lost"));
    /// Why the document stopped being shared; empty while it is live or before it was.
    QString const& closeReason() const { return m_closeReason; }
    /// Shares an element and its subtree, adding it under its parent: indexes it by guid, watches it, and
    /// initialises each element not yet initialised. Appends the operations that tell the server.
    void shareSubtree(Element& element, std::vector<Wire::Operation>* operations);
    /// The element's guid, given a fresh one (and its name, when it has none) if it has none.
    static void ensureGuid(Element& element);

private:
    friend class Element;
    DocumentConnection(std::unique_ptr<Element> documentRoot, std::unique_ptr<Element> transientRoot,
                       folly::Executor* mainThreadExecutor,
                       std::shared_ptr<ClientToServerConnection> connection);
    void attach(Element* root);

    void attributeChanged(Basalt::Attribute& attribute) override;
    void containerChanged(Basalt::Attribute& container, Basalt::AttributeEvent event) override;
    /// The element is being destroyed: it leaves the index.
    void forget(Element& element);

    struct TypeOfAttribute {
        unsigned typeCode = 0;
        unsigned valueSize = 0;
        std::shared_ptr<Kelp::AttributeSerializer const> serializer;
    };
    /// The encoding of an attribute's class; null when the registry doesn't know it.
    TypeOfAttribute const* typeOf(Basalt::Attribute const& attribute);
    /// The operation that gives the server the attribute's value whole; false when it has nothing to share.
    bool valueOperation(Basalt::Attribute& attribute, Wire::Operation& operation);
    void applyOperation(Wire::Operation const& operation);
    void addElement(Wire::Operation const& operation);
    void applyValue(Element& element, QByteArray const& name, unsigned typeCode, QByteArray const& bytes);
    /// Lets an attribute fall back to its default: the server holds no value of it.
    void clearValue(Element& element, QByteArray const& name);
    /// The attribute an operation names, with its encoding, when this client has it with the operation's type
    /// (any type for an edit of one value); null otherwise.
    Basalt::Attribute* attributeOf(Wire::Operation const& operation, TypeOfAttribute const*& type);
    /// Applies a list operation on the user layer, without sending it: a whole value or an edit of one value.
    void applyListOperation(Basalt::Attribute& list, TypeOfAttribute const& type,
                            Wire::Operation const& operation);
    /// Takes the server's whole value of a list and makes this client's unanswered edits of it again.
    void rebaseList(Wire::Operation const& serverValue);
    bool isUnanswered(QByteArray const& guid, QByteArray const& name) const {
        return m_unanswered.contains(qMakePair(guid, name));
    }
    /// Follows the hash an asset attribute holds (any other attribute is ignored): each hash that some
    /// attribute holds has an asset node.
    void trackAsset(Basalt::Attribute& attribute);
    void untrackAsset(Basalt::Attribute const* attribute);
    /// Counts a holder of a hash; the first makes its node.
    void holdAsset(QByteArray const& publicHash);
    /// Drops a holder of a hash; with the last its node goes.
    void releaseAsset(QByteArray const& publicHash);
    /// Brings the node of a hash up to date with the transfer of its content, fetching the content when
    /// this client keeps files and lacks it.
    void updateAssetNode(QByteArray const& publicHash);
    /// Writes a hash into an asset attribute and shares the write; `done` hears when the server applied it.
    void writeAssetHash(Basalt::AttributeAsset& attribute, QString const& hash,
                        std::shared_ptr<folly::Promise<folly::Unit>> const& done);
    /// Sends operations as one transaction and returns its id. Until the server answers, values that
    /// arrive for the attributes it writes are older than it, and are not applied.
    std::int64_t send(std::vector<Wire::Operation> const& operations);

    std::unique_ptr<Element> m_documentRoot;
    std::unique_ptr<Element> m_transientRoot;
    folly::Executor* m_mainThreadExecutor;
    std::shared_ptr<ClientToServerConnection> m_connection;

    QByteArray m_documentId;
    std::shared_ptr<ElementFactory> m_factory;
    QByteArray m_connectionElementGuid;
    QHash<QByteArray, Element*> m_elements;
    std::unordered_map<std::type_index, TypeOfAttribute> m_types;
    std::map<std::int64_t, folly::Promise<folly::Unit>> m_waiting;
    using AttributeKey = QPair<QByteArray, QByteArray>;
    /// Writes sent and not yet answered, per element guid and attribute name.
    QHash<AttributeKey, int> m_unanswered;
    /// What a transaction not yet answered wrote: its attributes, and its list operations to make again
    /// when the server hands a list back.
    struct Sent {
        std::vector<AttributeKey> written;
        std::vector<Wire::Operation> listOperations;
    };
    std::map<std::int64_t, Sent> m_sent;
    std::int64_t m_nextTransaction = 1;
    /// The attribute that takes a value from the server now: its change is no news to the server. Changes
    /// that listeners derive from it are, and go out as local writes.
    Basalt::Attribute const* m_applying = nullptr;
    QString m_closeReason;
    QByteArray m_sessionKey;
    /// The transactions unanswered when the link went.
    std::vector<std::int64_t> m_lost;
    std::vector<std::int64_t> m_recovered;
    bool m_live = false;
    /// The hash that each followed asset attribute holds, and the holders of each hash.
    QHash<Basalt::Attribute const*, QByteArray> m_assetHashes;
    QHash<QByteArray, int> m_assetHolders;
    std::map<QByteArray, std::unique_ptr<AssetNode>> m_assetNodes;
};

} // namespace Tessel
