#include "index/ServerConnection.hpp"

#include "platform/tessel/DocumentConnection.hpp"

namespace Datamodel {

std::shared_ptr<Tessel::ClientToServerConnection> serverConnection(Tessel::Element const& element) {
    std::shared_ptr<Tessel::DocumentConnection> const document = element.documentConnection();
    return document ? document->connection() : nullptr;
}

} // namespace Datamodel
