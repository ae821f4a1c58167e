#include "canvas/CanvasBackground.hpp"

namespace Datamodel {

Basalt::EnumNames const s_backgroundTypes{{"solid", CanvasBackground::TYPE_SOLID},
                                          {"image", CanvasBackground::TYPE_IMAGE},
                                          {"effect01", CanvasBackground::TYPE_EFFECT01}};

Basalt::EnumNames const s_backgroundImageFitTypes{{"fill", CanvasBackground::FIT_FILL},
                                                  {"fit", CanvasBackground::FIT_FIT},
                                                  {"stretch", CanvasBackground::FIT_STRETCH},
                                                  {"tile", CanvasBackground::FIT_TILE}};

namespace {

Cobalt::ColorPMA premultiplied(char const* text) {
    return Cobalt::toPMA(Cobalt::Color(text));
}

} // namespace

CanvasBackground::CanvasBackground()
    : CanvasElement(Tessel::Element::Flags::fromBits(1)),
      backgroundType(this, "background-type", TYPE_SOLID, s_backgroundTypes),
      backgroundColor(this, "background-color", premultiplied("#25242d")),
      backgroundImage(*this, "background-image"),
      // An image that arrives without a fit shows whole rather than cropped.
      backgroundImageSize(this, "background-image-size", FIT_FIT, s_backgroundImageFitTypes),
      gridVisible(this, "grid-visible", true), gridColor(this, "grid-color", premultiplied("#525160")),
      effect01Color1(this, "effect01-color1", premultiplied("#000000")),
      effect01Color2(this, "effect01-color2", premultiplied("#165ad0")),
      effect01Speed(this, "effect01-speed", 0.5f), effect01Scale(this, "effect01-scale", 8.0f) {}

CanvasBackground::~CanvasBackground() = default;

void CanvasBackground::initialize(Tessel::DocumentConnection& connection) {
    backgroundImage.initialize(connection);
}

} // namespace Datamodel
