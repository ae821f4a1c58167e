#pragma once

#include "attributes/AttributeT.hpp"
#include "attributes/AttributeVectorContainer.hpp"
#include "framework/CanvasLocation.hpp"
#include "platform/sienna/BezierNode.hpp"

namespace Datamodel {

/// One freehand stroke on a canvas or on a page of a document: a curve of Bézier nodes with a colour and a
/// width. Pure data: whoever draws gives the points.
class Annotation : public CanvasLocation {
public:
    Annotation();
    ~Annotation() override;

    /// After the location's values, copies "annotation-page", "line-width" and "line-color" if the source
    /// has them on the user layer, then the whole stroke by value, reported as one change of the list
    /// (none when it was and stays empty). False, copying nothing, unless `source` is an `Annotation`.
    bool copyValues(CanvasElement const& source) override;

    /// Page of the annotated document; -1 when the stroke isn't on a page.
    Basalt::AttributeT<int> annotationPage;
    /// Base width of the stroke; each node's z carries its local width.
    Basalt::AttributeT<float> lineWidth;
    /// Colour of the stroke, premultiplied.
    Basalt::AttributeT<Cobalt::ColorPMA> lineColor;
    /// The stroke. Reading a document replaces the list rather than appending to it.
    Basalt::AttributeVectorContainer<Sienna::BezierNode> points;
};

} // namespace Datamodel
