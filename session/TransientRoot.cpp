#include "session/TransientRoot.hpp"

#include "session/Connection.hpp"
#include "session/View.hpp"

namespace Datamodel {

TransientRoot::TransientRoot() = default;

void TransientRoot::attributeRemoved(Basalt::Attribute* attribute) {
    Tessel::Element::attributeRemoved(attribute);
    auto* connection = dynamic_cast<Connection*>(attribute);
    if (!connection) {
        return;
    }
    // Views leave before their connection, so a listener never sees a view whose connection is gone.
    for (View* view : connection->views()) {
        viewRemoved.raise(view);
    }
    connectionRemoved.raise(connection);
}

std::vector<View*> TransientRoot::views() const {
    std::vector<View*> result;
    for (Entry const& entry : attributes()) {
        if (auto const* connection = dynamic_cast<Connection const*>(entry.second)) {
            std::vector<View*> const own = connection->views();
            result.insert(result.end(), own.begin(), own.end());
        }
    }
    return result;
}

} // namespace Datamodel
