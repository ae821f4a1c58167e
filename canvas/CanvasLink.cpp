#include "canvas/CanvasLink.hpp"

namespace Datamodel {

CanvasLink::CanvasLink()
    : CanvasItem(Tessel::Element::Flags::fromBits(0)), title(this, QByteArrayLiteral("title"), QString()) {
    // On the user layer on purpose, unlike the items that change their default: a link starts as if sized.
    size = Fathom::SizeT<float>(225.0f, 331.0f);
}

CanvasLink::~CanvasLink() = default;

bool CanvasLink::copyValues(CanvasElement const& source) {
    auto const* other = dynamic_cast<CanvasLink const*>(&source);
    if (!other) {
        return false;
    }
    bool const copied = CanvasItem::copyValues(source);
    copyAttributeIfDefinedOnUserLayer(title, other->title);
    return copied;
}

QString CanvasLink::uiTitleDefault() const {
    return QStringLiteral("Link to canvas");
}

} // namespace Datamodel
