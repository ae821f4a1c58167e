#include "index/CanvasDocument.hpp"

#include "index/ServerConnection.hpp"
#include "index/ServerIndex.hpp"

#include <algorithm>

namespace Datamodel {

namespace {

/// What a link can grant; "owner" and "nobody" are no grants a link can make.
struct LinkGrant {
    char const* name;
    Tessel::Permission permission;
};

constexpr LinkGrant s_linkGrants[] = {
    {"none", Tessel::PERMISSION_NONE},
    {"view", Tessel::PERMISSION_VIEW},
    {"edit", Tessel::PERMISSION_EDIT},
};

} // namespace

CanvasDocument::CanvasDocument()
    : preview(*this, QByteArrayLiteral("preview")),
      linkPermission(this, QByteArrayLiteral("link-permission")),
      canvasName(this, QByteArrayLiteral("canvas-name")),
      demoCanvas(this, QByteArrayLiteral("demo-canvas"), false),
      hasMainPassword(this, QByteArrayLiteral("has-main-password"), false),
      hasAccessPassword(this, QByteArrayLiteral("has-access-password"), false),
      size(this, QByteArrayLiteral("size"), 0), created(this, QByteArrayLiteral("created")),
      modified(this, QByteArrayLiteral("modified")),
      initialMainPassword(this, QByteArrayLiteral("initial-main-password")),
      initialAccessPassword(this, QByteArrayLiteral("initial-access-password")),
      newResolution(this, QByteArrayLiteral("new-resolution"), Fathom::SizeT<float>(-1.0f, -1.0f)),
      canvasIdAttribute(this, QByteArrayLiteral("canvas-id")) {
    // The server addresses the components by these keys, not by the suffixed names a tuple starts with.
    newResolution.component(0).setName(QByteArrayLiteral("new-width"));
    newResolution.component(1).setName(QByteArrayLiteral("new-height"));
    preview.addListener([this] { notePreviewUpdate(); }, ROLE_CHANGE);
}

CanvasDocument::~CanvasDocument() = default;

QByteArray CanvasDocument::canvasId() const {
    return canvasIdAttribute.value().toUtf8();
}

QByteArray CanvasDocument::folderId() const {
    return host() ? host()->name() : QByteArray();
}

Tessel::Permission CanvasDocument::parsedLinkPermissions() const {
    QByteArray const text = linkPermission.value().toLower().toUtf8();
    for (LinkGrant const& grant : s_linkGrants) {
        if (text == grant.name) {
            return grant.permission;
        }
    }
    return Tessel::PERMISSION_NONE;
}

Tessel::Permission CanvasDocument::resolveAccess(User const* user) const {
    return std::max(parsedLinkPermissions(), ServerIndexNode::resolveAccess(user));
}

void CanvasDocument::onChanged(ServerIndex& index) {
    index.onCanvasChanged.raise(this);
}

void CanvasDocument::onAdded(ServerIndex& index) {
    index.addToIndex(this);
    index.onCanvasAdded.raise(this);
}

void CanvasDocument::onReparented(ServerIndex& index, QByteArray const& oldParentId) {
    if (indexed) {
        index.onCanvasReparented.raise(this, oldParentId);
    }
}

void CanvasDocument::onErased(ServerIndex& index, ServerIndexFolder* parent) {
    index.onCanvasErased.raise(this, parent);
    index.removeFromIndex(this);
}

void CanvasDocument::notePreviewUpdate() {
    if (std::shared_ptr<Tessel::ClientToServerConnection> const connection = serverConnection(*this)) {
        previewUpdated = connection->currentServerTime();
    }
}

} // namespace Datamodel
