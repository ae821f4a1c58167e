#include "session/Interaction.hpp"

namespace Datamodel {

Interaction::Interaction()
    : CanvasElement(Tessel::Element::Flags::fromBits(1)), location(this, QByteArrayLiteral("location")),
      interactionType(this, QByteArrayLiteral("interaction-type"), 0),
      interactionColor(this, QByteArrayLiteral("interaction-color"),
                       Cobalt::ColorPMA(1.0f, 1.0f, 1.0f, 1.0f)),
      interactionTextColor(this, QByteArrayLiteral("interaction-text-color"),
                           Cobalt::ColorPMA(0.0f, 0.0f, 0.0f, 1.0f)) {}

} // namespace Datamodel
