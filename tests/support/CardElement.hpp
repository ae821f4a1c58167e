#pragma once

// Stand-ins for the real canvas classes in tests of the element framework: a titled item, and an item
// class that no factory knows.

#include "attributes/AttributeString.hpp"
#include "framework/CanvasItem.hpp"

namespace TestSupport {

/// A canvas item with a title, copied like the real classes copy theirs.
class Card : public Datamodel::CanvasItem {
public:
    Card() : title(this, "title", QString()) {}
    bool copyValues(Datamodel::CanvasElement const& source) override {
        auto const* other = dynamic_cast<Card const*>(&source);
        if (!other) {
            return false;
        }
        bool const copied = CanvasItem::copyValues(source);
        Datamodel::copyAttributeIfDefinedOnUserLayer(title, other->title);
        return copied;
    }
    QString uiTitleDefault() const override { return QStringLiteral("Card"); }
    Basalt::AttributeT<QString> title;
};

/// An item of a class that no factory registers.
class Unknown : public Datamodel::CanvasItem {};

} // namespace TestSupport
