#pragma once

#include <QByteArray>
#include <QSet>

#include <memory>

namespace Tessel {
class ServerNode;
}

namespace Datamodel {

/// The first node of `node`'s tree whose name is `name`: `node` itself, else the first match depth first
/// among its children in name order; null if none. Walks the tree: for many look-ups in one pass, gather a
/// `ServerNodeNames` once instead.
std::shared_ptr<Tessel::ServerNode> findByName(std::shared_ptr<Tessel::ServerNode> const& node,
                                               QByteArray const& name);

/// The first node of `node`'s tree whose guid is `guid`, in the order of `findByName`; null if none. Walks
/// the tree: where a document is at hand, its guid index answers at once (`findInTree`).
std::shared_ptr<Tessel::ServerNode> findByGuid(std::shared_ptr<Tessel::ServerNode> const& node,
                                               QByteArray const& guid);

/// The node of guid `guid` if it lies in the tree of `root` (`root` included), through the guid index of
/// `root`'s document; null if none. The same answer as `findByGuid(root, guid)` in a document whose guids
/// are unique, which the server keeps them.
std::shared_ptr<Tessel::ServerNode> findInTree(Tessel::ServerNode const& root, QByteArray const& guid);

/// The names of every node of a tree, gathered in one walk, so that a pass that asks whether many names
/// exist costs one walk and not one per question.
class ServerNodeNames {
public:
    explicit ServerNodeNames(Tessel::ServerNode const& root);
    /// Whether `findByName(root, name)` would find a node, as the tree stood when gathered.
    bool contains(QByteArray const& name) const { return m_names.contains(name); }

private:
    QSet<QByteArray> m_names;
};

} // namespace Datamodel
