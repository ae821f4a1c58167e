#include "media/ImageAsset.hpp"

namespace Datamodel {

ImageAsset::ImageAsset() = default;

bool ImageAsset::copyValues(CanvasElement const& element) {
    if (!dynamic_cast<ImageAsset const*>(&element)) {
        return false;
    }
    return Asset::copyValues(element);
}

} // namespace Datamodel
