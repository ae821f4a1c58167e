#pragma once

#include "attributes/Event.hpp"
#include "platform/tessel/Element.hpp"

#include <vector>

namespace Datamodel {

class Connection;
class View;

/// Root of a canvas's transient part: the connections of the clients connected now, each with its views.
/// It is the one place to listen to: its events tell of every change among connections and views, so a user
/// interface need not subscribe to each of them.
///
/// Events are raised on the thread that changes the tree. The pointers they carry are owned by the tree;
/// a removed one is detached but still alive while its event runs.
class TransientRoot : public Tessel::Element {
public:
    TransientRoot();

    /// Tells of a removed connection: first `viewRemoved` for each of its views, in order, then
    /// `connectionRemoved`.
    void attributeRemoved(Basalt::Attribute* attribute) override;

    /// The views of every connection, connections in attribute order, each connection's views in its own
    /// attribute order.
    std::vector<View*> views() const;

    /// A view was added to a connection, or one of its watched attributes changed.
    Basalt::Event<View*> viewChanged;
    /// A view was removed from a connection, or its connection left.
    Basalt::Event<View*> viewRemoved;
    /// "user-name", "installation-name" or "user-id" of a connection changed; also how a new connection
    /// makes itself known.
    Basalt::Event<Connection*> connectionChanged;
    /// A connection was removed from the root.
    Basalt::Event<Connection*> connectionRemoved;
};

} // namespace Datamodel
