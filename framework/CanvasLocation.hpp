#pragma once

#include "attributes/AttributeNumericT.hpp"
#include "attributes/AttributeTuple.hpp"
#include "framework/CanvasElement.hpp"

namespace Datamodel {

/// A canvas element with a place and a depth.
class CanvasLocation : public CanvasElement {
public:
    explicit CanvasLocation(Tessel::Element::Flags flags = Tessel::Element::Flags());

    /// Copies "location" and then "depth".
    bool copyValues(CanvasElement const& source) override;

    /// Repairs depths in the tree under `root`, depth first: among the siblings of each level, in their
    /// order of depth (equal depths in their order in the tree), the lowest depth becomes at least 1.0
    /// (10.0 when it was below or not finite) and each next one at least half a unit above the one before,
    /// else one above it. Depths that are far enough apart stay; the order of siblings never changes.
    /// Costs n log n in the number of siblings.
    static void normalizeDepth(Tessel::Element& root);

    /// Position on the canvas, in canvas units; components "location-x" and "location-y".
    Basalt::AttributeLocation2f location;
    /// Stacking order: higher is nearer the viewer.
    Basalt::AttributeT<float> depth;
};

} // namespace Datamodel
