#pragma once

#include "attributes/AttributeT.hpp"
#include "framework/CanvasElement.hpp"
#include "media/AssetFile.hpp"

namespace Datamodel {

/// What is drawn behind everything on a canvas: a solid colour, an image or the animated effect "effect01",
/// with or without a grid. One per canvas, the child "background" of the root. It only holds the values;
/// how they are drawn is the clients' business.
///
/// Colours are premultiplied. `copyValues` is the base's, so copying a background copies none of them.
class CanvasBackground : public CanvasElement {
public:
    /// Which kind of background is shown; names in `s_backgroundTypes`.
    enum Type : int { TYPE_SOLID = 0, TYPE_IMAGE = 1, TYPE_EFFECT01 = 2 };
    /// How the image is fitted; names in `s_backgroundImageFitTypes`.
    enum FitType : int { FIT_FILL = 0, FIT_FIT = 1, FIT_STRETCH = 2, FIT_TILE = 3 };

    CanvasBackground();
    ~CanvasBackground() override;

    /// Ties the image to the document's asset storage; nothing else.
    void initialize(Tessel::DocumentConnection& connection) override;

    /// Which kind of background is shown.
    Basalt::AttributeT<Type> backgroundType;
    /// Colour of a solid background.
    Basalt::AttributeT<Cobalt::ColorPMA> backgroundColor;
    /// The stored image file of an image background.
    AssetFile backgroundImage;
    /// How the image is fitted; "fit" unless set.
    Basalt::AttributeT<FitType> backgroundImageSize;
    /// Whether the grid is drawn.
    Basalt::AttributeT<bool> gridVisible;
    /// Colour of the grid lines.
    Basalt::AttributeT<Cobalt::ColorPMA> gridColor;
    /// First colour of the effect.
    Basalt::AttributeT<Cobalt::ColorPMA> effect01Color1;
    /// Second colour of the effect.
    Basalt::AttributeT<Cobalt::ColorPMA> effect01Color2;
    /// Speed of the effect.
    Basalt::AttributeT<float> effect01Speed;
    /// Scale of the effect.
    Basalt::AttributeT<float> effect01Scale;
};

/// The names of `CanvasBackground::Type`: "solid", "image", "effect01".
extern Basalt::EnumNames const s_backgroundTypes;
/// The names of `CanvasBackground::FitType`: "fill", "fit", "stretch", "tile".
extern Basalt::EnumNames const s_backgroundImageFitTypes;

} // namespace Datamodel
