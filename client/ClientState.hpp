#pragma once

#include "platform/tessel/Element.hpp"

namespace Datamodel {

/// Root of a "client-state" document: the stored state of one client. Its children are the client's
/// workspaces and its video input and output maps; it declares no attributes of its own.
class ClientState : public Tessel::Element {
public:
    ClientState();
};

} // namespace Datamodel
