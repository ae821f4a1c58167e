#include "media/PDFAsset.hpp"

namespace Datamodel {

PDFAsset::PDFAsset() : index(this, "index", 0.0f) {}

bool PDFAsset::copyValues(CanvasElement const& element) {
    auto const* other = dynamic_cast<PDFAsset const*>(&element);
    if (!other) {
        return false;
    }
    bool const copied = Asset::copyValues(element);
    copyAttributeIfDefinedOnUserLayer(index, other->index);
    return copied;
}

} // namespace Datamodel
