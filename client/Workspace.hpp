#pragma once

#include "attributes/AttributeBool.hpp"
#include "attributes/AttributeNumericT.hpp"
#include "attributes/AttributeString.hpp"
#include "attributes/AttributeTuple.hpp"
#include "platform/tessel/Element.hpp"

namespace Datamodel {

/// One workspace of a client: a place and size tied to one canvas, with a view of that canvas. A plain
/// record; the client reads and writes it through its document connection like any other element.
///
/// The components of the two sizes answer to their own keys ("width", "height", "canvas-width",
/// "canvas-height"), so a client can write one of them alone.
class Workspace : public Tessel::Element {
public:
    Workspace();

    /// Extent of the workspace; (-1, -1) until the client sets it.
    Basalt::AttributeT<Fathom::SizeT<float>> size;
    /// Its place.
    Basalt::AttributeLocation2f location;
    /// Identifier of the canvas that it shows.
    Basalt::AttributeT<QString> canvasId;
    /// Extent of that canvas; (-1, -1) until known.
    Basalt::AttributeT<Fathom::SizeT<float>> canvasSize;
    /// State of the workspace, as text the client defines.
    Basalt::AttributeT<QString> workspaceState;
    /// Its number among the client's workspaces; -1 until it has one.
    Basalt::AttributeT<int> workspaceIndex;
    /// E-mail address of its user.
    Basalt::AttributeT<QString> userEmail;
    /// Identifier of the server.
    Basalt::AttributeT<QString> serverId;
    /// Pinned state of the workspace.
    Basalt::AttributeT<bool> pinned;
    /// Its name; a `Datamodel::View` refers to its workspace by this.
    Basalt::AttributeT<QString> workspaceName;
    /// Where on the canvas it looks.
    Basalt::AttributeLocation2f viewLocation;
    /// Scale of that view.
    Basalt::AttributeT<float> viewScale;
    /// Whether the information panel shows.
    Basalt::AttributeT<bool> infoPanelVisible;
    /// Identifier of the owner.
    Basalt::AttributeT<int> owner;
    /// Command text, in a vocabulary the client defines.
    Basalt::AttributeT<QString> command;
};

} // namespace Datamodel
