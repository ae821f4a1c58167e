#include "canvas/Annotation.hpp"

namespace Datamodel {

Annotation::Annotation()
    : CanvasLocation(Tessel::Element::Flags::fromBits(1)),
      annotationPage(this, QByteArrayLiteral("annotation-page"), -1),
      lineWidth(this, QByteArrayLiteral("line-width"), 1.0f),
      lineColor(this, QByteArrayLiteral("line-color"), Cobalt::ColorPMA(1.0f, 1.0f, 1.0f, 1.0f)),
      points(this, QByteArrayLiteral("points"), true) {}

Annotation::~Annotation() = default;

bool Annotation::copyValues(CanvasElement const& source) {
    auto const* other = dynamic_cast<Annotation const*>(&source);
    if (!other) {
        return false;
    }
    bool const copied = CanvasLocation::copyValues(source);
    copyAttributeIfDefinedOnUserLayer(annotationPage, other->annotationPage);
    copyAttributeIfDefinedOnUserLayer(lineWidth, other->lineWidth);
    copyAttributeIfDefinedOnUserLayer(lineColor, other->lineColor);
    // The list keeps no layers: what it holds is the user's. One event for the whole stroke, and none
    // for an empty list that stays empty.
    if (!points.values().empty() || !other->points.values().empty()) {
        points.setValues(other->points.values());
    }
    return copied;
}

} // namespace Datamodel
