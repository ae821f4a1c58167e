#include "canvas/Anchor.hpp"

namespace Datamodel {

Anchor::Anchor()
    : CanvasItem(Tessel::Element::Flags::fromBits(0)),
      anchorName(this, QByteArrayLiteral("anchor-name"), QString()),
      anchorId(this, QByteArrayLiteral("anchor-id"), 0L) {
    // On the user layer, so that it is stored with the anchor and shared like any value the user chose.
    anchorId = Basalt::Node::generateId();
}

Anchor::~Anchor() = default;

QString Anchor::uiTitle() const {
    QString const name = anchorName.value().simplified();
    return name.isEmpty() ? uiTitleDefault() : name;
}

QString Anchor::uiTitleDefault() const {
    return QStringLiteral("New anchor");
}

} // namespace Datamodel
