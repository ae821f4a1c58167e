#pragma once

#include "attributes/AttributeBool.hpp"
#include "attributes/AttributeNumericT.hpp"
#include "attributes/AttributeTuple.hpp"
#include "framework/CanvasLocation.hpp"

#include <QVector>

namespace Datamodel {

/// A canvas element with a size, a scale and a pin.
class CanvasItem : public CanvasLocation {
public:
    explicit CanvasItem(Tessel::Element::Flags flags = Tessel::Element::Flags());

    /// After the location's values, copies "size" and then "scale". Not "pinned": a copy of a pinned item
    /// is deliberately not pinned.
    bool copyValues(CanvasElement const& source) override;

    /// What moves when an item moves: "location", "size", "scale", "depth", in this order. One shared list,
    /// built on first use.
    static QVector<QByteArray> const& movementAttributeNames();

    /// Extent before scale; its components are "width" and "height".
    Basalt::AttributeT<Fathom::SizeT<float>> size;
    /// Scale factor on the size.
    Basalt::AttributeT<float> scale;
    /// Whether the item is pinned to the canvas.
    Basalt::AttributeT<bool> pinned;
    /// The smallest size a user may give the item; neither shared nor stored. Zero unless a class sets it.
    Fathom::SizeT<float> minimumSize;
};

} // namespace Datamodel
