#include "canvas/RdpConnection.hpp"

#include "media/Asset.hpp"

namespace Datamodel {

RdpConnection::RdpConnection()
    : CanvasItem(Tessel::Element::Flags::fromBits(0)),
      connectionName(this, QByteArrayLiteral("connection-name"), QString()),
      hostSite(this, QByteArrayLiteral("host-site"), QString()),
      contentId(this, QByteArrayLiteral("content-id"), QString()),
      title(this, QByteArrayLiteral("title"), QString()) {
    // A new default rather than a user value: a remote desktop isn't sized by anyone yet. One tuple write,
    // so listeners hear one change.
    size.set(Fathom::Vector2T<float>(1920.0f, 1080.0f), Basalt::Attribute::LAYER_DEFAULT,
             {Basalt::Attribute::UNIT_NUMBER, Basalt::Attribute::UNIT_NUMBER});
}

RdpConnection::~RdpConnection() = default;

bool RdpConnection::copyValues(CanvasElement const& source) {
    auto const* other = dynamic_cast<RdpConnection const*>(&source);
    if (!other) {
        return false;
    }
    bool const copied = CanvasItem::copyValues(source);
    copyAttributeIfDefinedOnUserLayer(connectionName, other->connectionName);
    copyAttributeIfDefinedOnUserLayer(hostSite, other->hostSite);
    copyAttributeIfDefinedOnUserLayer(contentId, other->contentId);
    copyAttributeIfDefinedOnUserLayer(title, other->title);
    return copied;
}

QString RdpConnection::uiTitleDefault() const {
    return QStringLiteral("RDP connection");
}

Asset* RdpConnection::asset() const {
    return findByGuid<Asset>(contentId.value().toUtf8());
}

} // namespace Datamodel
