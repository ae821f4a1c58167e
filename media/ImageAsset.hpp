#pragma once

#include "media/Asset.hpp"

namespace Datamodel {

/// A stored image on a canvas. It has no attributes beyond those of `Asset`.
class ImageAsset : public Asset {
public:
    ImageAsset();

    /// False, copying nothing, unless `element` is an `ImageAsset`; otherwise as `Asset`.
    bool copyValues(CanvasElement const& element) override;
};

} // namespace Datamodel
