#include "framework/CanvasItem.hpp"

namespace Datamodel {

CanvasItem::CanvasItem(Tessel::Element::Flags flags)
    : CanvasLocation(flags), size(this, QByteArrayLiteral("size"), Fathom::SizeT<float>(100.0f, 100.0f)),
      scale(this, QByteArrayLiteral("scale"), 1.0f), pinned(this, QByteArrayLiteral("pinned"), false) {
    size.component(0).setName(QByteArrayLiteral("width"));
    size.component(1).setName(QByteArrayLiteral("height"));
    eventAddOut(QByteArrayLiteral("lock-status-change"));
}

bool CanvasItem::copyValues(CanvasElement const& source) {
    auto const* other = dynamic_cast<CanvasItem const*>(&source);
    if (!other) {
        return false;
    }
    bool const copied = CanvasLocation::copyValues(source);
    copyAttributeIfDefinedOnUserLayer(size, other->size);
    copyAttributeIfDefinedOnUserLayer(scale, other->scale);
    return copied;
}

QVector<QByteArray> const& CanvasItem::movementAttributeNames() {
    static QVector<QByteArray> const names{QByteArrayLiteral("location"), QByteArrayLiteral("size"),
                                           QByteArrayLiteral("scale"), QByteArrayLiteral("depth")};
    return names;
}

} // namespace Datamodel
