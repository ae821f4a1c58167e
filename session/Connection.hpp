#pragma once

#include "attributes/AttributeNumericT.hpp"
#include "attributes/AttributeString.hpp"
#include "framework/CanvasElement.hpp"

#include <QString>

#include <vector>

namespace Datamodel {

class View;

/// One connected client, a child of the `TransientRoot`; its children are the client's views. The
/// platform creates and deletes connections as clients join and leave; they are never stored.
///
/// Under a root, a change of any of its three attributes raises the root's `connectionChanged`, and a view
/// added or removed raises `viewChanged` or `viewRemoved`. Away from a root it raises nothing.
class Connection : public CanvasElement {
public:
    Connection();

    /// Raises the root's `viewChanged` for an added view: to a listener, added and changed are one event.
    void attributeAdded(Basalt::Attribute* attribute) override;
    /// Raises the root's `viewRemoved` for a removed view.
    void attributeRemoved(Basalt::Attribute* attribute) override;

    /// Its children that are views, in attribute order; owned by this connection.
    std::vector<View*> views() const;
    /// "user-name", else "installation-name", else "<NA>".
    QString shortName() const;
    /// "user-name, installation-name" when both are there, else `shortName()`.
    QString longName() const;

    /// Name of the user on this connection.
    Basalt::AttributeT<QString> userName;
    /// Name of the client installation.
    Basalt::AttributeT<QString> installationName;
    /// The user's identifier.
    Basalt::AttributeT<int> userId;
};

} // namespace Datamodel
