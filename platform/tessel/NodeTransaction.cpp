#include "platform/tessel/NodeTransaction.hpp"

#include "platform/tessel/DocumentConnection.hpp"
#include "platform/tessel/Element.hpp"
#include "platform/tessel/WireFormat.hpp"

#include <set>
#include <stdexcept>

namespace Tessel {

NodeTransaction::NodeTransaction(DocumentConnection& document) : m_document(document.weak_from_this()) {}

NodeTransaction::~NodeTransaction() {
    deleteUnplacedAdditions(m_changes);
}

bool NodeTransaction::isWithin(Basalt::Attribute const& node, Basalt::Attribute const& subtree) {
    for (Basalt::Attribute const* above = &node; above; above = above->host()) {
        if (above == &subtree) {
            return true;
        }
    }
    return false;
}

void NodeTransaction::deleteUnplacedAdditions(std::vector<Change> const& changes) {
    for (Change const& change : changes) {
        if (change.kind == Kind::Add && !change.node->host()) {
            delete change.node;
        }
    }
}

void NodeTransaction::addNode(Element& node, Element const& parent) {
    m_changes.push_back({Kind::Add, &node, &parent});
}

void NodeTransaction::moveNode(Element& node, Element const& parent) {
    m_changes.push_back({Kind::Move, &node, &parent});
}

void NodeTransaction::deleteNode(Element const& node) {
    m_changes.push_back({Kind::Delete, const_cast<Element*>(&node), nullptr});
}

folly::Future<folly::Unit> NodeTransaction::commit() {
    std::shared_ptr<DocumentConnection> const document = m_document.lock();
    std::vector<Change> changes;
    changes.swap(m_changes);
    if (!document || !document->isLive()) {
        deleteUnplacedAdditions(changes);
        return folly::makeFuture<folly::Unit>(std::runtime_error("Connection lost"));
    }
    for (Change const& change : changes) {
        if (change.kind == Kind::Move && isWithin(*change.parent, *change.node)) {
            deleteUnplacedAdditions(changes);
            return folly::makeFuture<folly::Unit>(
                std::runtime_error("A node can't move into its own subtree"));
        }
    }
    std::vector<Wire::Operation> operations;
    std::set<Element const*> deleted;
    for (Change const& change : changes) {
        if (change.kind == Kind::Add) {
            DocumentConnection::ensureGuid(*change.node);
            const_cast<Element*>(change.parent)->addAttribute(change.node);
            document->shareSubtree(*change.node, &operations);
            continue;
        }
        if (change.kind == Kind::Move) {
            Wire::Operation move;
            move.kind = Wire::OperationKind::MoveNode;
            move.nodeGuid = change.node->guid();
            move.name = change.node->name();
            move.parentGuid = change.parent->guid();
            operations.push_back(std::move(move));
            const_cast<Element*>(change.parent)->addAttribute(change.node);
            continue;
        }
        if (!deleted.insert(change.node).second) {
            continue;
        }
        Wire::Operation deletion;
        deletion.kind = Wire::OperationKind::DeleteNode;
        deletion.nodeGuid = change.node->guid();
        operations.push_back(std::move(deletion));
        change.node->removeHost();
        delete change.node;
    }
    return document->sendTransaction(std::move(operations));
}

} // namespace Tessel
