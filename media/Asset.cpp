#include "media/Asset.hpp"

#include "platform/cobalt/StringUtils.hpp"
#include "platform/cobalt/Trace.hpp"
#include "platform/tessel/DocumentConnection.hpp"

#include <QRegularExpression>

namespace Datamodel {

Asset::Asset()
    : CanvasItem(Tessel::Element::Flags::fromBits(0)), originalFilename(this, "original-filename", QString()),
      title(this, "title", QString()), source(*this, "source"),
      backdropColor(nullptr, "backdrop-color", Cobalt::ColorPMA(0.0f, 0.0f, 0.0f, 1.0f)),
      modelYaw(nullptr, "model-yaw", 0.0f), modelPitch(nullptr, "model-pitch", 0.43633232f),
      cameraFov(nullptr, "camera-fov", 45.0f), modelRoll(nullptr, "model-roll", 0.0f),
      companionsSource(*this, "companions-source") {}

void Asset::attach(Basalt::Attribute& attribute) {
    if (attribute.host() != this) {
        addAttribute(&attribute);
    }
}

void Asset::initialize(Tessel::DocumentConnection& connection) {
    // The files need the document's storage whatever the server's version.
    source.initialize(connection);
    companionsSource.initialize(connection);
    std::shared_ptr<Tessel::ClientToServerConnection> const server = connection.connection();
    if (!server) {
        Cobalt::Trace::error("Asset::initialize # No connection to determine version");
        return;
    }
    // A server that doesn't know an attribute would refuse the whole change that carries it, so each
    // release's attributes wait for that release.
    Cobalt::VersionString const& version = server->serverVersion();
    if (version < Cobalt::VersionString(QStringLiteral("26.07.3"))) {
        return;
    }
    attach(backdropColor);
    attach(modelYaw);
    attach(modelPitch);
    if (version < Cobalt::VersionString(QStringLiteral("26.07.4"))) {
        return;
    }
    attach(cameraFov);
    if (version < Cobalt::VersionString(QStringLiteral("26.07.5"))) {
        return;
    }
    attach(modelRoll);
}

bool Asset::copyValues(CanvasElement const& element) {
    auto const* other = dynamic_cast<Asset const*>(&element);
    if (!other) {
        return false;
    }
    bool const copied = CanvasItem::copyValues(element);
    copyAttributeIfDefinedOnUserLayer(originalFilename, other->originalFilename);
    // The copy refers to the same stored item, so nothing is imported again. An item that is gone leaves the
    // copy without content.
    source.setAsset(other->source.item());
    copyAttributeIfDefinedOnUserLayer(title, other->title);
    copyAttributeIfDefinedOnUserLayer(backdropColor, other->backdropColor);
    copyAttributeIfDefinedOnUserLayer(modelYaw, other->modelYaw);
    copyAttributeIfDefinedOnUserLayer(modelPitch, other->modelPitch);
    copyAttributeIfDefinedOnUserLayer(cameraFov, other->cameraFov);
    copyAttributeIfDefinedOnUserLayer(modelRoll, other->modelRoll);
    // Unlike the content, companion data that is gone at the source keeps what the copy had.
    if (AssetFile::ItemPtr const companions = other->companionsSource.item()) {
        companionsSource.setAsset(companions);
    }
    return copied;
}

QString Asset::uiTitle() const {
    QString const shownTitle = title.value().simplified();
    if (!shownTitle.isEmpty()) {
        return shownTitle;
    }
    QString const filename = originalFilename.value().simplified();
    if (!filename.isEmpty()) {
        return filename;
    }
    return uiTitleDefault();
}

QString Asset::findOriginalFilename() const {
    QString const stored = originalFilename.value();
    if (!stored.isEmpty()) {
        return stored;
    }
    if (Tessel::AssetNode const* node = source.assetNode()) {
        if (!node->originalFileName().isEmpty()) {
            return node->originalFileName();
        }
    }
    if (AssetFile::ItemPtr const item = source.item()) {
        if (!item->fileName().isEmpty()) {
            return item->fileName();
        }
    }
    return QString();
}

QString Asset::uiTitleDefault() const {
    QString const typeName = QString::fromLatin1(Cobalt::StringUtils::demangle(typeid(*this).name()));
    return QString(typeName).remove(QRegularExpression(QStringLiteral("Asset$")));
}

} // namespace Datamodel
