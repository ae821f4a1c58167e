#include "platform/tessel/ClientRootInfoNode.hpp"

#include "platform/tessel/DocumentConnection.hpp"
#include "platform/tessel/Element.hpp"

namespace Tessel {

std::shared_ptr<DocumentConnection> ClientRootInfoNode::findDocumentConnection(Basalt::Node const& node) {
    Basalt::Node const* top = &node;
    while (top->host()) {
        top = top->host();
    }
    auto const* root = dynamic_cast<Element const*>(top);
    return root ? root->documentConnection() : nullptr;
}

} // namespace Tessel
