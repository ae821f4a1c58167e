#include "platform/tessel/DocumentConnection.hpp"

#include <vector>

namespace Tessel {

namespace {

void initializeTree(Element& element, DocumentConnection& connection) {
    element.initialize(connection);
    // Collected first: an initialize hook may add or remove attributes of its element.
    std::vector<Element*> children;
    for (Basalt::Node::Entry const& entry : element.attributes()) {
        if (auto* child = dynamic_cast<Element*>(entry.second)) {
            children.push_back(child);
        }
    }
    for (Element* child : children) {
        initializeTree(*child, connection);
    }
}

} // namespace

DocumentConnection::DocumentConnection(std::unique_ptr<Element> documentRoot,
                                       std::unique_ptr<Element> transientRoot,
                                       folly::Executor* mainThreadExecutor,
                                       std::shared_ptr<ClientToServerConnection> connection)
    : m_documentRoot(std::move(documentRoot)), m_transientRoot(std::move(transientRoot)),
      m_mainThreadExecutor(mainThreadExecutor), m_connection(std::move(connection)) {}

std::shared_ptr<DocumentConnection>
DocumentConnection::create(std::unique_ptr<Element> documentRoot, std::unique_ptr<Element> transientRoot,
                           folly::Executor* mainThreadExecutor,
                           std::shared_ptr<ClientToServerConnection> connection) {
    std::shared_ptr<DocumentConnection> document(new DocumentConnection(
        std::move(documentRoot), std::move(transientRoot), mainThreadExecutor, std::move(connection)));
    document->attach(document->m_documentRoot.get());
    document->attach(document->m_transientRoot.get());
    return document;
}

DocumentConnection::~DocumentConnection() = default;

void DocumentConnection::attach(Element* root) {
    if (root) {
        root->m_documentConnection = weak_from_this();
    }
}

void DocumentConnection::initializeElements() {
    for (Element* root : {m_documentRoot.get(), m_transientRoot.get()}) {
        if (root) {
            initializeTree(*root, *this);
        }
    }
}

} // namespace Tessel
