#include "client/Workspace.hpp"

namespace Datamodel {

Workspace::Workspace()
    : size(this, QByteArrayLiteral("size"), Fathom::SizeT<float>(-1.0f, -1.0f)),
      location(this, QByteArrayLiteral("location")), canvasId(this, QByteArrayLiteral("canvas-id")),
      canvasSize(this, QByteArrayLiteral("canvas-size"), Fathom::SizeT<float>(-1.0f, -1.0f)),
      workspaceState(this, QByteArrayLiteral("workspace-state")),
      workspaceIndex(this, QByteArrayLiteral("workspace-index"), -1),
      userEmail(this, QByteArrayLiteral("user-email")), serverId(this, QByteArrayLiteral("server-id")),
      pinned(this, QByteArrayLiteral("pinned"), false),
      workspaceName(this, QByteArrayLiteral("workspace-name")),
      viewLocation(this, QByteArrayLiteral("view-location")),
      viewScale(this, QByteArrayLiteral("view-scale"), 0.0f),
      infoPanelVisible(this, QByteArrayLiteral("info-panel-visible"), false),
      owner(this, QByteArrayLiteral("owner"), 0), command(this, QByteArrayLiteral("command")) {
    // Clients address the size components by these keys, not by the suffixed names a tuple starts with.
    size.component(0).setName(QByteArrayLiteral("width"));
    size.component(1).setName(QByteArrayLiteral("height"));
    canvasSize.component(0).setName(QByteArrayLiteral("canvas-width"));
    canvasSize.component(1).setName(QByteArrayLiteral("canvas-height"));
}

} // namespace Datamodel
