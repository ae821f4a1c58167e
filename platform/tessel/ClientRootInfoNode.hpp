#pragma once

#include <memory>

namespace Basalt {
class Node;
}

namespace Tessel {

class DocumentConnection;

/// Where a client finds the document that a node belongs to.
class ClientRootInfoNode {
public:
    /// The connection of the document whose tree holds `node` (through its topmost element); null when the
    /// node is in no document.
    static std::shared_ptr<DocumentConnection> findDocumentConnection(Basalt::Node const& node);
};

} // namespace Tessel
