#pragma once

#include "folly/futures/Future.h"

#include <memory>
#include <vector>

namespace Basalt {
class Attribute;
}

namespace Tessel {

class DocumentConnection;
class Element;

/// Groups additions, moves and deletions of elements of a live document into one change, which `commit`
/// applies locally and sends to the server as one message. Dropped without `commit`, it sends and changes
/// nothing, and deletes the elements it was given to add that have no host.
///
/// Use on the document's thread.
class NodeTransaction {
public:
    explicit NodeTransaction(DocumentConnection& document);
    ~NodeTransaction();
    NodeTransaction(NodeTransaction const&) = delete;
    NodeTransaction& operator=(NodeTransaction const&) = delete;

    /// Adds `node` under `parent` at commit. A node with no host is owned by the transaction until then, and
    /// by its parent after. A node without a guid gets a fresh one (and it as its name when it has none).
    void addNode(Element& node, Element const& parent);
    /// Deletes `node` at commit.
    void deleteNode(Element const& node);
    /// Moves `node`, a shared element, under `parent` at commit, keeping its name, guid, values and subtree.
    /// A move into the node's own subtree fails the commit, which then changes nothing.
    void moveNode(Element& node, Element const& parent);
    /// Applies the changes locally (added elements get their connection and `initialize`), sends them, and
    /// completes when the server has applied them. Fails with the server's reason when it refuses, and with
    /// "Connection lost" when the document isn't live or the link goes first. A second commit sends nothing
    /// and completes at once.
    folly::Future<folly::Unit> commit();

private:
    enum class Kind { Add, Delete, Move };
    struct Change {
        Kind kind;
        Element* node;
        Element const* parent; ///< null for a deletion
    };

    /// Whether `node` is `subtree` or lies below it.
    static bool isWithin(Basalt::Attribute const& node, Basalt::Attribute const& subtree);
    /// Deletes the elements given to add that no parent took.
    static void deleteUnplacedAdditions(std::vector<Change> const& changes);

    std::weak_ptr<DocumentConnection> m_document;
    std::vector<Change> m_changes;
};

} // namespace Tessel
