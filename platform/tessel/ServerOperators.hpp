#pragma once

#include <QByteArray>
#include <QString>

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <vector>

namespace Tessel {

class ServerAttribute;
class ServerAttributeSimple;
class ServerDocument;
class ServerDocumentConnection;
class ServerNode;
class ServerToClientConnection;
class TesselServer;

/// Logic that runs inside one live document on the server. Made for each document of its type when the
/// document opens (`ServerDocumentTypeOperators`), it lives as long as the document. Every call comes on the
/// document's executor, one change at a time.
class ServerDocumentOperator {
public:
    virtual ~ServerDocumentOperator();
    /// Once, right after the operator is made.
    virtual void addedToDocument(std::shared_ptr<ServerDocument> document) = 0;
    /// Before a client joins; false refuses it with `error`. The base permits.
    virtual bool permitDocumentConnection(ServerToClientConnection& connection,
                                          std::shared_ptr<TesselServer> server, QString& error);
    /// A client joined the document.
    virtual void connectionAdded(ServerDocumentConnection* connection);
    /// A client left the document.
    virtual void connectionRemoved(ServerDocumentConnection* connection);
    /// The document has its root, or got a new one.
    virtual void rootNodeUpdated() = 0;
    /// `child` was added under `parent`.
    virtual void childNodeAdded(std::shared_ptr<ServerNode> const& parent,
                                std::shared_ptr<ServerNode> const& child);
    /// `node` moved under `parent`.
    virtual void nodeParentChanged(std::shared_ptr<ServerNode> const& node,
                                   std::shared_ptr<ServerNode> const& parent);
    /// `node` was taken out of the document; called for a removed node and then for each node below it.
    virtual void nodeDeleted(std::shared_ptr<ServerNode> const& node);
    /// `node` got a new guid; `formerGuid` is the one it had.
    virtual void nodeGuidRecreated(std::shared_ptr<ServerNode> const& node, QByteArray const& formerGuid);
};

/// Logic attached to one node with `ServerNode::addOperator`.
class ServerNodeOperator {
public:
    virtual ~ServerNodeOperator();
    virtual void addedToNode(std::shared_ptr<ServerNode> node);
    virtual void childAttributeAdded(std::shared_ptr<ServerAttribute> attribute);
    virtual void childNodeAdded(std::shared_ptr<ServerNode> node);
    virtual void childNodeRemoved(std::shared_ptr<ServerNode> node);
};

/// Logic attached to one attribute with `ServerAttribute::addOperator`.
class ServerAttributeOperator {
public:
    virtual ~ServerAttributeOperator();
    virtual void addedToAttribute(std::shared_ptr<ServerAttribute> attribute);
    /// A simple attribute got a value (also the same value again).
    virtual void valueSetSimple(ServerAttributeSimple& attribute);
};

/// The makers of document operators, per document type. The process has one registry (`instance`), which
/// servers use unless they are given another one.
class ServerDocumentTypeOperators {
public:
    using Factory = std::function<std::shared_ptr<ServerDocumentOperator>(ServerDocument&)>;

    /// The process's registry. Thread safe.
    static ServerDocumentTypeOperators& instance();
    /// Adds a maker to the process's registry; makers of one type are called in the order added.
    static void addFactory(QByteArray const& documentType, Factory factory);

    /// Adds a maker to this registry.
    void add(QByteArray const& documentType, Factory factory);
    /// The makers of a type, in the order added.
    std::vector<Factory> factories(QByteArray const& documentType) const;

private:
    mutable std::mutex m_mutex;
    std::map<QByteArray, std::vector<Factory>> m_factories;
};

} // namespace Tessel
