#pragma once

#include <QByteArray>

#include <map>
#include <memory>
#include <vector>

namespace Basalt {
class Attribute;
}

namespace Tessel {

class ServerAttribute;
class ServerDocument;
class ServerNodeOperator;

/// A node of a server document: a guid, an element type key, a name, child nodes ordered by name and
/// attributes holding encoded values. Owned by its parent (the document owns the roots); held by
/// `std::shared_ptr` so that operators may keep one.
///
/// Used on the document's executor only. Changes of a node that is in the document (under one of its
/// roots) reach the clients; a node built apart reaches them whole when it is added.
class ServerNode : public std::enable_shared_from_this<ServerNode> {
public:
    using Children = std::map<QByteArray, std::shared_ptr<ServerNode>>;

    /// A new node of `document`, not yet in its tree.
    explicit ServerNode(ServerDocument* document);
    ~ServerNode();

    ServerDocument* document() const { return m_document; }
    QByteArray const& guid() const { return m_guid; }
    QByteArray const& name() const { return m_name; }
    QByteArray const& typeKey() const { return m_typeKey; }
    /// Identity, set before the node joins the tree.
    void setGuid(QByteArray guid) { m_guid = std::move(guid); }
    void setName(QByteArray name) { m_name = std::move(name); }
    void setTypeKey(QByteArray typeKey) { m_typeKey = std::move(typeKey); }

    /// The parent; null for a root or a node apart.
    std::shared_ptr<ServerNode> parent() const { return m_parent.lock(); }
    /// Whether the node hangs under one of its document's roots (a root counts).
    bool isInDocument() const { return m_inDocument; }

    /// A child by name; null if none.
    std::shared_ptr<ServerNode> childNode(QByteArray const& name) const;
    Children const& childNodes() const { return m_children; }
    /// Adds a child, which leaves its former parent; a child of the same name is replaced (removed first).
    /// With `notify`, the clients get the child's whole subtree and the operators are told (the document's
    /// `childNodeAdded`, then this node's operators'); without, nobody is told, as when a tree is loaded.
    void addChildNode(std::shared_ptr<ServerNode> child, bool notify = true);
    /// Removes a child by name, with its subtree: the clients are told, then this node's operators
    /// (`childNodeRemoved`) and the document (`nodeDeleted` for the child and each node below it). Nothing
    /// happens when there is no such child.
    void removeChildNode(QByteArray const& name);
    /// Moves this node, with its subtree, guid and values, under `parent` as `name`: the clients are told
    /// with one move, the document's operators with `nodeParentChanged`; nobody hears of a removal or an
    /// addition, as nothing was removed or added.
    void moveTo(ServerNode& parent, QByteArray const& name);

    /// An attribute by name; null if none.
    std::shared_ptr<ServerAttribute> childAttribute(QByteArray const& name) const;
    std::vector<std::shared_ptr<ServerAttribute>> const& childAttributes() const { return m_attributes; }
    /// Adds an attribute, replacing one of the same name. Clients get its value whenever the node is in the
    /// document; `notify` tells this node's operators (`childAttributeAdded`).
    void addChildAttribute(std::shared_ptr<ServerAttribute> attribute, bool notify = true);
    /// Removes an attribute by name. Clients keep their value: an element's attributes are members of its
    /// class. `notify` is accepted for the operators' sake and tells nobody, as no operator hears removals.
    void removeChildAttribute(QByteArray const& name, bool notify = false);

    /// Attaches an operator (once) and calls its `addedToNode`.
    void addOperator(std::shared_ptr<ServerNodeOperator> op);
    bool hasOperator(std::shared_ptr<ServerNodeOperator> const& op) const;
    std::vector<std::shared_ptr<ServerNodeOperator>> const& operators() const { return m_operators; }

    /// Writes `value` into the attribute `name`, through a temporary typed attribute on the user layer,
    /// creating the attribute (and telling the operators) when there is none. Throws `std::runtime_error`
    /// "'name' is not a simple attribute" when the attribute is a vector. Instantiated for bool, int, float
    /// and QString.
    template <typename T>
    std::shared_ptr<ServerAttribute> setAttributeValue(QByteArray const& name, T const& value);

    /// Gives the node a fresh guid: the clients follow, and the document's operators hear
    /// `nodeGuidRecreated`.
    void recreateGuid();

private:
    friend class ServerDocument;
    void setInDocument(bool inDocument);
    std::vector<std::shared_ptr<ServerNode>> subtree();
    std::shared_ptr<ServerAttribute> writeValue(QByteArray const& name, Basalt::Attribute& temporary);

    ServerDocument* m_document;
    QByteArray m_guid;
    QByteArray m_name;
    QByteArray m_typeKey;
    std::weak_ptr<ServerNode> m_parent;
    Children m_children;
    std::vector<std::shared_ptr<ServerAttribute>> m_attributes;
    std::vector<std::shared_ptr<ServerNodeOperator>> m_operators;
    bool m_inDocument = false;
};

} // namespace Tessel
