#pragma once

#include "attributes/AttributeT.hpp"
#include "framework/CanvasElement.hpp"

namespace Datamodel {

/// A line between two elements of a canvas. Pure data: it has no place of its own, follows nothing and
/// computes no route; whoever draws it decides where an automatic end sits. Both ends have the same set
/// of attributes. "src" and "dst" hold the joined element's name (not its guid, not a path); nothing here
/// checks them, the server's canvas initialisation drops connectors whose ends dangle.
class Connector : public CanvasElement {
public:
    /// Shape of the line; names in `s_connectorTypes`.
    enum ConnectorType : int { CONNECTOR_TYPE_CURVE = 0 };
    /// Tip at an end of the line; names in `s_lineTips`.
    enum LineTip : int { LINE_TIP_NONE = 0, LINE_TIP_SOLID_EQUILATERAL_TRIANGLE = 1 };

    Connector();
    ~Connector() override;

    /// "Connector".
    QString uiTitleDefault() const override;
    /// Copies every attribute that the source has on the user layer, in declaration order, ends included,
    /// so a copy joins the same two elements. The base's form isn't called. False, copying nothing, unless
    /// `source` is a `Connector`.
    bool copyValues(CanvasElement const& source) override;

    /// Shape of the line.
    Basalt::AttributeT<ConnectorType> connectorType;
    /// Name of the element at the source end.
    Basalt::AttributeT<QString> src;
    /// Fixed spot of the source end, relative to that element.
    Basalt::AttributeLocation2f srcRelLocation;
    /// True: the source end picks its spot itself and "src-rel-location" doesn't apply.
    Basalt::AttributeT<bool> srcAutoLocation;
    /// Tip at the source end.
    Basalt::AttributeT<LineTip> srcTip;
    /// Name of the element at the destination end.
    Basalt::AttributeT<QString> dst;
    /// Fixed spot of the destination end, relative to that element.
    Basalt::AttributeLocation2f dstRelLocation;
    /// True: the destination end picks its spot itself.
    Basalt::AttributeT<bool> dstAutoLocation;
    /// Tip at the destination end.
    Basalt::AttributeT<LineTip> dstTip;
    /// Colour of the line, premultiplied.
    Basalt::AttributeT<Cobalt::ColorPMA> lineColor;
    /// Width of the line.
    Basalt::AttributeT<float> lineWidth;
};

/// The one parent of a canvas's connectors, the child "connectors" of the canvas root. No attributes of
/// its own: it exists to give connectors a parent of a type of their own.
class ConnectorContainer : public CanvasElement {
public:
    ConnectorContainer();
    ~ConnectorContainer() override;
};

/// Names of `Connector::ConnectorType`: "curve" 0. Filled at library load.
extern Basalt::EnumNames const s_connectorTypes;
/// Names of `Connector::LineTip`: "none" 0, "solid-equilateral-triangle" 1. Filled at library load.
extern Basalt::EnumNames const s_lineTips;

} // namespace Datamodel
