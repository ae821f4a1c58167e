#include "session/View.hpp"

#include "session/Connection.hpp"
#include "session/TransientRoot.hpp"

namespace Datamodel {

View::View()
    : CanvasItem(Tessel::Element::Flags::fromBits(1)),
      followedViewName(this, QByteArrayLiteral("followed-view-name")),
      workspaceName(this, QByteArrayLiteral("workspace-name")),
      presenting(this, QByteArrayLiteral("presenting")) {
    // The root sits two levels up, above the connection; without both levels nobody is told.
    auto const announce = [this] {
        Basalt::Node* const owner = host();
        if (!owner) {
            return;
        }
        if (auto* root = dynamic_cast<TransientRoot*>(owner->host())) {
            root->viewChanged.raise(this);
        }
    };
    for (Basalt::Attribute* watched :
         std::initializer_list<Basalt::Attribute*>{&workspaceName, &presenting, &location, &size, &scale}) {
        watched->addListener(announce, Basalt::Attribute::ROLE_CHANGE);
    }
}

Connection* View::connection() const {
    return dynamic_cast<Connection*>(host());
}

} // namespace Datamodel
