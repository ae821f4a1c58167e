#pragma once

#include "platform/tessel/Element.hpp"
#include "platform/tessel/ElementFactory.hpp"

#include <QString>

#include <memory>

namespace Datamodel {

/// Base of everything on a canvas: a title for the user interface, a way to copy values, and a deep clone.
class CanvasElement : public Tessel::Element {
public:
    explicit CanvasElement(Tessel::Element::Flags flags = Tessel::Element::Flags());

    /// Makes this element a copy of `source`, without children. A subclass casts `source` to its own class
    /// (false, copying nothing, if that fails), calls its base, and copies each attribute that `source`
    /// holds on the user layer, taking the value `source` shows. The base form copies nothing: true.
    virtual bool copyValues(CanvasElement const& source);
    /// The shown "title" if the element has a non-empty one, else `uiTitleDefault()`.
    virtual QString uiTitle() const;
    /// The title of an element without one of its own: "Canvas element" here, each class its own words.
    virtual QString uiTitleDefault() const;
    /// A deep copy made through `factory`, with fresh guids all the way down; owned by the caller. Null when
    /// the factory doesn't know this element's class. Child elements of classes it doesn't know are left
    /// out silently.
    virtual Tessel::Element* cloneElement(std::shared_ptr<Tessel::ElementFactory> factory) const;
};

/// Writes on `target`'s user layer the value that `source` shows, if `source` has a value on its user
/// layer; otherwise `target` keeps its default. A tuple counts as defined when either component is, and
/// takes both shown components in one assignment, so its listeners hear one change.
template <typename A>
void copyAttributeIfDefinedOnUserLayer(A& target, A const& source) {
    if (source.isValueDefinedOnLayer(Basalt::Attribute::LAYER_USER)) {
        target = source.value();
    }
}

} // namespace Datamodel
