#pragma once

#include "platform/basalt/AttributeEventListenerList.hpp"

namespace Basalt {

class Attribute;

/// Hears every change of the attributes that sit directly on a node, without a listener on each of them:
/// a live document watches its elements this way, so that a shared element costs no listener per attribute.
/// Set on a node with `Node::setChangeObserver`; called on the node's thread, after the attribute's own
/// listeners.
class ChangeObserver {
public:
    virtual ~ChangeObserver();
    /// A plain attribute or a tuple of `attribute.host()` told a change. Components of a tuple are not
    /// reported on their own: their tuple is.
    virtual void attributeChanged(Attribute& attribute) = 0;
    /// A container of `container.host()` reported `event`.
    virtual void containerChanged(Attribute& container, AttributeEvent event) = 0;
};

} // namespace Basalt
