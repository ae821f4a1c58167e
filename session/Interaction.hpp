#pragma once

#include "attributes/AttributeColor.hpp"
#include "attributes/AttributeNumericT.hpp"
#include "attributes/AttributeTuple.hpp"
#include "framework/CanvasElement.hpp"

namespace Datamodel {

/// The mark of one interaction at a place on the canvas, with a kind and colours. The kinds are the
/// application's; this class carries the number.
class Interaction : public CanvasElement {
public:
    Interaction();

    /// Where on the canvas; components "location-x" and "location-y".
    Basalt::AttributeLocation2f location;
    /// Kind of interaction, passed through as it comes.
    Basalt::AttributeT<int> interactionType;
    /// Colour of the mark; opaque white by default.
    Basalt::AttributeT<Cobalt::ColorPMA> interactionColor;
    /// Colour of its text; opaque black by default.
    Basalt::AttributeT<Cobalt::ColorPMA> interactionTextColor;
};

} // namespace Datamodel
