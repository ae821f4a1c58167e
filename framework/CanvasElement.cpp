#include "framework/CanvasElement.hpp"

#include "attributes/AttributeString.hpp"

namespace Datamodel {

CanvasElement::CanvasElement(Tessel::Element::Flags flags) : Tessel::Element(flags) {}

bool CanvasElement::copyValues(CanvasElement const&) {
    return true;
}

QString CanvasElement::uiTitle() const {
    auto const* title =
        dynamic_cast<Basalt::AttributeT<QString> const*>(attribute(QByteArrayLiteral("title")));
    if (title && !title->value().isEmpty()) {
        return title->value();
    }
    return uiTitleDefault();
}

QString CanvasElement::uiTitleDefault() const {
    return QStringLiteral("Canvas element");
}

Tessel::Element* CanvasElement::cloneElement(std::shared_ptr<Tessel::ElementFactory> factory) const {
    if (!factory) {
        return nullptr;
    }
    std::unique_ptr<Tessel::Element> clone(factory->create(factory->keyOf(*this)));
    if (!clone) {
        return nullptr;
    }
    clone->initName();
    if (auto* copy = dynamic_cast<CanvasElement*>(clone.get())) {
        copy->copyValues(*this);
    }
    for (Entry const& entry : attributes()) {
        if (auto const* child = dynamic_cast<CanvasElement const*>(entry.second)) {
            if (Tessel::Element* childClone = child->cloneElement(factory)) {
                clone->addAttribute(childClone);
            }
        }
    }
    return clone.release();
}

} // namespace Datamodel
