#pragma once

#include "attributes/AttributeString.hpp"
#include "framework/CanvasItem.hpp"

namespace Datamodel {

class Connection;

/// The rectangle of the canvas that one client has on its screen, placed like an item. Its host is the
/// client's `Connection`, under the `TransientRoot`.
///
/// Under a connection under a root, a change of "workspace-name", "presenting", "location", "size" or
/// "scale" raises the root's `viewChanged`. "followed-view-name" raises nothing, by design: following is
/// read when it matters, not pushed.
class View : public CanvasItem {
public:
    View();

    /// The host as a connection; null when the view has no host or another kind of host. Not owned.
    Connection* connection() const;

    /// Name of the view that this one follows.
    Basalt::AttributeT<QString> followedViewName;
    /// Name of the client's workspace that shows this view.
    Basalt::AttributeT<QString> workspaceName;
    /// What this view presents, as text the application chooses.
    Basalt::AttributeT<QString> presenting;
};

} // namespace Datamodel
