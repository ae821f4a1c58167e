#include "operators/ServerTreeSearch.hpp"

#include "platform/tessel/ServerDocument.hpp"
#include "platform/tessel/ServerNode.hpp"

#include <vector>

namespace Datamodel {

namespace {

/// The first node of the tree, in depth-first name order, that `matches`; null if none. Iterative, so that
/// a deep tree can't exhaust the stack.
template <typename Predicate>
std::shared_ptr<Tessel::ServerNode> findFirst(std::shared_ptr<Tessel::ServerNode> const& node,
                                              Predicate const& matches) {
    std::vector<std::shared_ptr<Tessel::ServerNode>> pending;
    if (node) {
        pending.push_back(node);
    }
    while (!pending.empty()) {
        std::shared_ptr<Tessel::ServerNode> const current = std::move(pending.back());
        pending.pop_back();
        if (matches(*current)) {
            return current;
        }
        auto const& children = current->childNodes();
        for (auto child = children.rbegin(); child != children.rend(); ++child) {
            pending.push_back(child->second);
        }
    }
    return nullptr;
}

} // namespace

std::shared_ptr<Tessel::ServerNode> findByName(std::shared_ptr<Tessel::ServerNode> const& node,
                                               QByteArray const& name) {
    return findFirst(node, [&](Tessel::ServerNode const& candidate) { return candidate.name() == name; });
}

std::shared_ptr<Tessel::ServerNode> findByGuid(std::shared_ptr<Tessel::ServerNode> const& node,
                                               QByteArray const& guid) {
    return findFirst(node, [&](Tessel::ServerNode const& candidate) { return candidate.guid() == guid; });
}

std::shared_ptr<Tessel::ServerNode> findInTree(Tessel::ServerNode const& root, QByteArray const& guid) {
    std::shared_ptr<Tessel::ServerNode> const found =
        root.document() && root.isInDocument() ? root.document()->findNode(guid) : nullptr;
    for (std::shared_ptr<Tessel::ServerNode> ancestor = found; ancestor; ancestor = ancestor->parent()) {
        if (ancestor.get() == &root) {
            return found;
        }
    }
    return nullptr;
}

ServerNodeNames::ServerNodeNames(Tessel::ServerNode const& root) {
    std::vector<Tessel::ServerNode const*> pending{&root};
    while (!pending.empty()) {
        Tessel::ServerNode const* const current = pending.back();
        pending.pop_back();
        m_names.insert(current->name());
        for (auto const& child : current->childNodes()) {
            pending.push_back(child.second.get());
        }
    }
}

} // namespace Datamodel
