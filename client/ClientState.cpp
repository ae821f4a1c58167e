#include "client/ClientState.hpp"

namespace Datamodel {

ClientState::ClientState() = default;

} // namespace Datamodel
