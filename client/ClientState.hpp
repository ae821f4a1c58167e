#pragma once

#include "platform/tessel/Element.hpp"
#include "platform/tessel/ElementFactory.hpp"

#include <memory>

namespace Datamodel {

/// Root of a "client-state" document: the stored state of one client. Its children are the client's
/// workspaces and its video input and output maps; it declares no attributes of its own.
class ClientState : public Tessel::Element {
public:
    ClientState();

    /// "client-state".
    static QByteArray documentType();
    /// The factory of the document type, built on the first call from any thread.
    static std::shared_ptr<Tessel::ElementFactory> elementFactory();
};

} // namespace Datamodel
