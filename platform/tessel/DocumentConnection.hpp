#pragma once

#include "platform/tessel/ClientToServerConnection.hpp"
#include "platform/tessel/Element.hpp"

#include "folly/Executor.h"

#include <memory>

namespace Tessel {

/// One open document of one client: the root of its persistent tree, the root of its transient tree (what
/// exists only while clients are connected), the executor of the document's thread and the link to the
/// server. It owns both roots, and through them every element of the document.
///
/// Made with `create`, always held by a shared pointer: elements find it through a weak pointer on their
/// root. Use it from the document's thread.
class DocumentConnection : public std::enable_shared_from_this<DocumentConnection> {
public:
    /// Takes the two roots (either may be null) and ties them to the new connection. `connection` may be
    /// null for a document that isn't linked to a server; `mainThreadExecutor` must outlive the document.
    static std::shared_ptr<DocumentConnection> create(std::unique_ptr<Element> documentRoot,
                                                      std::unique_ptr<Element> transientRoot,
                                                      folly::Executor* mainThreadExecutor,
                                                      std::shared_ptr<ClientToServerConnection> connection);
    DocumentConnection(DocumentConnection const&) = delete;
    DocumentConnection& operator=(DocumentConnection const&) = delete;
    ~DocumentConnection();

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

private:
    DocumentConnection(std::unique_ptr<Element> documentRoot, std::unique_ptr<Element> transientRoot,
                       folly::Executor* mainThreadExecutor,
                       std::shared_ptr<ClientToServerConnection> connection);
    void attach(Element* root);

    std::unique_ptr<Element> m_documentRoot;
    std::unique_ptr<Element> m_transientRoot;
    folly::Executor* m_mainThreadExecutor;
    std::shared_ptr<ClientToServerConnection> m_connection;
};

} // namespace Tessel
