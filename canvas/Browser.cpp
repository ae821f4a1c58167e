#include "canvas/Browser.hpp"

namespace Datamodel {

Browser::Browser()
    : CanvasItem(Tessel::Element::Flags::fromBits(0)), source(this, QByteArrayLiteral("source"), QString()),
      title(this, QByteArrayLiteral("title"), QString()),
      transparentMode(this, QByteArrayLiteral("transparent-mode"), false),
      mainFrameScrollOffset(this, QByteArrayLiteral("main-frame-scroll-offset"),
                            Fathom::Vector2T<float>(0.0f, 0.0f)) {}

Browser::~Browser() = default;

bool Browser::copyValues(CanvasElement const& element) {
    auto const* other = dynamic_cast<Browser const*>(&element);
    if (!other) {
        return false;
    }
    bool const copied = CanvasItem::copyValues(element);
    copyAttributeIfDefinedOnUserLayer(source, other->source);
    copyAttributeIfDefinedOnUserLayer(title, other->title);
    copyAttributeIfDefinedOnUserLayer(transparentMode, other->transparentMode);
    copyAttributeIfDefinedOnUserLayer(mainFrameScrollOffset, other->mainFrameScrollOffset);
    return copied;
}

QString Browser::uiTitleDefault() const {
    return QStringLiteral("Web browser");
}

} // namespace Datamodel
