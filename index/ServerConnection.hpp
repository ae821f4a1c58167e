#pragma once

#include "platform/tessel/ClientToServerConnection.hpp"
#include "platform/tessel/Element.hpp"

#include <memory>

namespace Datamodel {

/// The link to the server of the document that holds `element`; null when the element is in no document
/// or the document isn't linked to a server.
std::shared_ptr<Tessel::ClientToServerConnection> serverConnection(Tessel::Element const& element);

} // namespace Datamodel
