#pragma once

#include "media/Asset.hpp"

namespace Datamodel {

/// A stored PDF document on a canvas, with the page in view.
class PDFAsset : public Asset {
public:
    PDFAsset();

    /// False, copying nothing, unless `element` is a `PDFAsset`; otherwise as `Asset`, and then "index".
    bool copyValues(CanvasElement const& element) override;

    /// The page in view.
    Basalt::AttributeT<float> index;
};

} // namespace Datamodel
