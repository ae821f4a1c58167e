#include "canvas/Connector.hpp"

namespace Datamodel {

Basalt::EnumNames const s_connectorTypes{{"curve", Connector::CONNECTOR_TYPE_CURVE}};
Basalt::EnumNames const s_lineTips{
    {"none", Connector::LINE_TIP_NONE},
    {"solid-equilateral-triangle", Connector::LINE_TIP_SOLID_EQUILATERAL_TRIANGLE}};

Connector::Connector()
    : CanvasElement(Tessel::Element::Flags::fromBits(3)),
      connectorType(this, QByteArrayLiteral("connector-type"), CONNECTOR_TYPE_CURVE, s_connectorTypes),
      src(this, QByteArrayLiteral("src"), QString()),
      srcRelLocation(this, QByteArrayLiteral("src-rel-location")),
      srcAutoLocation(this, QByteArrayLiteral("src-auto-location"), false),
      srcTip(this, QByteArrayLiteral("src-tip"), LINE_TIP_NONE, s_lineTips),
      dst(this, QByteArrayLiteral("dst"), QString()),
      dstRelLocation(this, QByteArrayLiteral("dst-rel-location")),
      dstAutoLocation(this, QByteArrayLiteral("dst-auto-location"), false),
      dstTip(this, QByteArrayLiteral("dst-tip"), LINE_TIP_NONE, s_lineTips),
      lineColor(this, QByteArrayLiteral("line-color"), Cobalt::ColorPMA(1.0f, 1.0f, 1.0f, 1.0f)),
      lineWidth(this, QByteArrayLiteral("line-width"), 3.0f) {}

Connector::~Connector() = default;

QString Connector::uiTitleDefault() const {
    return QStringLiteral("Connector");
}

bool Connector::copyValues(CanvasElement const& source) {
    auto const* other = dynamic_cast<Connector const*>(&source);
    if (!other) {
        return false;
    }
    copyAttributeIfDefinedOnUserLayer(connectorType, other->connectorType);
    copyAttributeIfDefinedOnUserLayer(src, other->src);
    copyAttributeIfDefinedOnUserLayer(srcRelLocation, other->srcRelLocation);
    copyAttributeIfDefinedOnUserLayer(srcAutoLocation, other->srcAutoLocation);
    copyAttributeIfDefinedOnUserLayer(srcTip, other->srcTip);
    copyAttributeIfDefinedOnUserLayer(dst, other->dst);
    copyAttributeIfDefinedOnUserLayer(dstRelLocation, other->dstRelLocation);
    copyAttributeIfDefinedOnUserLayer(dstAutoLocation, other->dstAutoLocation);
    copyAttributeIfDefinedOnUserLayer(dstTip, other->dstTip);
    copyAttributeIfDefinedOnUserLayer(lineColor, other->lineColor);
    copyAttributeIfDefinedOnUserLayer(lineWidth, other->lineWidth);
    return true;
}

ConnectorContainer::ConnectorContainer() : CanvasElement(Tessel::Element::Flags::fromBits(0)) {}

ConnectorContainer::~ConnectorContainer() = default;

} // namespace Datamodel
